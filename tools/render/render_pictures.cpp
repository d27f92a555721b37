#include "tools/render/render_pictures.h"

#include "files/settings_store.h"
#include "plugin/lamina_plugin.h"
#include "ui/displays/display_axes.h"
#include "ui/displays/lamina_decay_display.h"
#include "ui/displays/lamina_eq_display.h"
#include "ui/look/colours.h"
#include "ui/look/look_and_feel.h"
#include "ui/look/tt_fonts.h"
#include "ui/shell/editor_settings.h"
#include "ui/shell/lamina_plugin_ui_v2.h"
#include "ui/shell/right_panel.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <cmath>
#include <complex>
#include <cstdlib>

namespace qor::render
{

namespace
{
/** JUCE opens the X display named by DISPLAY, or ":0.0" without one, as soon as a component asks for the
    desktop. Pictures are drawn into images alone; a name that cannot be parsed keeps every display out. */
bool keepDisplaysAway()
{
    setenv("DISPLAY", ":offscreen", 1);
    return true;
}
} // namespace

struct PictureSession::State
{
    bool offscreen = keepDisplaysAway();
    juce::ScopedJuceInitialiser_GUI gui;
    juce::File previousRoot = SettingsStore::getRootFolder();
    juce::File folder = juce::File::createTempFile("lamina-render-settings");
};

PictureSession::PictureSession() : state(std::make_unique<State>())
{
    state->folder.createDirectory();
    SettingsStore::setRootFolder(state->folder);
    installLaminaEditor();
}

PictureSession::~PictureSession()
{
    SettingsStore::setRootFolder(state->previousRoot);
    state->folder.deleteRecursively();
}

juce::String picturesUnavailable()
{
    return {};
}

namespace
{
constexpr float plotScale = 2.0f;
const juce::Colour background = colours::panel;

/** The editor's look as the default while our own drawing runs; the editor's window sets and clears the
    default as it comes and goes, so each drawing takes it afresh. */
struct ScopedLook
{
    ScopedLook() { juce::LookAndFeel::setDefaultLookAndFeel(&look); }
    ~ScopedLook() { juce::LookAndFeel::setDefaultLookAndFeel(nullptr); }
    LaminaLookAndFeel look;
};

juce::Font titleFont(float height)
{
    return TTFonts::instance().getFont(fontPaths::handles, height);
}

juce::Font textFont(float height)
{
    return TTFonts::instance().getFont(fontPaths::values, height);
}

juce::String writePng(const juce::Image& image, const juce::File& file)
{
    if (!file.getParentDirectory().isDirectory() && !file.getParentDirectory().createDirectory().wasOk())
        return "cannot create the folder of '" + file.getFullPathName() + "'";
    juce::TemporaryFile temporary(file);
    {
        juce::FileOutputStream out(temporary.getFile());
        if (!out.openedOk() || !juce::PNGImageFormat().writeImageToStream(image, out))
            return "cannot write '" + file.getFullPathName() + "'";
    }
    if (!temporary.overwriteTargetFileWithTemporary())
        return "cannot move the picture to '" + file.getFullPathName() + "'";
    return {};
}

void drawTitle(juce::Graphics& g, const PictureTitle& title, float width)
{
    g.setColour(colours::text);
    g.setFont(titleFont(21.0f));
    g.drawText(title.name, juce::Rectangle<float>(20.0f, 10.0f, width - 40.0f, 26.0f),
               juce::Justification::centredLeft, true);
    g.setColour(colours::caption);
    g.setFont(textFont(14.0f));
    g.drawText(title.settings, juce::Rectangle<float>(20.0f, 36.0f, width - 40.0f, 18.0f),
               juce::Justification::centredLeft, true);
}

/** A window of the editor, made as a host makes it, with the layout and page asked for in the settings. */
std::unique_ptr<LaminaPluginUIv2> openEditor(LaminaPlugin& plugin, bool expanded, bool showEQ)
{
    auto& settings = plugin.getApplicationProperties();
    settings.setValue(settingsKeys::expanded, expanded);
    settings.setValue(settingsKeys::zoom, 100);
    settings.setValue(settingsKeys::showEQ, showEQ);
    settings.setValue(settingsKeys::showControls, true);
    settings.setValue(settingsKeys::showRTA, false);
    plugin.getEngineProxy()->tick();
    return std::unique_ptr<LaminaPluginUIv2>(static_cast<LaminaPluginUIv2*>(plugin.createEditor()));
}
} // namespace

juce::String drawDisplayPicture(LaminaPlugin& plugin, bool eq, const PictureTitle& title,
                                const juce::File& file)
{
    juce::Image shown;
    {
        auto window = openEditor(plugin, true, eq);
        auto* panel = window != nullptr ? window->getEditor().getRightPanel() : nullptr;
        if (panel == nullptr)
            return "the editor has no right panel to draw the displays from";
        juce::Component& display = eq ? static_cast<juce::Component&>(panel->getEQDisplay())
                                      : static_cast<juce::Component&>(panel->getDecayDisplay());
        // The display with a little of the panel around it, exactly as the editor paints that area; the
        // display's own switches name its curves.
        const auto area = window->getLocalArea(&display, display.getLocalBounds()).expanded(6);
        shown = window->createComponentSnapshot(area, true, plotScale);
    }

    ScopedLook look;
    const float w = plotWidth / plotScale;
    juce::Image image(juce::Image::RGB, plotWidth, plotHeight, true);
    juce::Graphics g(image);
    g.addTransform(juce::AffineTransform::scale(plotScale));
    g.fillAll(background);
    drawTitle(g, title, w);

    const juce::Rectangle<float> plot(20.0f, 62.0f, shown.getWidth() / plotScale,
                                      shown.getHeight() / plotScale);
    g.drawImage(shown, plot);
    g.setColour(colours::outline);
    g.drawRect(plot, 1.0f);

    const float captionY = plot.getBottom() + 8.0f;
    g.setFont(textFont(13.0f));
    g.setColour(colours::caption);
    const auto axes = eq ? juce::String("gain in dB (right) against frequency in Hz")
                         : juce::String("seconds to decay by 60 dB (right) against frequency in Hz");
    g.drawText(axes, juce::Rectangle<float>(plot.getRight() - 320.0f, captionY, 320.0f, 17.0f),
               juce::Justification::centredRight, false);
    if (!eq)
    {
        // The light area is the decay of every mechanism together: the plate as it sounds.
        g.setColour(juce::Colour(0x90e8f0ee));
        g.fillRect(plot.getX(), captionY + 4.0f, 18.0f, 9.0f);
        g.setColour(colours::caption);
        g.drawText("all together", juce::Rectangle<float>(plot.getX() + 24.0f, captionY, 140.0f, 17.0f),
                   juce::Justification::centredLeft, false);
    }
    return writePng(image, file);
}

juce::String drawEditorSnapshot(LaminaPlugin& plugin, bool expanded, const juce::File& file)
{
    auto window = openEditor(plugin, expanded, false);
    if (window == nullptr)
        return "the plug-in made no editor";
    const auto image = window->createComponentSnapshot(window->getLocalBounds(), true, 1.0f);
    return writePng(image, file);
}

namespace
{
/** In-place radix-2 FFT of a power-of-two length. The products are written out: std::complex's operator*
    checks for infinities and is several times slower. */
void fft(std::vector<std::complex<float>>& data)
{
    const std::size_t n = data.size();
    for (std::size_t i = 1, j = 0; i < n; ++i)
    {
        std::size_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(data[i], data[j]);
    }
    for (std::size_t length = 2; length <= n; length <<= 1)
    {
        const double angle = -2.0 * juce::MathConstants<double>::pi / double(length);
        for (std::size_t k = 0; k < length / 2; ++k)
        {
            const auto wr = float(std::cos(angle * double(k))), wi = float(std::sin(angle * double(k)));
            for (std::size_t start = 0; start < n; start += length)
            {
                auto& a = data[start + k];
                auto& b = data[start + k + length / 2];
                const float br = b.real() * wr - b.imag() * wi, bi = b.real() * wi + b.imag() * wr;
                b = {a.real() - br, a.imag() - bi};
                a = {a.real() + br, a.imag() + bi};
            }
        }
    }
}

/** Dark to the sheet's teal to white: the colours of a level from 0 (floor) to 1 (peak). */
juce::Colour levelColour(float v)
{
    static const juce::Colour stops[] = {juce::Colour(0xff101214), juce::Colour(0xff0e3b46),
                                         juce::Colour(0xff0e6662), juce::Colour(0xff2ac2b9),
                                         juce::Colour(0xfff1f4e8)};
    v = juce::jlimit(0.0f, 1.0f, v) * 4.0f;
    const int i = juce::jmin(3, int(v));
    return stops[i].interpolatedWith(stops[i + 1], v - float(i));
}

/** The colour of octave band `index` of `count`: warm for the low bands, teal for the high ones. */
juce::Colour bandColour(std::size_t index, std::size_t count)
{
    const float t = count > 1 ? float(index) / float(count - 1) : 0.0f;
    return juce::Colour::fromHSV(0.07f + 0.43f * t, 0.75f, 0.95f, 1.0f);
}

constexpr float lowestFrequency = 20.0f;

/** The spectrogram as pixels: time across, frequency up on a log axis, level as colour (90 dB of range). */
juce::Image spectrogram(const std::vector<float>& samples, double sampleRate, int width, int height)
{
    juce::Image image(juce::Image::RGB, width, height, true);
    constexpr int fftSize = 4096;
    const float highest = juce::jmin(20000.0f, float(sampleRate) * 0.5f);
    std::vector<float> window(fftSize);
    for (int i = 0; i < fftSize; ++i)
        window[size_t(i)] =
            0.5f - 0.5f * std::cos(2.0f * juce::MathConstants<float>::pi * float(i) / fftSize);

    // Each row's frequency and the bins it covers, so that the high rows average their many bins.
    std::vector<std::pair<int, int>> rows(static_cast<size_t>(height));
    const float binHz = float(sampleRate) / fftSize;
    for (int y = 0; y < height; ++y)
    {
        auto frequencyAt = [&](float row)
        { return lowestFrequency * std::pow(highest / lowestFrequency, 1.0f - row / float(height)); };
        const int hi = juce::jlimit(1, fftSize / 2, int(frequencyAt(float(y)) / binHz + 0.5f));
        const int lo = juce::jlimit(1, hi, int(frequencyAt(float(y + 1)) / binHz + 0.5f));
        rows[size_t(y)] = {lo, hi};
    }

    std::vector<std::vector<float>> levels(static_cast<size_t>(width),
                                           std::vector<float>(static_cast<size_t>(height)));
    std::vector<std::complex<float>> bins(fftSize);
    float peak = -1000.0f;
    const double hop = double(samples.size()) / width;
    for (int x = 0; x < width; ++x)
    {
        const auto centre = int64_t(hop * (x + 0.5));
        for (int i = 0; i < fftSize; ++i)
        {
            const int64_t at = centre - fftSize / 2 + i;
            const float s = at >= 0 && at < int64_t(samples.size()) ? samples[size_t(at)] : 0.0f;
            bins[size_t(i)] = {s * window[size_t(i)], 0.0f};
        }
        fft(bins);
        for (int y = 0; y < height; ++y)
        {
            const auto [lo, hi] = rows[size_t(y)];
            float power = 0.0f;
            for (int b = lo; b <= hi; ++b)
                power += bins[size_t(b)].real() * bins[size_t(b)].real() +
                         bins[size_t(b)].imag() * bins[size_t(b)].imag();
            const float db = 10.0f * std::log10(power / float(hi - lo + 1) + 1e-30f);
            levels[size_t(x)][size_t(y)] = db;
            peak = juce::jmax(peak, db);
        }
    }
    constexpr float range = 90.0f;
    juce::Image::BitmapData pixels(image, juce::Image::BitmapData::writeOnly);
    for (int x = 0; x < width; ++x)
        for (int y = 0; y < height; ++y)
            pixels.setPixelColour(x, y, levelColour((levels[size_t(x)][size_t(y)] - (peak - range)) / range));
    return image;
}

juce::String secondsLabel(double seconds)
{
    return juce::String(seconds, 2) + " s";
}

/** Time ticks under a plot of `length` seconds: every 0.5, 1, 2 or 5 s, so that about six are shown. */
void drawTimeAxis(juce::Graphics& g, juce::Rectangle<float> plot, double length, bool labels)
{
    double step = 0.1;
    for (double s : {0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 10.0, 20.0, 50.0})
        if (length / s <= 8.0)
        {
            step = s;
            break;
        }
    g.setFont(textFont(12.0f));
    for (double t = 0.0; t <= length + 1e-9; t += step)
    {
        const float x = plot.getX() + float(t / length) * plot.getWidth();
        g.setColour(displayAxes::gridColour.withAlpha(0.35f));
        g.drawVerticalLine(juce::roundToInt(x), plot.getY(), plot.getBottom());
        if (!labels)
            continue;
        g.setColour(colours::caption);
        g.drawText(juce::String(t, step < 1.0 ? 1 : 0) + " s",
                   juce::Rectangle<float>(x - 30.0f, plot.getBottom() + 3.0f, 60.0f, 14.0f),
                   juce::Justification::centred, false);
    }
}
} // namespace

juce::String drawImpulsePicture(const std::vector<float>& samples, double sampleRate,
                                const OctaveDecayMeter& meter, const std::vector<BandDecayFigure>& figures,
                                const PictureTitle& title, const juce::File& file)
{
    ScopedLook look;
    constexpr float scale = 2.0f;
    const float w = impulsePlotWidth / scale;
    juce::Image image(juce::Image::RGB, impulsePlotWidth, impulsePlotHeight, true);
    juce::Graphics g(image);
    g.addTransform(juce::AffineTransform::scale(scale));
    g.fillAll(background);
    drawTitle(g, title, w);
    const double length = juce::jmax(1e-3, double(samples.size()) / sampleRate);
    const float highest = juce::jmin(20000.0f, float(sampleRate) * 0.5f);

    // The spectrogram, with frequency labels at 100 Hz, 1 kHz and 10 kHz and their neighbours.
    const juce::Rectangle<float> top(64.0f, 74.0f, 500.0f, 250.0f);
    g.setColour(colours::caption);
    g.setFont(titleFont(15.0f));
    g.drawText("Spectrogram", top.withY(56.0f).withHeight(16.0f), juce::Justification::centredLeft, false);
    // One column per point across is detail enough for a decay of seconds, and halves the transforms.
    g.drawImage(spectrogram(samples, sampleRate, int(top.getWidth()), int(top.getHeight() * scale)), top);
    g.setFont(textFont(12.0f));
    for (float f : {50.0f, 100.0f, 200.0f, 500.0f, 1000.0f, 2000.0f, 5000.0f, 10000.0f, 20000.0f})
    {
        if (f > highest)
            continue;
        const float y = top.getBottom() -
                        std::log(f / lowestFrequency) / std::log(highest / lowestFrequency) * top.getHeight();
        g.setColour(juce::Colours::white.withAlpha(0.12f));
        g.drawHorizontalLine(juce::roundToInt(y), top.getX(), top.getRight());
        g.setColour(colours::caption);
        g.drawText(f >= 1000.0f ? juce::String(int(f / 1000.0f)) + " kHz" : juce::String(int(f)) + " Hz",
                   juce::Rectangle<float>(top.getX() - 62.0f, y - 7.0f, 56.0f, 14.0f),
                   juce::Justification::centredRight, false);
    }
    drawTimeAxis(g, top, length, true);
    g.setColour(colours::outline);
    g.drawRect(top, 1.0f);

    // The Schroeder curves of the octave bands (the first channel), 0 to -80 dB.
    const juce::Rectangle<float> bottom(64.0f, 372.0f, 500.0f, 130.0f);
    constexpr float floorDb = -80.0f;
    g.setColour(colours::caption);
    g.setFont(titleFont(15.0f));
    g.drawText("Energy decay per octave band", bottom.withY(354.0f).withHeight(16.0f),
               juce::Justification::centredLeft, false);
    g.setFont(textFont(12.0f));
    for (float db = 0.0f; db >= floorDb; db -= 20.0f)
    {
        const float y = bottom.getY() + db / floorDb * bottom.getHeight();
        g.setColour(displayAxes::gridColour.withAlpha(0.35f));
        g.drawHorizontalLine(juce::roundToInt(y), bottom.getX(), bottom.getRight());
        g.setColour(colours::caption);
        g.drawText(juce::String(int(db)) + " dB",
                   juce::Rectangle<float>(bottom.getX() - 62.0f, y - 7.0f, 56.0f, 14.0f),
                   juce::Justification::centredRight, false);
    }
    drawTimeAxis(g, bottom, length, true);
    const auto& centres = meter.centres();
    for (std::size_t b = 0; b < centres.size(); ++b)
    {
        const auto curve = meter.decayCurveDb(b, 0);
        if (curve.empty())
            continue;
        juce::Path path;
        const double binSeconds = meter.getBinSeconds();
        for (std::size_t i = 0; i < curve.size(); ++i)
        {
            const float x = bottom.getX() + float(double(i) * binSeconds / length) * bottom.getWidth();
            const float y = bottom.getY() + juce::jmax(curve[i], floorDb) / floorDb * bottom.getHeight();
            if (i == 0)
                path.startNewSubPath(x, y);
            else
                path.lineTo(x, y);
            if (curve[i] < floorDb)
                break;
        }
        g.setColour(bandColour(b, centres.size()));
        g.strokePath(path, juce::PathStrokeType(1.4f));
    }
    g.setColour(colours::outline);
    g.drawRect(bottom, 1.0f);

    // The table: each band's measured 60 dB time beside the model's.
    const float tx = 590.0f, tw = w - tx - 12.0f;
    g.setColour(colours::caption);
    g.setFont(titleFont(15.0f));
    g.drawText("60 dB decay time", juce::Rectangle<float>(tx, 56.0f, tw, 16.0f),
               juce::Justification::centredLeft, false);
    const std::pair<float, float> columns[] = {
        {tx + 20.0f, 56.0f}, {tx + 76.0f, 50.0f}, {tx + 126.0f, 44.0f}, {tx + 170.0f, 28.0f}};
    g.setFont(textFont(13.0f));
    const char* const headings[] = {"band", "measured", "model", "ratio"};
    for (int c = 0; c < 4; ++c)
        g.drawText(headings[c], juce::Rectangle<float>(columns[c].first, 80.0f, columns[c].second, 16.0f),
                   c == 0 ? juce::Justification::centredLeft : juce::Justification::centredRight, false);
    float y = 102.0f;
    bool unmeasured = false;
    for (std::size_t b = 0; b < figures.size(); ++b)
    {
        const auto& figure = figures[b];
        double sum = 0;
        int count = 0;
        for (const auto& m : figure.measured)
            if (m)
            {
                sum += *m;
                ++count;
            }
        const auto ratio = figure.ratio();
        unmeasured = unmeasured || count == 0;
        g.setColour(bandColour(b, figures.size()));
        g.fillRoundedRectangle(tx, y + 6.0f, 14.0f, 3.0f, 1.5f);
        const juce::String cells[] = {octaveBandName(figure.centre),
                                      count > 0 ? secondsLabel(sum / count) : "-",
                                      std::isfinite(figure.model) ? secondsLabel(figure.model) : "+oo",
                                      ratio ? juce::String(*ratio, 2) : "-"};
        for (int c = 0; c < 4; ++c)
        {
            g.setColour(c == 1 ? colours::numericValue : colours::text);
            g.drawText(cells[c], juce::Rectangle<float>(columns[c].first, y, columns[c].second, 16.0f),
                       c == 0 ? juce::Justification::centredLeft : juce::Justification::centredRight, false);
        }
        y += 20.0f;
    }
    g.setColour(colours::caption);
    g.setFont(textFont(12.0f));
    const auto note =
        "Measured: a line fitted to each band's energy decay from " +
        juce::String(int(OctaveDecayMeter::fitStartDb)) + " to " +
        juce::String(int(OctaveDecayMeter::fitEndDb)) +
        " dB, the mean of the channels. Model: the damping model at the band's centre." +
        (unmeasured ? " A dash: the band decays longer than the response; render more with --tail." : "");
    g.drawFittedText(note, juce::Rectangle<int>(int(tx), int(y + 10.0f), int(tw), 110),
                     juce::Justification::topLeft, 8);
    return writePng(image, file);
}

} // namespace qor::render
