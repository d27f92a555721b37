// The sheet as the user sees it: every material at two sizes painted into pictures (kept beside the test
// program in screenshots/, the default one also in docs/), and a drag of the right edge with the real mouse
// on the X server, through the window's own peer.
#include "tests/ui/ui_test_support.h"

#include "ui/look/material_look.h"
#include "ui/sheet/lamina_rectangle.h"

#include <cmath>

namespace qor::test
{

namespace
{
juce::File shotFolder()
{
    auto folder =
        juce::File::getSpecialLocation(juce::File::currentExecutableFile).getSiblingFile("screenshots");
    folder.createDirectory();
    return folder;
}

juce::Colour meanColour(const juce::Image& image, juce::Rectangle<int> area)
{
    double r = 0, g = 0, b = 0;
    for (int y = area.getY(); y < area.getBottom(); ++y)
        for (int x = area.getX(); x < area.getRight(); ++x)
        {
            const auto c = image.getPixelAt(x, y);
            r += c.getFloatRed();
            g += c.getFloatGreen();
            b += c.getFloatBlue();
        }
    const double n = double(area.getWidth() * area.getHeight());
    return juce::Colour::fromFloatRGBA(float(r / n), float(g / n), float(b / n), 1.0f);
}

bool hasColourNear(const juce::Image& image, juce::Rectangle<int> area, juce::Colour colour)
{
    for (int y = area.getY(); y < area.getBottom(); ++y)
        for (int x = area.getX(); x < area.getRight(); ++x)
        {
            const auto c = image.getPixelAt(x, y);
            if (std::abs(c.getFloatRed() - colour.getFloatRed()) +
                    std::abs(c.getFloatGreen() - colour.getFloatGreen()) +
                    std::abs(c.getFloatBlue() - colour.getFloatBlue()) <
                0.15f)
                return true;
        }
    return false;
}

/** Pumps the message loop until `done`, for at most a minute (a bound for a stuck X server, not a wait). */
bool pumpUntil(const std::function<bool()>& done)
{
    for (int i = 0; i < 3000 && !done(); ++i)
        pumpMessages(20);
    return done();
}
} // namespace

TEST_F(EditorTest, EveryMaterialShowsItsOwnPlateAtBothSizes)
{
    auto window = open();
    auto& view = window->getEditor().getRectangle();
    struct Size
    {
        const char* name;
        float area, ratio;
    } sizes[] = {{"default", 2.0f, 2.0f}, {"3x2", 6.0f, 1.5f}};
    std::vector<juce::Colour> plates;
    for (const auto& size : sizes)
    {
        sheet().setParameter(id("Area"), size.area);
        sheet().setParameter(id("AspectRatio"), size.ratio);
        for (int m = 0; m < numMaterialLooks; ++m)
        {
            sheet().setParameter(id("Material"), int32_t(m));
            tick();
            ASSERT_EQ(view.getTexturePath(), materialLook(m).texture);
            // The sheet's place as the window paints it; the whole window once, for the default.
            const auto write = [](const juce::Image& image, const juce::String& name)
            {
                juce::FileOutputStream out(shotFolder().getChildFile(name));
                out.setPosition(0);
                out.truncate();
                juce::PNGImageFormat().writeImageToStream(image, out);
            };
            const auto name = juce::String("sheet_") + materialLook(m).label + "_" + size.name + ".png";
            const auto shot = window->createComponentSnapshot(view.getBounds(), true, 1.0f);
            write(shot, name);
            if (m == 0 && size.area == 2.0f)
                write(window->createComponentSnapshot(window->getLocalBounds(), true, 1.0f),
                      "sheet_window.png");

            const auto plate = view.getDrawRect().toNearestInt();
            const auto inner = plate.reduced(plate.getWidth() / 3, plate.getHeight() / 3);
            plates.push_back(meanColour(shot, inner));
            // The width figure in its colour above the plate.
            EXPECT_TRUE(hasColourNear(shot, {plate.getCentreX() - 30, plate.getY() - 19, 60, 18},
                                      juce::Colour(0xff00c4af)))
                << name;
        }
    }
    // Each material tints the plate its own way.
    for (int a = 0; a < numMaterialLooks; ++a)
        for (int b = a + 1; b < numMaterialLooks; ++b)
        {
            const auto x = plates[size_t(a)], y = plates[size_t(b)];
            const float d = std::abs(x.getFloatRed() - y.getFloatRed()) +
                            std::abs(x.getFloatGreen() - y.getFloatGreen()) +
                            std::abs(x.getFloatBlue() - y.getFloatBlue());
            EXPECT_GT(d, 0.02f) << materialLook(a).label << " and " << materialLook(b).label;
        }
}

TEST_F(EditorTest, TheRealMouseDragsTheRightEdge)
{
    if (juce::File("/usr/bin/xdotool").existsAsFile() == false)
        GTEST_SKIP() << "xdotool is not installed";
    auto window = open();
    window->setTopLeftPosition(0, 0);
    window->addToDesktop(0);
    window->setVisible(true);
    auto& view = window->getEditor().getRectangle();
    ASSERT_TRUE(pumpUntil([&] { return view.isShowing(); }));

    auto run = [](const juce::StringArray& command)
    {
        juce::ChildProcess process;
        if (!process.start(command))
            return false;
        return pumpUntil([&] { return !process.isRunning(); }) && process.getExitCode() == 0;
    };
    // The default sheet's right edge at 356, 148 in the sheet; 32 pixels to the right.
    const auto from = view.localPointToGlobal(juce::Point<int>(356, 148));
    const auto to = from + juce::Point<int>(32, 0);
    auto mouse = juce::Desktop::getInstance().getMainMouseSource();
    // The window may take the pointer only once it is mapped, and the first of the two moves also lands on
    // the sheet: move again until the sheet has seen the pointer on its edge (its cursor says so), so that
    // the press below starts an edge drag.
    const juce::MouseCursor edge(juce::MouseCursor::LeftRightResizeCursor);
    const auto onEdge = [&]
    { return mouse.getComponentUnderMouse() == &view && view.getMouseCursor() == edge; };
    bool reached = false;
    for (int attempt = 0; attempt < 100 && !reached; ++attempt)
    {
        ASSERT_TRUE(run({"xdotool", "mousemove", juce::String(from.x - 20), juce::String(from.y), "mousemove",
                         juce::String(from.x), juce::String(from.y)}));
        for (int i = 0; i < 10 && !reached; ++i)
        {
            pumpMessages(20);
            reached = onEdge();
        }
    }
    ASSERT_TRUE(reached) << "the pointer never reached the sheet's edge";

    ASSERT_TRUE(
        run({"xdotool", "mousedown", "1", "mousemove", juce::String(from.x + 16), juce::String(from.y),
             "mousemove", juce::String(to.x), juce::String(to.y), "mouseup", "1"}));
    ASSERT_TRUE(pumpUntil([&] { return !mouse.isDragging() && sheet().getParameter(id("Area")) != 2.0f; }));
    pumpUntil([&] { return !view.isDragging(); });
    // 2 m + 2 x 32 / 128 = 2.5 m wide, 1 m high.
    EXPECT_FLOAT_EQ(sheet().getParameter(id("Area")), 2.5f);
    EXPECT_FLOAT_EQ(sheet().getParameter(id("AspectRatio")), 2.5f);
    EXPECT_FALSE(sheet().getBoolParameter(id("GeometryLock")));
}

} // namespace qor::test
