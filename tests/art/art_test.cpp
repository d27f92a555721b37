#include "tools/art/art_load.h"
#include "tools/art/art_names.h"

#include "files/vfs_holder.h"

#include <gtest/gtest.h>

namespace qor::art
{
namespace
{

const VirtualFile svgFolder{"$Resource/resource/svg"};
const VirtualFile imageFolder{"$Resource/resource/images"};
const VirtualFile textureFolder{"$Resource/resource/textures"};

class Art : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { VFSHolder::instance().mountArchive("art_tests", true, juce::File()); }
};

// A drawing rendered into its named box with a margin around it.
struct Rendered
{
    juce::Image image;
    int margin;
};

Rendered render(juce::Drawable& drawable, juce::Point<int> size, int margin = 6)
{
    juce::Image image(juce::Image::ARGB, size.x + 2 * margin, size.y + 2 * margin, true);
    juce::Graphics g(image);
    drawable.drawWithin(g, juce::Rectangle<float>((float)margin, (float)margin, (float)size.x, (float)size.y),
                        juce::RectanglePlacement::stretchToFit, 1.0f);
    return {image, margin};
}

float luminance(juce::Colour c)
{
    return 0.2126f * c.getFloatRed() + 0.7152f * c.getFloatGreen() + 0.0722f * c.getFloatBlue();
}

// Mean luminance over a small square, in layout units of a 1x image.
float meanLuminance(const juce::Image& image, int cx, int cy, int half = 2)
{
    float sum = 0.0f;
    int n = 0;
    for (int y = cy - half; y <= cy + half; ++y)
        for (int x = cx - half; x <= cx + half; ++x, ++n)
            sum += luminance(image.getPixelAt(x, y));
    return sum / (float)n;
}

TEST_F(Art, EveryNamedDrawingParsesAndStaysInsideTheSizeOfItsName)
{
    for (const auto& name : namedSvgs())
    {
        SCOPED_TRACE(name.toStdString());
        const auto file = svgFolder.getChild(name);
        ASSERT_TRUE(file.exists());
        const auto size = sizeFromName(name);
        ASSERT_GT(size.x, 0);
        ASSERT_GT(size.y, 0);

        const auto xml = juce::parseXML(readAll(file).toString());
        ASSERT_NE(xml, nullptr);
        EXPECT_EQ(xml->getIntAttribute("width"), size.x);
        EXPECT_EQ(xml->getIntAttribute("height"), size.y);
        EXPECT_EQ(xml->getStringAttribute("viewBox"),
                  "0 0 " + juce::String(size.x) + " " + juce::String(size.y));

        const auto drawable = juce::Drawable::createFromSVG(*xml);
        ASSERT_NE(drawable, nullptr);
        // JUCE fits a drawing by its drawn bounds (drawWithin, DrawableButton), not by its view box: both
        // must be the named box, so that a knob's line turns about the knob's centre and an icon keeps its
        // margins.
        auto* composite = dynamic_cast<juce::DrawableComposite*>(drawable.get());
        ASSERT_NE(composite, nullptr);
        const juce::Rectangle<float> box(0, 0, (float)size.x, (float)size.y);
        EXPECT_EQ(composite->getContentArea(), box);
        const auto bounds = drawable->getDrawableBounds();
        EXPECT_NEAR(bounds.getX(), 0.0f, 1e-3f);
        EXPECT_NEAR(bounds.getY(), 0.0f, 1e-3f);
        EXPECT_NEAR(bounds.getRight(), box.getRight(), 1e-3f);
        EXPECT_NEAR(bounds.getBottom(), box.getBottom(), 1e-3f);

        // Something visible is drawn, and nothing lies more than a pixel outside the box.
        const auto [image, m] = render(*drawable, size);
        float inside = 0.0f, outside = 0.0f;
        for (int y = 0; y < image.getHeight(); ++y)
            for (int x = 0; x < image.getWidth(); ++x)
            {
                const float a = image.getPixelAt(x, y).getFloatAlpha();
                const bool in = x >= m && y >= m && x < m + size.x && y < m + size.y;
                const bool near = x >= m - 1 && y >= m - 1 && x <= m + size.x && y <= m + size.y;
                if (in)
                    inside += a;
                else if (!near)
                    outside = std::max(outside, a);
            }
        EXPECT_GT(inside, std::max(8.0f, 0.01f * (float)(size.x * size.y)));
        EXPECT_LT(outside, 0.05f);
    }
}

TEST_F(Art, OnAndOffDrawingsOfAControlDiffer)
{
    juce::StringArray pairs;
    for (const auto& name : namedSvgs())
    {
        if (name.contains("_on_"))
            pairs.add(name);
    }
    ASSERT_EQ(pairs.size(), 1 + 5 + 6); // the expand button, the materials, the switches
    for (const auto& on : pairs)
    {
        SCOPED_TRACE(on.toStdString());
        const auto off = on.replace("_on_", "_off_");
        const auto a = loadSvg(svgFolder.getChild(on));
        const auto b = loadSvg(svgFolder.getChild(off));
        ASSERT_TRUE(a != nullptr && b != nullptr);
        const auto size = sizeFromName(on);
        const auto ia = render(*a, size).image, ib = render(*b, size).image;
        int differing = 0;
        for (int y = 0; y < ia.getHeight(); ++y)
            for (int x = 0; x < ia.getWidth(); ++x)
                differing += std::abs(luminance(ia.getPixelAt(x, y)) - luminance(ib.getPixelAt(x, y))) > 0.1f;
        EXPECT_GT(differing, size.x * size.y / 20);
    }
}

TEST_F(Art, EveryImageHasItsTwinAtExactlyDoubleSize)
{
    const std::pair<const char*, juce::Point<int>> named[] = {
        {"images/_bkg_exp.png", {1058, 555}},        {"images/_bkg_cnd.png", {508, 555}},
        {"images/_overlay_exp.png", {1058, 555}},    {"images/_overlay_cnd.png", {508, 555}},
        {"textures/lamina_tex_steel.png", {0, 0}},   {"textures/lamina_tex_gold.png", {0, 0}},
        {"textures/lamina_tex_silver.png", {0, 0}},  {"textures/lamina_tex_titanium.png", {0, 0}},
        {"textures/lamina_tex_aluminum.png", {0, 0}}};
    for (auto [path, size] : named)
    {
        const auto image = loadImage(VirtualFile("$Resource/resource/").getChild(path));
        ASSERT_TRUE(image.isValid()) << path;
        if (size.x > 0)
        {
            EXPECT_EQ(juce::Point<int>(image.getWidth(), image.getHeight()), size) << path;
        }
    }

    int singles = 0;
    for (const auto& folder : {imageFolder, textureFolder})
    {
        std::vector<VirtualFile> files;
        ASSERT_TRUE(folder.list(files));
        for (const auto& file : files)
        {
            SCOPED_TRACE(file.getPath().toStdString());
            const auto name = file.getFileName();
            ASSERT_TRUE(name.endsWith(".png"));
            if (name.contains("@2x"))
            {
                EXPECT_TRUE(folder.getChild(name.replace("@2x", "")).exists());
                continue;
            }
            ++singles;
            const auto one = loadImage(file);
            const auto two = loadImage(folder.getChild(file.getFileNameWithoutExtension() + "@2x.png"));
            ASSERT_TRUE(one.isValid() && two.isValid());
            EXPECT_EQ(two.getWidth(), 2 * one.getWidth());
            EXPECT_EQ(two.getHeight(), 2 * one.getHeight());
        }
    }
    EXPECT_EQ(singles, 9);
}

TEST_F(Art, BackgroundsAreOpaqueAndHaveTheirPocketsWhereTheWidgetsGo)
{
    for (const bool expanded : {false, true})
    {
        SCOPED_TRACE(expanded ? "expanded" : "condensed");
        const juce::String tag = expanded ? "exp" : "cnd";
        const auto bkg = loadImage(imageFolder.getChild("_bkg_" + tag + ".png"));
        const auto overlay = loadImage(imageFolder.getChild("_overlay_" + tag + ".png"));
        ASSERT_TRUE(bkg.isValid() && overlay.isValid());

        double overlayAlpha = 0.0;
        for (int y = 0; y < bkg.getHeight(); y += 3)
            for (int x = 0; x < bkg.getWidth(); x += 3)
            {
                ASSERT_EQ(bkg.getPixelAt(x, y).getAlpha(), 255) << x << ", " << y;
                overlayAlpha += overlay.getPixelAt(x, y).getFloatAlpha();
            }
        EXPECT_LT(overlayAlpha / ((bkg.getWidth() / 3) * (bkg.getHeight() / 3)), 0.15);

        // Knob wells, the sheet's bay, the read-out glass and the meter troughs are darker than the plate
        // beside them.
        const float plate = meanLuminance(bkg, 130, 440);
        for (auto [x, y] : {std::pair{62, 488}, {210, 488}, {347, 488}, {238, 230}, {200, 383}})
            EXPECT_LT(meanLuminance(bkg, x, y), plate * 0.8f) << x << ", " << y;
        for (int meterX : expanded ? std::vector<int>{1019, 1035} : std::vector<int>{469, 485})
            EXPECT_LT(meanLuminance(bkg, meterX, 200, 1), plate * 0.7f) << meterX;
        if (expanded)
        {
            for (auto [x, y] : {std::pair{757, 190}, {530, 491}, {657, 491}, {793, 491}, {914, 491}})
                EXPECT_LT(meanLuminance(bkg, x, y), plate * 0.8f) << x << ", " << y;
        }
    }
}

TEST_F(Art, TexturesTileSeamlesslyAndLookLikeTheirMetal)
{
    struct Mean
    {
        float r = 0, g = 0, b = 0, lum = 0;
    };
    std::map<juce::String, Mean> means;
    for (auto metal : {"steel", "gold", "silver", "titanium", "aluminum"})
        for (auto suffix : {"", "@2x"})
        {
            SCOPED_TRACE(juce::String(metal) + suffix);
            const auto tex =
                loadImage(textureFolder.getChild(juce::String("lamina_tex_") + metal + suffix + ".png"));
            ASSERT_TRUE(tex.isValid());
            const int w = tex.getWidth(), h = tex.getHeight();
            ASSERT_GE(w, 64);
            // The step across the tile's edge, in both directions, is like any step inside it.
            auto step = [&](int x0, int y0, int x1, int y1)
            { return std::abs(luminance(tex.getPixelAt(x0, y0)) - luminance(tex.getPixelAt(x1, y1))); };
            double seamX = 0, innerX = 0, seamY = 0, innerY = 0;
            for (int i = 0; i < h; ++i)
            {
                seamX += step(w - 1, i, 0, i);
                innerX += step(w / 2 - 1, i, w / 2, i);
            }
            for (int i = 0; i < w; ++i)
            {
                seamY += step(i, h - 1, i, 0);
                innerY += step(i, h / 2 - 1, i, h / 2);
            }
            EXPECT_LT(seamX, innerX * 1.6 + 0.02 * h);
            EXPECT_LT(seamY, innerY * 1.6 + 0.02 * w);

            Mean m;
            for (int y = 0; y < h; y += 2)
                for (int x = 0; x < w; x += 2)
                {
                    const auto c = tex.getPixelAt(x, y);
                    m.r += c.getFloatRed();
                    m.g += c.getFloatGreen();
                    m.b += c.getFloatBlue();
                    m.lum += luminance(c);
                }
            const float n = (float)((w / 2) * (h / 2));
            means[metal] = {m.r / n, m.g / n, m.b / n, m.lum / n};
        }
    const auto& steel = means["steel"];
    const auto& gold = means["gold"];
    EXPECT_GT(steel.b, steel.r + 0.03f); // blue-grey
    EXPECT_GT(gold.r, gold.b + 0.25f);   // warm yellow
    EXPECT_GT(gold.g, gold.b + 0.15f);
    EXPECT_LT(means["titanium"].lum, steel.lum);           // the darkest
    EXPECT_GT(means["silver"].lum, means["aluminum"].lum); // the brightest
    EXPECT_GT(means["aluminum"].lum, steel.lum);
    EXPECT_LT(std::abs(means["silver"].r - means["silver"].b), 0.04f); // neutral
}

TEST_F(Art, TheThreeFontsLoadAsTypefacesWithOutlines)
{
    const juce::StringArray families{"Roboto Condensed", "Roboto Condensed", "Inter"};
    const auto paths = fontPaths();
    float widths[3] = {};
    for (int i = 0; i < paths.size(); ++i)
    {
        SCOPED_TRACE(paths[i].toStdString());
        const auto typeface = loadTypeface(paths[i]);
        ASSERT_NE(typeface, nullptr);
        EXPECT_EQ(typeface->getName(), families[i]);
        const juce::Font font(typeface);
        juce::GlyphArrangement glyphs;
        glyphs.addLineOfText(font.withHeight(20.0f), "Decay 2.5 s", 0.0f, 0.0f);
        juce::Path outline;
        glyphs.createPath(outline);
        EXPECT_GT(outline.getBounds().getHeight(), 8.0f);
        widths[i] = outline.getBounds().getWidth();
    }
    // The condensed faces are narrower than the default sans.
    EXPECT_LT(widths[0], widths[2] * 0.95f);
}

} // namespace
} // namespace qor::art
