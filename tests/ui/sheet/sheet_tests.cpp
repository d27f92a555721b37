// The sheet's geometry against figures worked out by hand for the editor's 456 x 296 place, and the outline
// and the handles dragged with mouse events: the values sent, the clamps, GeometryLock, Alt and the right
// button.
#include "tests/ui/ui_test_support.h"

#include "tests/support/lamina_probe.h"
#include "ui/sheet/geometry_param_spinner.h"
#include "ui/sheet/lamina_rectangle.h"

namespace qor::test
{

namespace
{
const juce::Rectangle<int> place(0, 0, 456, 296);

void expectRect(juce::Rectangle<float> r, float x, float y, float w, float h)
{
    EXPECT_NEAR(r.getX(), x, 1e-3f);
    EXPECT_NEAR(r.getY(), y, 1e-3f);
    EXPECT_NEAR(r.getWidth(), w, 1e-3f);
    EXPECT_NEAR(r.getHeight(), h, 1e-3f);
}

class SheetTest : public EditorTest
{
protected:
    void SetUp() override
    {
        EditorTest::SetUp();
        window = open();
        view = &window->getEditor().getRectangle();
    }
    void TearDown() override
    {
        window.reset();
        EditorTest::TearDown();
    }
    float get(const char* name) { return sheet().getParameter(id(name)); }
    bool locked() { return sheet().getBoolParameter(id("GeometryLock")); }
    void set(const char* name, float value)
    {
        sheet().setParameter(id(name), value);
        tick();
    }
    /** A press, one move and a release: the move sees the scale of the sheet as it stood at the press. */
    void stroke(juce::Point<float> from, juce::Point<float> to,
                juce::ModifierKeys mods = juce::ModifierKeys::leftButtonModifier)
    {
        view->mouseDown(mouseAt(*view, from, mods));
        view->mouseDrag(mouseAt(*view, to, mods));
        view->mouseUp(mouseAt(*view, to, {}));
    }

    std::unique_ptr<LaminaPluginUIv2> window;
    LaminaRectangle* view = nullptr;
};
} // namespace

TEST_F(SheetTest, TheSheetIsDrawnToScaleAndCentred)
{
    // Defaults: area 2, ratio 2, so 2 m x 1 m at min(416 / 3, 256 / 2) = 128 pixels per metre.
    EXPECT_EQ(view->getBounds(), juce::Rectangle<int>(10, 92, 456, 296));
    EXPECT_FLOAT_EQ(view->getScale(), 128.0f);
    expectRect(view->getDrawRect(), 100, 84, 256, 128);
    // Y counts up from the bottom edge: the left microphone at 0.1, 0.55.
    EXPECT_NEAR(view->getHandlePosition(0).x, 125.6f, 1e-3f);
    EXPECT_NEAR(view->getHandlePosition(0).y, 141.6f, 1e-3f);
    EXPECT_EQ(view->getHandle(0).icon->getBounds(), juce::Rectangle<int>(112, 128, 29, 29));

    // 3 m x 2 m still fits the common scale; 6 m x 1 m scales down to fill the width.
    EXPECT_FLOAT_EQ(LaminaRectangle::scaleFor(3, 2, place), 128.0f);
    expectRect(LaminaRectangle::drawRectFor(3, 2, place), 36, 20, 384, 256);
    EXPECT_NEAR(LaminaRectangle::scaleFor(6, 1, place), 416.0f / 6.0f, 1e-4f);
    expectRect(LaminaRectangle::drawRectFor(6, 1, place), 20, 25 + (246 - 416.0f / 6.0f) * 0.5f, 416,
               416.0f / 6.0f);

    // A parameter change from elsewhere re-lays the sheet and its handles.
    set("Area", 6.0f);
    set("AspectRatio", 1.5f);
    expectRect(view->getDrawRect(), 36, 20, 384, 256);
    EXPECT_EQ(view->getHandle(0).icon->getBounds().getCentre(), juce::Point<int>(74, 135));

    // No room: scale 0, nothing to hit, and a press starts nothing.
    EXPECT_EQ(LaminaRectangle::scaleFor(2, 1, {0, 0, 40, 296}), 0.0f);
    EXPECT_EQ(LaminaRectangle::scaleFor(2, 1, {0, 0, 456, 30}), 0.0f);
    view->setSize(456, 40);
    EXPECT_TRUE(view->getDrawRect().isEmpty());
    EXPECT_FALSE(view->getHandle(0).icon->isVisible());
    const auto centre = view->getDrawRect().getCentre();
    EXPECT_EQ(view->zoneAt(centre), nullptr);
    view->mouseDown(mouseAt(*view, centre));
    EXPECT_FALSE(locked());
    view->mouseDrag(mouseAt(*view, centre + juce::Point<float>(50, 50)));
    view->mouseUp(mouseAt(*view, centre + juce::Point<float>(50, 50), {}));
    EXPECT_FLOAT_EQ(get("Area"), 6.0f);
    EXPECT_FLOAT_EQ(get("AspectRatio"), 1.5f);
}

TEST_F(SheetTest, EdgesCornersAndHandlesAreHitWithHandlesFirst)
{
    // The default sheet 100, 84, 256 x 128: bands 8 wide straddle each edge, 8 x 8 corners.
    using C = juce::MouseCursor;
    struct Probe
    {
        float x, y;
        C::StandardCursorType cursor;
        int sx, sy;
    };
    const Probe probes[] = {{100, 148, C::LeftRightResizeCursor, -1, 0},
                            {356, 148, C::LeftRightResizeCursor, 1, 0},
                            {228, 84, C::UpDownResizeCursor, 0, -1},
                            {228, 212, C::UpDownResizeCursor, 0, 1},
                            {97, 81, C::TopLeftCornerResizeCursor, -1, -1},
                            {358, 82, C::TopRightCornerResizeCursor, 1, -1},
                            {98, 214, C::BottomLeftCornerResizeCursor, -1, 1},
                            {359, 215, C::BottomRightCornerResizeCursor, 1, 1}};
    for (const auto& p : probes)
    {
        const auto* zone = view->zoneAt({p.x, p.y});
        ASSERT_NE(zone, nullptr) << p.x << ", " << p.y;
        EXPECT_EQ(zone->signX, p.sx) << p.x << ", " << p.y;
        EXPECT_EQ(zone->signY, p.sy) << p.x << ", " << p.y;
        view->mouseMove(mouseAt(*view, {p.x, p.y}, {}));
        EXPECT_EQ(view->getMouseCursor(), C(p.cursor)) << p.x << ", " << p.y;
    }
    EXPECT_EQ(view->zoneAt({228, 160}), nullptr) << "the plate itself";
    EXPECT_EQ(view->zoneAt({91, 148}), nullptr) << "beyond the band";
    EXPECT_EQ(view->handleAt({228, 160}), -1);
    view->mouseMove(mouseAt(*view, {228, 160}, {}));
    EXPECT_EQ(view->getMouseCursor(), window->getEditor().getMouseCursor());

    // Within 8 pixels of a centre; a handle on the left edge wins over the edge.
    EXPECT_EQ(view->handleAt({125.6f + 7.9f, 141.6f}), 0);
    EXPECT_EQ(view->handleAt({125.6f + 8.5f, 141.6f}), -1);
    set("LeftMicrophoneX", 0.0f);
    ASSERT_NE(view->zoneAt({100, 141.6f}), nullptr);
    EXPECT_EQ(view->handleAt({100, 141.6f}), 0);
    view->mouseMove(mouseAt(*view, {100, 141.6f}, {}));
    EXPECT_EQ(view->getMouseCursor(), C(C::UpDownLeftRightResizeCursor));
    stroke({100, 141.6f}, {132, 141.6f});
    EXPECT_FLOAT_EQ(get("LeftMicrophoneX"), 0.125f) << "the handle moved";
    EXPECT_FLOAT_EQ(get("Area"), 2.0f) << "and the sheet did not";
}

TEST_F(SheetTest, DraggingTheOutlineSendsAreaAndRatioAndHoldsTheLock)
{
    // Right edge 32 pixels out: the sheet grows about its centre, 2 x 32 / 128 = 0.5 m wider.
    view->mouseDown(mouseAt(*view, {356, 148}));
    EXPECT_TRUE(locked()) << "held from the press";
    EXPECT_TRUE(view->isDragging());
    view->mouseDrag(mouseAt(*view, {372, 148}));
    view->mouseDrag(mouseAt(*view, {388, 150}));
    EXPECT_TRUE(locked());
    view->mouseUp(mouseAt(*view, {388, 150}, {}));
    EXPECT_FALSE(locked()) << "released with the button";
    EXPECT_FALSE(view->isDragging());
    EXPECT_FLOAT_EQ(get("Area"), 2.5f);
    EXPECT_FLOAT_EQ(get("AspectRatio"), 2.5f);
    EXPECT_NEAR(view->getDrawRect().getWidth(), 2.5f * 128.0f, 1e-2f) << "redrawn at once";

    // Bottom-right corner of the default sheet, 32 pixels out both ways: 2.5 m x 1.5 m.
    set("Area", 2.0f);
    set("AspectRatio", 2.0f);
    drag(*view, {358, 214}, {390, 246});
    EXPECT_FLOAT_EQ(get("Area"), 3.75f);
    EXPECT_NEAR(get("AspectRatio"), 2.5f / 1.5f, 1e-5f);

    // The left edge pulled far across the sheet stops at 0.1 m: ratio 0.1 / 1, area up to its minimum 0.6.
    set("Area", 2.0f);
    set("AspectRatio", 2.0f);
    drag(*view, {100, 148}, {300, 148});
    EXPECT_NEAR(get("AspectRatio"), 0.1f, 1e-6f);
    EXPECT_FLOAT_EQ(get("Area"), 0.6f);

    // At the largest area (sqrt 12 x sqrt 3 m, 416 / sqrt 12 pixels per metre) the right edge still changes
    // the shape: 30 pixels give 3.9637 m x 1.7321 m, area held at 6, ratio 2.2885.
    set("Area", 6.0f);
    set("AspectRatio", 2.0f);
    expectRect(view->getDrawRect(), 20, 44, 416, 208);
    stroke({436, 148}, {466, 148});
    EXPECT_FLOAT_EQ(get("Area"), 6.0f);
    EXPECT_NEAR(get("AspectRatio"), 2.2885f, 2e-4f);
}

TEST_F(SheetTest, HandlesMoveTheirPointsAndAltOrTheMenuPutsThemBack)
{
    // Mic L to 164, 116: X (164 - 100) / 256, Y (212 - 116) / 128.
    view->mouseDown(mouseAt(*view, {125.6f, 141.6f}));
    EXPECT_TRUE(locked());
    view->mouseDrag(mouseAt(*view, {164, 116}));
    view->mouseUp(mouseAt(*view, {164, 116}, {}));
    EXPECT_FALSE(locked());
    EXPECT_FLOAT_EQ(get("LeftMicrophoneX"), 0.25f);
    EXPECT_FLOAT_EQ(get("LeftMicrophoneY"), 0.75f);
    EXPECT_EQ(view->getHandle(0).icon->getBounds().getCentre(), juce::Point<int>(164, 116));
    // Beyond the sheet the point stays on its edge.
    stroke({164, 116}, {-50, 400});
    EXPECT_EQ(get("LeftMicrophoneX"), 0.0f);
    EXPECT_EQ(get("LeftMicrophoneY"), 0.0f);

    // Alt-click on In R (0.59, 0.585 by default, moved here first): both reset, the lock untouched.
    set("RightInputX", 0.9f);
    set("RightInputY", 0.1f);
    const auto inR = view->getHandlePosition(3);
    const auto alt =
        juce::ModifierKeys(juce::ModifierKeys::leftButtonModifier | juce::ModifierKeys::altModifier);
    view->mouseDown(mouseAt(*view, inR, alt));
    EXPECT_FALSE(locked());
    view->mouseDrag(mouseAt(*view, inR + juce::Point<float>(30, 30), alt));
    view->mouseUp(mouseAt(*view, inR + juce::Point<float>(30, 30), {}));
    EXPECT_FLOAT_EQ(get("RightInputX"), 0.59f);
    EXPECT_FLOAT_EQ(get("RightInputY"), 0.585f);
    EXPECT_FALSE(locked());

    // The right button offers one item, which puts all eight back; it drags nothing.
    set("RightMicrophoneY", 0.2f);
    juce::StringArray items;
    view->showMenu = [&](juce::PopupMenu menu, juce::Component&)
    {
        for (juce::PopupMenu::MenuItemIterator it(menu); it.next();)
        {
            items.add(it.getItem().text);
            if (it.getItem().action)
                it.getItem().action();
        }
    };
    const auto right = juce::ModifierKeys(juce::ModifierKeys::rightButtonModifier);
    view->mouseDown(mouseAt(*view, {356, 148}, right));
    EXPECT_FALSE(locked());
    view->mouseDrag(mouseAt(*view, {400, 148}, right));
    view->mouseUp(mouseAt(*view, {400, 148}, {}));
    EXPECT_EQ(items, juce::StringArray("Reset Positions"));
    EXPECT_FLOAT_EQ(get("Area"), 2.0f);
    const std::pair<const char*, float> defaults[] = {
        {"LeftMicrophoneX", 0.1f},   {"LeftMicrophoneY", 0.55f}, {"RightMicrophoneX", 0.84f},
        {"RightMicrophoneY", 0.55f}, {"LeftInputX", 0.41f},      {"LeftInputY", 0.585f},
        {"RightInputX", 0.59f},      {"RightInputY", 0.585f}};
    for (const auto& [name, value] : defaults)
        EXPECT_FLOAT_EQ(get(name), value) << name;
    EXPECT_EQ(view->getTooltip(), "Edit the lamina's width and height, Alt+click icons to reset ");
}

TEST_F(SheetTest, ADragBuildsNothingUntilReleaseAndThenExactlyOnce)
{
    // Offline, a block that asks for a build waits for it, so the counters are exact after each block.
    sheet().setOffline(true);
    render(40);
    auto& state = LaminaProbe::processState(sheet());
    auto& stats = *LaminaProbe::stats(state);
    auto processValue = [&](const char* name) { return LaminaProbe::value<float>(sheet(), state, id(name)); };
    const auto before = stats.buildsStarted.load();
    ASSERT_GE(before, 1u);

    view->mouseDown(mouseAt(*view, {356, 148}));
    render(4);
    for (float x : {370.0f, 380.0f, 390.0f})
    {
        view->mouseDrag(mouseAt(*view, {x, 148}));
        render(20);
        EXPECT_EQ(stats.buildsStarted.load(), before) << "no build while the outline moves";
        EXPECT_FLOAT_EQ(processValue("Area"), get("Area")) << "though the values reach the audio side";
    }
    EXPECT_TRUE(LaminaProbe::value<bool>(sheet(), state, id("GeometryLock")));
    view->mouseUp(mouseAt(*view, {390, 148}, {}));
    render(40);
    EXPECT_EQ(stats.buildsStarted.load(), before + 1) << "one build at release";
    EXPECT_EQ(stats.takeOvers.load(), stats.buildsFinished.load());

    // The numeric field of the area holds the lock over its own drag in the same way.
    auto& spinner = dynamic_cast<GeometryParamSpinner&>(window->getEditor().getReadout("Area"));
    const float area = get("Area");
    spinner.mouseDown(mouseAt(spinner, {20, 10}));
    for (float y : {0.0f, -20.0f, -40.0f})
    {
        spinner.mouseDrag(mouseAt(spinner, {20, y}));
        render(20);
    }
    EXPECT_TRUE(locked());
    EXPECT_GT(get("Area"), area) << "dragging up enlarges the sheet";
    EXPECT_EQ(stats.buildsStarted.load(), before + 1);
    spinner.mouseUp(mouseAt(spinner, {20, -40}, {}));
    EXPECT_FALSE(locked());
    render(40);
    EXPECT_EQ(stats.buildsStarted.load(), before + 2);
}

} // namespace qor::test
