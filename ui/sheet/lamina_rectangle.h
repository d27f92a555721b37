#pragma once

#include "ui/look/resource_images.h"
#include "ui/shell/editor_context.h"
#include "ui/widgets/image_display.h"
#include "ui/widgets/param_binding.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>
#include <functional>
#include <memory>

namespace qor
{

/** The sheet drawn to scale as a textured plate, with its two microphones and two inputs on it. Dragging the
    outline changes `Area` and `AspectRatio` (the sheet grows about its centre); dragging a handle moves its
    point; Alt-click on a handle puts it back; the right button offers "Reset Positions". While the outline or
   a handle is dragged `GeometryLock` holds the table as it is, so the whole change is built once, at release.
 */
class LaminaRectangle : public juce::Component, public juce::SettableTooltipClient
{
public:
    /** Sheets up to this size share one scale; a larger one scales down. */
    static constexpr float fitWidth = 3.0f, fitHeight = 2.0f;
    /** The outline's clamps while dragging, in metres. */
    static constexpr float minSide = 0.1f, maxSide = 10.0f;
    static constexpr float handleRadius = 8.0f;
    static constexpr int iconSize = 29;

    struct Handle
    {
        ParamFollower x, y;
        std::unique_ptr<ImageDisplay> icon;
        bool visible = true;
        juce::String name;
    };

    struct Zone
    {
        juce::Rectangle<float> area;
        juce::MouseCursor::StandardCursorType cursor;
        int signX, signY;
    };

    explicit LaminaRectangle(const EditorContext& context);
    ~LaminaRectangle() override;

    /** Width and height in metres of a sheet of area `a` and aspect ratio `r`. */
    static juce::Point<float> dimensions(float area, float aspectRatio);
    /** Pixels per metre for a sheet of `width` x `height` metres in a component of `bounds`' size. */
    static float scaleFor(float width, float height, juce::Rectangle<int> bounds);
    /** Where a sheet of `width` x `height` metres is drawn in a component of `bounds`. */
    static juce::Rectangle<float> drawRectFor(float width, float height, juce::Rectangle<int> bounds);

    /** The tiled image of the material ("resource/textures/...png"), set on every change of `Material`. */
    void setTexture(const juce::String& texturePath);
    const juce::String& getTexturePath() const { return texturePath; }

    float getSheetWidth() const { return dimensions(area.getParameterValue(), aspect.getParameterValue()).x; }
    float getSheetHeight() const
    {
        return dimensions(area.getParameterValue(), aspect.getParameterValue()).y;
    }
    float getScale() const;
    juce::Rectangle<float> getDrawRect() const { return drawRect; }
    const std::array<Zone, 8>& getZones() const { return zones; }
    const Handle& getHandle(int index) const { return handles[size_t(index)]; }
    /** The centre of a handle; its Y parameter counts up from the bottom edge. */
    juce::Point<float> getHandlePosition(int index) const;
    /** The first visible handle within reach of `p`, or -1. */
    int handleAt(juce::Point<float> p) const;
    /** The first zone that holds `p`, or null. */
    const Zone* zoneAt(juce::Point<float> p) const;
    bool isDragging() const { return dragStart.dragging; }

    /** Opens the right-button menu; tests may catch it instead. */
    std::function<void(juce::PopupMenu, juce::Component&)> showMenu;

    void paint(juce::Graphics& g) override;
    void resized() override;
    void mouseMove(const juce::MouseEvent& e) override;
    void mouseDown(const juce::MouseEvent& e) override;
    void mouseDrag(const juce::MouseEvent& e) override;
    void mouseUp(const juce::MouseEvent& e) override;

private:
    void geometryChanged();
    void layout();
    void dragHandle(int index, juce::Point<float> p);
    void dragOutline(int signX, int signY, juce::Point<float> offset);
    void resetPositions();
    void endDrag();

    EditorContext context;
    ParamFollower area, aspect;
    ParamFollower geometryLock;
    std::array<Handle, 4> handles;
    juce::Rectangle<float> drawRect;
    std::array<Zone, 8> zones{};
    bool hasZones = false;

    struct DragStart
    {
        float width = 0.0f, height = 0.0f;
        juce::Point<float> mouse;
        bool dragging = false;
    } dragStart;
    std::function<void(juce::Point<float>)> dragAction;
    std::function<void()> endAction;
    bool lockHeld = false;

    juce::Range<float> areaRange, aspectRange;
    juce::String texturePath;
    ResourceImagePtr texture;
    float textureScale = 0.0f;
    juce::Font font;
    bool hasFont = false;
};

} // namespace qor
