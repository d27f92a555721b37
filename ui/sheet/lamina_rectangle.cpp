#include "ui/sheet/lamina_rectangle.h"

#include "ui/look/colours.h"
#include "ui/look/tt_fonts.h"

#include <cmath>
#include <utility>

namespace qor
{

namespace
{
struct HandlePlace
{
    const char* name;
    const char* x;
    const char* y;
    const char* icon;
};
constexpr HandlePlace handlePlaces[] = {
    {"Mic L", "LeftMicrophoneX", "LeftMicrophoneY", "resource/svg/lamina_io-OUT_L_black_29x29.svg"},
    {"Mic R", "RightMicrophoneX", "RightMicrophoneY", "resource/svg/lamina_io-OUT_R_black_29x29.svg"},
    {"In L", "LeftInputX", "LeftInputY", "resource/svg/lamina_io-IN_L_black_29x29.svg"},
    {"In R", "RightInputX", "RightInputY", "resource/svg/lamina_io-IN_R_black_29x29.svg"},
};

// The sheet keeps 20 pixels clear on each side, and 5 more inside that for the frame.
constexpr float margin = 40.0f, inset = 10.0f, offset = 25.0f;
constexpr float band = 8.0f;

juce::Range<float> rangeOf(const char* name)
{
    const auto* d = dynamic_cast<const ParameterDescription<float>*>(
        ParameterDescriptions::find(ParameterDescriptions::findId(name)));
    return d != nullptr ? juce::Range<float>(d->range.min, d->range.max) : juce::Range<float>(0.0f, 1.0f);
}
} // namespace

LaminaRectangle::LaminaRectangle(const EditorContext& c) : context(c)
{
    setComponentID("LaminaRectangle");
    setTooltip("Edit the lamina's width and height, Alt+click icons to reset ");
    showMenu = [](juce::PopupMenu menu, juce::Component& target)
    { menu.showMenuAsync(juce::PopupMenu::Options().withTargetComponent(&target)); };

    areaRange = rangeOf("Area");
    aspectRange = rangeOf("AspectRatio");
    hasFont = TTFonts::instance().has(fontPaths::handles);
    font = TTFonts::instance().getFont(fontPaths::handles, 13.0f);

    for (size_t i = 0; i < handles.size(); ++i)
    {
        auto& handle = handles[i];
        handle.name = handlePlaces[i].name;
        handle.icon = std::make_unique<ImageDisplay>(handlePlaces[i].icon);
        handle.icon->setName(handle.name);
        addChildComponent(*handle.icon);
    }
    // Binding reads the value at once and lays the sheet out, which places every icon.
    for (size_t i = 0; i < handles.size(); ++i)
    {
        auto& handle = handles[i];
        handle.x.onChange = [this](float) { geometryChanged(); };
        handle.y.onChange = [this](float) { geometryChanged(); };
        handle.x.bind(context.proxy, context.elementPath, handlePlaces[i].x);
        handle.y.bind(context.proxy, context.elementPath, handlePlaces[i].y);
    }
    area.onChange = [this](float) { geometryChanged(); };
    aspect.onChange = [this](float) { geometryChanged(); };
    area.bind(context.proxy, context.elementPath, "Area");
    aspect.bind(context.proxy, context.elementPath, "AspectRatio");
    geometryLock.bind(context.proxy, context.elementPath, "GeometryLock");
}

LaminaRectangle::~LaminaRectangle()
{
    // A window closed in the middle of a drag must not leave the table held.
    endDrag();
}

juce::Point<float> LaminaRectangle::dimensions(float a, float r)
{
    const float width = std::sqrt(std::max(0.0f, a * r));
    return {width, width > 0.0f ? a / width : 0.0f};
}

float LaminaRectangle::scaleFor(float width, float height, juce::Rectangle<int> bounds)
{
    const float aw = std::max(0.0f, float(bounds.getWidth()) - margin);
    const float ah = std::max(0.0f, float(bounds.getHeight()) - margin);
    return std::min(aw / std::max(width, fitWidth), ah / std::max(height, fitHeight));
}

juce::Rectangle<float> LaminaRectangle::drawRectFor(float width, float height, juce::Rectangle<int> bounds)
{
    const float scale = scaleFor(width, height, bounds);
    const float pw = scale * width, ph = scale * height;
    const float fw = std::max(0.0f, std::max(0.0f, float(bounds.getWidth()) - margin) - inset);
    const float fh = std::max(0.0f, std::max(0.0f, float(bounds.getHeight()) - margin) - inset);
    return {(fw - pw) * 0.5f + float(bounds.getX()) + offset,
            (fh - ph) * 0.5f + float(bounds.getY()) + offset, pw, ph};
}

float LaminaRectangle::getScale() const
{
    return scaleFor(getSheetWidth(), getSheetHeight(), getLocalBounds());
}

void LaminaRectangle::setTexture(const juce::String& path)
{
    texturePath = path;
    texture = nullptr;
    textureScale = 0.0f;
    repaint();
}

juce::Point<float> LaminaRectangle::getHandlePosition(int index) const
{
    const auto& handle = handles[size_t(index)];
    const auto& r = drawRect;
    return {r.getX() + r.getWidth() * handle.x.getParameterValue(),
            r.getY() + r.getHeight() - r.getHeight() * handle.y.getParameterValue()};
}

int LaminaRectangle::handleAt(juce::Point<float> p) const
{
    if (!hasZones)
        return -1;
    for (int i = 0; i < int(handles.size()); ++i)
        if (handles[size_t(i)].visible && p.getDistanceFrom(getHandlePosition(i)) <= handleRadius)
            return i;
    return -1;
}

const LaminaRectangle::Zone* LaminaRectangle::zoneAt(juce::Point<float> p) const
{
    if (!hasZones)
        return nullptr;
    for (const auto& zone : zones)
        if (zone.area.contains(p))
            return &zone;
    return nullptr;
}

void LaminaRectangle::geometryChanged()
{
    layout();
    repaint();
}

void LaminaRectangle::resized()
{
    layout();
}

void LaminaRectangle::layout()
{
    const float width = getSheetWidth(), height = getSheetHeight();
    drawRect = drawRectFor(width, height, getLocalBounds());
    // With no room (or no sheet) nothing is drawn and nothing can be dragged.
    hasZones = scaleFor(width, height, getLocalBounds()) > 0.0f && !drawRect.isEmpty();

    const auto r = drawRect.expanded(4.0f);
    const float cw = std::min(band, r.getWidth()), ch = std::min(band, r.getHeight());
    const float innerW = std::max(0.0f, r.getWidth() - 2.0f * cw),
                innerH = std::max(0.0f, r.getHeight() - 2.0f * ch);
    using C = juce::MouseCursor;
    zones = {{
        {{r.getX(), r.getY() + ch, cw, innerH}, C::LeftRightResizeCursor, -1, 0},
        {{r.getRight() - cw, r.getY() + ch, cw, innerH}, C::LeftRightResizeCursor, 1, 0},
        {{r.getX() + cw, r.getY(), innerW, ch}, C::UpDownResizeCursor, 0, -1},
        {{r.getX() + cw, r.getBottom() - ch, innerW, ch}, C::UpDownResizeCursor, 0, 1},
        {{r.getX(), r.getY(), cw, ch}, C::TopLeftCornerResizeCursor, -1, -1},
        {{r.getRight() - cw, r.getY(), cw, ch}, C::TopRightCornerResizeCursor, 1, -1},
        {{r.getX(), r.getBottom() - ch, cw, ch}, C::BottomLeftCornerResizeCursor, -1, 1},
        {{r.getRight() - cw, r.getBottom() - ch, cw, ch}, C::BottomRightCornerResizeCursor, 1, 1},
    }};

    for (int i = 0; i < int(handles.size()); ++i)
    {
        auto& handle = handles[size_t(i)];
        const auto centre = getHandlePosition(i).roundToInt();
        handle.icon->setBounds(juce::Rectangle<int>(iconSize, iconSize).withCentre(centre));
        handle.icon->setVisible(handle.visible && hasZones);
    }
}

void LaminaRectangle::mouseMove(const juce::MouseEvent& e)
{
    if (handleAt(e.position) >= 0)
        setMouseCursor(juce::MouseCursor::UpDownLeftRightResizeCursor);
    else if (const auto* zone = zoneAt(e.position))
        setMouseCursor(zone->cursor);
    else if (auto* parent = getParentComponent())
        setMouseCursor(parent->getMouseCursor());
    else
        setMouseCursor(juce::MouseCursor::NormalCursor);
}

void LaminaRectangle::mouseDown(const juce::MouseEvent& e)
{
    dragAction = nullptr;
    endAction = nullptr;
    if (e.mods.isPopupMenu())
    {
        juce::PopupMenu menu;
        menu.addItem("Reset Positions", [this] { resetPositions(); });
        if (showMenu)
            showMenu(std::move(menu), *this);
        return;
    }
    dragStart = {getSheetWidth(), getSheetHeight(), e.position, true};

    if (const int index = handleAt(e.position); index >= 0)
    {
        auto& handle = handles[size_t(index)];
        if (e.mods.isAltDown())
        {
            handle.x.resetToDefault();
            handle.y.resetToDefault();
            geometryChanged();
            return;
        }
        handle.x.beginGesture();
        handle.y.beginGesture();
        dragAction = [this, index](juce::Point<float> p) { dragHandle(index, p); };
        endAction = [&handle]
        {
            handle.x.endGesture();
            handle.y.endGesture();
        };
    }
    else if (const auto* zone = zoneAt(e.position))
    {
        const int sx = zone->signX, sy = zone->signY;
        area.beginGesture();
        aspect.beginGesture();
        dragAction = [this, sx, sy](juce::Point<float> p) { dragOutline(sx, sy, p - dragStart.mouse); };
        endAction = [this]
        {
            area.endGesture();
            aspect.endGesture();
        };
    }

    if (dragAction)
    {
        geometryLock.setParameterValue(1.0f);
        lockHeld = true;
    }
}

void LaminaRectangle::mouseDrag(const juce::MouseEvent& e)
{
    if (dragAction)
        dragAction(e.position);
    repaint();
}

void LaminaRectangle::mouseUp(const juce::MouseEvent&)
{
    endDrag();
    repaint();
}

void LaminaRectangle::endDrag()
{
    if (std::exchange(lockHeld, false))
        geometryLock.setParameterValue(0.0f);
    if (endAction)
        endAction();
    dragAction = nullptr;
    endAction = nullptr;
    dragStart.dragging = false;
}

void LaminaRectangle::dragHandle(int index, juce::Point<float> p)
{
    auto& handle = handles[size_t(index)];
    const auto& r = drawRect;
    if (r.isEmpty())
        return;
    handle.x.setParameterValue(juce::jlimit(0.0f, 1.0f, (p.x - r.getX()) / r.getWidth()));
    handle.y.setParameterValue(juce::jlimit(0.0f, 1.0f, -(p.y - r.getBottom()) / r.getHeight()));
    layout();
}

void LaminaRectangle::dragOutline(int signX, int signY, juce::Point<float> offset)
{
    const float scale = getScale();
    if (scale <= 0.0f)
        return;
    // Twice the offset: the sheet grows about its centre, so each edge moves by half the change.
    const float w = juce::jlimit(minSide, maxSide, 2.0f * float(signX) * offset.x / scale + dragStart.width);
    const float h = juce::jlimit(minSide, maxSide, 2.0f * float(signY) * offset.y / scale + dragStart.height);
    // Each clamped on its own: at the largest area the shape can still change.
    area.setParameterValue(areaRange.clipValue(w * h));
    aspect.setParameterValue(aspectRange.clipValue(w / h));
    layout();
}

void LaminaRectangle::resetPositions()
{
    for (auto& handle : handles)
    {
        handle.x.resetToDefault();
        handle.y.resetToDefault();
    }
    geometryChanged();
}

void LaminaRectangle::paint(juce::Graphics& g)
{
    if (!hasZones)
        return;
    const auto r = drawRect;

    // The plate hangs a little in front of the well: a soft shadow below and to the right.
    juce::Path body;
    body.addRectangle(r.expanded(1.0f));
    juce::DropShadow(juce::Colours::black.withAlpha(0.6f), 12, {2, 5}).drawForPath(g, body);

    g.setColour(juce::Colours::black.withAlpha(0.7f));
    g.drawRect(r.expanded(1.0f), 1.0f);

    const float scale = juce::Component::getApproximateScaleFactorForComponent(this);
    if (texturePath.isNotEmpty() && (texture == nullptr || scale != textureScale))
    {
        texture = ResourceImage::load(texturePath, scale);
        textureScale = scale;
    }
    if (texture != nullptr && texture->getBitmap().isValid())
    {
        // Tiled at its logical size, so an "@2x" texture shows the same pattern in finer pixels.
        const auto& bitmap = texture->getBitmap();
        const float density = float(bitmap.getWidth()) / texture->getLogicalBounds().getWidth();
        const juce::Graphics::ScopedSaveState state(g);
        g.setFillType(juce::FillType(
            bitmap, juce::AffineTransform::scale(1.0f / density).translated(r.getX(), r.getY())));
        g.fillRect(r);
    }
    else
    {
        g.setGradientFill(juce::ColourGradient::vertical(juce::Colours::black.withAlpha(0.35f), r.getY(),
                                                         juce::Colours::black.withAlpha(0.25f),
                                                         r.getBottom()));
        g.fillRect(r);
        g.setGradientFill(juce::ColourGradient(
            juce::Colours::white.withAlpha(0.4f), r.getCentre(), juce::Colours::transparentWhite,
            r.getCentre() + juce::Point<float>(r.getWidth() * 0.5f, 0.0f), true));
        g.fillRect(r);
    }

    // Light from above left: a broad sheen across the metal and a bevel along its edges.
    g.setGradientFill(juce::ColourGradient(juce::Colours::white.withAlpha(0.16f), r.getTopLeft(),
                                           juce::Colours::black.withAlpha(0.22f), r.getBottomRight(), false));
    g.fillRect(r);
    g.setColour(juce::Colours::white.withAlpha(0.35f));
    g.fillRect(r.withHeight(1.0f));
    g.fillRect(r.withWidth(1.0f));
    g.setColour(juce::Colours::black.withAlpha(0.35f));
    g.fillRect(r.withTrimmedTop(r.getHeight() - 1.0f));
    g.fillRect(r.withTrimmedLeft(r.getWidth() - 1.0f));

    g.setColour(juce::Colours::white.withAlpha(0.2f));
    for (int i = 0; i < int(handles.size()); ++i)
    {
        if (!handles[size_t(i)].visible)
            continue;
        const auto p = getHandlePosition(i);
        g.drawLine(p.x, r.getY(), p.x, r.getBottom(), 1.0f);
        g.drawLine(r.getX(), p.y, r.getRight(), p.y, 1.0f);
    }

    g.setColour(colours::sheetFrame);
    g.drawRect(r.expanded(5.0f), 2.0f);

    // Dimension lines along the top and the left, open in the middle for the figures.
    constexpr float gap = 60.0f;
    g.setColour(colours::dimensionLine);
    const float lineY = r.getY() - 10.0f, lineX = r.getX() - 10.0f;
    const float halfW = std::max(0.0f, r.getWidth() - gap) * 0.5f,
                halfH = std::max(0.0f, r.getHeight() - gap) * 0.5f;
    g.drawLine(r.getX(), lineY, r.getX() + halfW, lineY, 1.0f);
    g.drawLine(r.getRight() - halfW, lineY, r.getRight(), lineY, 1.0f);
    g.drawLine(lineX, r.getY(), lineX, r.getY() + halfH, 1.0f);
    g.drawLine(lineX, r.getBottom() - halfH, lineX, r.getBottom(), 1.0f);

    if (!hasFont)
        return;
    g.setColour(colours::sheetDimension);
    g.setFont(font);
    const auto widthBox =
        juce::Rectangle<float>(60.0f, 18.0f).withCentre({r.getCentreX(), r.getY() - 19.0f + 9.0f});
    g.drawText(juce::String(getSheetWidth(), 2) + " m", widthBox, juce::Justification::centred, false);
    const juce::Point<float> heightCentre(r.getX() - 19.0f + 9.0f, r.getCentreY());
    const juce::Graphics::ScopedSaveState state(g);
    g.addTransform(
        juce::AffineTransform::rotation(-juce::MathConstants<float>::halfPi, heightCentre.x, heightCentre.y));
    g.drawText(juce::String(getSheetHeight(), 2) + " m",
               juce::Rectangle<float>(60.0f, 18.0f).withCentre(heightCentre), juce::Justification::centred,
               false);
}

} // namespace qor
