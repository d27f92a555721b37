// Renders the art as the editor places it, through JUCE's own drawing code, so that the art can be judged
// before (and apart from) the editor: `art_tests --preview DIR` writes one PNG per layout, scale and
// material.
#include "tools/art/art_load.h"
#include "tools/art/art_names.h"

#include "files/vfs_holder.h"

namespace qor::art
{
namespace
{

const juce::String svgRoot = "$Resource/resource/svg/";
const juce::Colour teal(0xff00c9af);

struct Fonts
{
    juce::Font values, medium, sans;
};

void drawSvg(juce::Graphics& g, const juce::String& name, juce::Rectangle<float> box, float angle = 0.0f)
{
    auto drawable = loadSvg(svgRoot + name);
    if (drawable == nullptr)
        return;
    drawable->setTransformToFit(box, juce::RectanglePlacement::stretchToFit);
    drawable->draw(g, 1.0f, juce::AffineTransform::rotation(angle, box.getCentreX(), box.getCentreY()));
}

void drawKnob(juce::Graphics& g, juce::Rectangle<float> bounds, float v)
{
    const auto box =
        bounds.withSizeKeepingCentre(bounds.getWidth() * 46.0f / 56.0f, bounds.getHeight() * 46.0f / 56.0f);
    drawSvg(g, "knob_common-ring_46x46.svg", box);
    drawSvg(
        g, "knob_common-line_46x46.svg", box,
        (float)((v * 2.0 * juce::MathConstants<double>::pi - juce::MathConstants<double>::pi) * 2.0 / 3.0));
}

void drawSmallKnob(juce::Graphics& g, float x, float y, float v)
{
    const juce::Rectangle<float> box(x, y, 33.0f, 33.0f);
    drawSvg(g, "knob_common-ring_46x46.svg", box);
    drawSvg(
        g, "knob_common-line_46x46.svg", box,
        (float)((v * 2.0 * juce::MathConstants<double>::pi - juce::MathConstants<double>::pi) * 2.0 / 3.0));
}

void text(juce::Graphics& g, const juce::Font& font, juce::Colour colour, const juce::String& s,
          juce::Rectangle<float> box, juce::Justification just = juce::Justification::centred)
{
    g.setColour(colour);
    g.setFont(font);
    g.drawText(s, box, just, false);
}

// The scale of a main knob, drawn roughly as the editor does: ticks about the centre, white at low alpha.
void drawScale(juce::Graphics& g, juce::Point<float> c, int count)
{
    g.setColour(juce::Colours::white.withAlpha(0.45f));
    for (int i = 0; i < count; ++i)
    {
        const double v = (double)i / (double)(count - 1);
        const float a =
            (float)((v * 2.0 * juce::MathConstants<double>::pi - juce::MathConstants<double>::pi) * 2.0 /
                    3.0);
        const float len = i % 10 == 0 ? 8.0f : (i % 2 == 0 ? 4.0f : 2.0f);
        juce::Path p;
        p.startNewSubPath(c.x, c.y - 30.0f);
        p.lineTo(c.x, c.y - 30.0f - len);
        p.applyTransform(juce::AffineTransform::rotation(a, c.x, c.y));
        g.strokePath(p, juce::PathStrokeType(1.0f));
    }
}

juce::Image renderLayout(bool expanded, int scale, int material, const Fonts& fonts)
{
    const int w = expanded ? 1058 : 508, h = 555;
    juce::Image out(juce::Image::ARGB, w * scale, h * scale, true);
    juce::Graphics g(out);
    g.addTransform(juce::AffineTransform::scale((float)scale));
    const juce::String tag = expanded ? "exp" : "cnd";
    const juce::String at = scale > 1 ? "@2x" : "";
    const juce::Rectangle<float> window(0.0f, 0.0f, (float)w, (float)h);
    g.drawImage(loadImage("$Resource/resource/images/_bkg_" + tag + at + ".png"), window);
    g.drawImage(loadImage("$Resource/resource/images/_overlay_" + tag + at + ".png"), window);

    // The sheet, 2.4 m x 1.4 m, placed as the geometry editor places it in its 456 x 296 box.
    const char* metals[] = {"steel", "gold", "silver", "titanium", "aluminum"};
    const char* names[] = {"Steel", "Gold", "Silver", "Titanium", "Aluminium"};
    const int widths[] = {35, 35, 43, 68, 72};
    const int xs[] = {54, 123, 190, 259, 352};
    {
        const float sw = 2.4f, sh = 1.4f, W = 456.0f, H = 296.0f;
        const float aw = W - 40.0f, ah = H - 40.0f;
        const float sc = std::min(aw / std::max(sw, 3.0f), ah / std::max(sh, 2.0f));
        const float pw = sc * sw, ph = sc * sh;
        const juce::Rectangle<float> r((aw - 10.0f - pw) * 0.5f + 25.0f + 10.0f,
                                       (ah - 10.0f - ph) * 0.5f + 25.0f + 92.0f, pw, ph);
        const auto tex = loadImage(juce::String("$Resource/resource/textures/lamina_tex_") +
                                   metals[material] + at + ".png");
        g.saveState();
        g.reduceClipRegion(r.toNearestInt());
        g.setFillType(juce::FillType(tex, juce::AffineTransform::scale(1.0f / (float)scale)));
        g.fillRect(r);
        g.restoreState();
        g.setColour(juce::Colour(0xff241e19));
        g.drawRect(r.expanded(5.0f), 2.0f);
        text(g, fonts.medium.withHeight(13.0f), juce::Colour(0xff00c4af), "2.40 m",
             {r.getCentreX() - 30.0f, r.getY() - 19.0f - 5.0f, 60.0f, 18.0f});
        const std::pair<const char*, juce::Point<float>> handles[] = {
            {"lamina_io-OUT_L_black_29x29.svg", {0.3f, 0.7f}},
            {"lamina_io-OUT_R_black_29x29.svg", {0.7f, 0.65f}},
            {"lamina_io-IN_L_black_29x29.svg", {0.2f, 0.3f}},
            {"lamina_io-IN_R_black_29x29.svg", {0.8f, 0.25f}}};
        for (auto [name, pos] : handles)
        {
            const float px = r.getX() + r.getWidth() * pos.x, py = r.getBottom() - r.getHeight() * pos.y;
            g.setColour(juce::Colours::white.withAlpha(0.2f));
            g.drawVerticalLine((int)px, r.getY(), r.getBottom());
            g.drawHorizontalLine((int)py, r.getX(), r.getRight());
            drawSvg(g, name, {px - 14.5f, py - 14.5f, 29.0f, 29.0f});
        }
    }

    for (int i = 0; i < 5; ++i)
        drawSvg(g,
                juce::String("lamina_mat-") + names[i] + (i == material ? "_on_" : "_off_") +
                    juce::String(widths[i]) + "x23.svg",
                {(float)xs[i], 63.0f, (float)widths[i], 23.0f});

    const std::pair<int, int> spans[] = {{35, 49}, {90, 49}, {150, 67}, {221, 67}, {293, 63}, {357, 93}};
    const char* values[] = {"3.36", "1.71", "0.12", "0.50", "0.20", "High"};
    for (int i = 0; i < 6; ++i)
        text(g, fonts.values.withHeight(18.7f), teal, values[i],
             {(float)spans[i].first, 372.0f, (float)spans[i].second, 20.0f});

    const int knobX[] = {34, 182, 319};
    const float knobV[] = {0.35f, 0.5f, 0.8f};
    const std::pair<int, int> captions[] = {{120, 50}, {253, 50}, {390, 70}};
    const char* captionText[] = {"Decay", "Mix", "Low Cut"};
    const char* valueText[] = {"2.6 s", "50.0 %", "-8.0 dB"};
    for (int i = 0; i < 3; ++i)
    {
        drawScale(g, {(float)knobX[i] + 28.0f, 488.0f}, 21);
        drawKnob(g, {(float)knobX[i], 460.0f, 56.0f, 56.0f}, knobV[i]);
        text(g, fonts.values.withHeight(15.0f), juce::Colour(0xffb9b9b9), captionText[i],
             {(float)captions[i].first, 467.0f, (float)captions[i].second, 21.0f});
        text(g, fonts.values.withHeight(15.0f), teal, valueText[i],
             {(float)captions[i].first, 490.0f, (float)captions[i].second, 17.0f});
    }

    // Meters, filled to two thirds.
    const int meterX[2] = {expanded ? 1015 : 465, expanded ? 1031 : 481};
    const float meterH = expanded ? 360.0f : 301.0f;
    const juce::String outStrip = juce::String("VU_out_") + metals[material] + "_8x18.svg";
    for (int i = 0; i < 2; ++i)
    {
        const float level = i == 0 ? 0.62f : 0.48f;
        drawSvg(g, i == 0 ? juce::String("VU_in_8x18.svg") : outStrip,
                {(float)meterX[i], 67.0f + meterH * (1.0f - level), 8.0f, meterH * level});
    }
    drawSvg(g, expanded ? "cnd-exp_on_29x30.svg" : "cnd-exp_off_29x30.svg",
            expanded ? juce::Rectangle<float>(1013.0f, 435.0f, 29.0f, 30.0f)
                     : juce::Rectangle<float>(463.0f, 376.0f, 29.0f, 30.0f));

    // Toolbar.
    drawSvg(g, "header_a-b_off_39x26.svg", {12.0f, 10.0f, 39.0f, 26.0f});
    drawSvg(g, "header_bwd_26x26.svg", {64.0f, 10.0f, 26.0f, 26.0f});
    drawSvg(g, "header_fwd_26x26.svg", {90.0f, 10.0f, 26.0f, 26.0f});
    text(g, fonts.sans.withHeight(15.0f), juce::Colour(0xff999999), "01-Classics / Bright Plate",
         {118.0f, 10.0f, 238.0f, 26.0f});
    drawSvg(g, "header_folder_off_35x26.svg", {358.0f, 10.0f, 35.0f, 26.0f});

    // Footer.
    text(g, fonts.sans.withHeight(12.0f), juce::Colours::white.withAlpha(0.5f), "CPU: 3.2%",
         {10.0f, 535.0f, 120.0f, 20.0f}, juce::Justification::centredLeft);
    text(g, fonts.sans.withHeight(13.0f), juce::Colour(0xff646464), "1.0.0_x64",
         {(float)w - 110.0f, 535.0f, 100.0f, 20.0f}, juce::Justification::centredRight);

    // Padlocks on a few locked parameters.
    for (auto [x, y] : {std::pair{162, 475}, {75, 380}, {425, 380}, {606, 489}, {1032, 489}})
        if (expanded || x < 508)
            drawSvg(g, "lock_7x10.svg", {(float)x, (float)y, 7.0f, 10.0f});

    if (expanded)
    {
        // A few curves on the display, to judge the glass under them.
        const juce::Rectangle<float> d(514.0f, 68.0f, 486.0f, 253.0f);
        g.setColour(juce::Colour(0xff737373).withAlpha(0.35f));
        for (int i = 1; i < 8; ++i)
            g.drawHorizontalLine((int)(d.getY() + d.getHeight() * (float)i / 8.0f), d.getX(), d.getRight());
        const juce::Colour curves[] = {juce::Colour(0xff985a9d), juce::Colour(0xfffd913d),
                                       juce::Colour(0xfff23c3b), juce::Colour(0xff2ac2b9)};
        for (int c = 0; c < 4; ++c)
        {
            juce::Path p;
            for (int i = 0; i <= 100; ++i)
            {
                const float x = d.getX() + d.getWidth() * (float)i / 100.0f;
                const float y = d.getY() + 40.0f + 30.0f * (float)c +
                                (float)i * (0.6f + 0.3f * (float)c) * 1.2f * (float)(c % 2 ? 1 : -1) * 0.3f +
                                20.0f * std::sin((float)i * 0.05f + (float)c);
                i == 0 ? p.startNewSubPath(x, y) : p.lineTo(x, y);
            }
            g.setColour(curves[c]);
            g.strokePath(p, juce::PathStrokeType(c == 3 ? 2.0f : 1.5f));
        }
        drawSvg(g, "decay_sidebar_EQ_off_25x25.svg", {522.0f, 75.0f, 25.0f, 25.0f});
        drawSvg(g, "decay_sidebar_RTA_off_25x25.svg", {522.0f, 104.0f, 25.0f, 25.0f});
        const char* switches[] = {"Damper", "Friction", "Air", "BandDecay"};
        for (int i = 0; i < 4; ++i)
            drawSvg(g, juce::String("decay_ALL_") + switches[i] + (i == 1 ? "_off_" : "_on_") + "98x30.svg",
                    {514.0f + 120.0f * (float)i, 292.0f, 98.0f, 30.0f});
        const char* colCaptions[3][2] = {
            {"Decay (low)", "Frequency"}, {"Damp", "Frequency"}, {"Damp", "Frequency"}};
        for (int c = 0; c < 3; ++c)
            for (int r = 0; r < 2; ++r)
            {
                const float x = 509.0f + 120.0f * (float)c, y = r == 0 ? 327.0f : 370.0f;
                drawSmallKnob(g, x, y, 0.3f + 0.2f * (float)(c + r));
                text(g, fonts.values.withHeight(14.0f), juce::Colour(0xffb9b9b9), colCaptions[c][r],
                     {x + 38.0f, y, 70.0f, 17.0f}, juce::Justification::centredLeft);
                text(g, fonts.values.withHeight(14.0f), teal, "1.20", {x + 38.0f, y + 16.0f, 70.0f, 17.0f},
                     juce::Justification::centredLeft);
            }
        const int lowerX[] = {32, 159, 295, 416};
        const int lowerCaptionX[] = {88, 215, 351, 472};
        const char* lower[] = {"Drive", "Pre-delay", "Width", "Gain"};
        const char* lowerValues[] = {"0.0 %", "12 ms", "100 %", "0.0 dB"};
        for (int i = 0; i < 4; ++i)
        {
            drawSmallKnob(g, 482.0f + (float)lowerX[i], 475.0f, 0.2f + 0.2f * (float)i);
            text(g, fonts.values.withHeight(15.0f), juce::Colour(0xffb9b9b9), lower[i],
                 {482.0f + (float)lowerCaptionX[i], 476.0f, i == 3 ? 87.0f : 60.0f, 21.0f},
                 juce::Justification::centredLeft);
            text(g, fonts.values.withHeight(15.0f), teal, lowerValues[i],
                 {482.0f + (float)lowerCaptionX[i], 495.0f, 60.0f, 17.0f}, juce::Justification::centredLeft);
        }
    }
    return out;
}

void drawSheet(const juce::File& file, int zoom)
{
    // Every drawing at `zoom` times its size, on the panel's colour.
    const auto names = namedSvgs();
    const int cols = 6, cellW = 102 * zoom, cellH = 50 * zoom;
    const int rows = (names.size() + cols - 1) / cols;
    juce::Image img(juce::Image::ARGB, cols * cellW, rows * cellH, true);
    juce::Graphics g(img);
    g.fillAll(juce::Colour(0xff2b2e31));
    for (int i = 0; i < names.size(); ++i)
    {
        const auto size = sizeFromName(names[i]) * zoom;
        drawSvg(g, names[i],
                {(float)((i % cols) * cellW + 2 * zoom), (float)((i / cols) * cellH + 2 * zoom),
                 (float)size.x, (float)size.y});
    }
    file.deleteFile();
    juce::FileOutputStream stream(file);
    juce::PNGImageFormat().writeImageToStream(img, stream);
}

} // namespace

int writePreviews(const juce::File& folder)
{
    VFSHolder::instance().mountArchive("art_preview", true, juce::File());
    folder.createDirectory();
    auto font = [](int i) { return juce::Font(loadTypeface(fontPaths()[i])); };
    const Fonts fonts{font(0), font(1), font(2)};
    juce::PNGImageFormat png;
    for (bool expanded : {false, true})
        for (int scale : {1, 2})
            for (int material = 0; material < 5; ++material)
            {
                if (scale == 2 && material > 0)
                    continue;
                const auto image = renderLayout(expanded, scale, material, fonts);
                const auto file =
                    folder.getChildFile(juce::String(expanded ? "expanded" : "condensed") + "_" +
                                        juce::String(scale) + "x_" + juce::String(material) + ".png");
                file.deleteFile();
                juce::FileOutputStream stream(file);
                png.writeImageToStream(image, stream);
            }
    drawSheet(folder.getChildFile("svg_sheet_4x.png"), 4);
    return 0;
}

} // namespace qor::art
