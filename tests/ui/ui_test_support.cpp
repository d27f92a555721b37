#include "tests/ui/ui_test_support.h"

#include "files/vfs_holder.h"

namespace qor::test
{

namespace
{
/** Fails the running test on any JUCE assertion (the GUI build logs them). */
class AssertionTrap : public juce::Logger
{
public:
    void logMessage(const juce::String& message) override
    {
        if (message.contains("JUCE Assertion failure"))
            ADD_FAILURE() << message;
    }
};

/** JUCE and a private settings folder for the whole run. */
class UiEnvironment : public testing::Environment
{
public:
    void SetUp() override
    {
        juce = std::make_unique<juce::ScopedJuceInitialiser_GUI>();
        juce::Logger::setCurrentLogger(&trap);
        folder = juce::File::createTempFile("lamina-ui-settings");
        folder.createDirectory();
        SettingsStore::setRootFolder(folder);
        installLaminaEditor();
    }
    void TearDown() override
    {
        juce::Logger::setCurrentLogger(nullptr);
        folder.deleteRecursively();
        juce.reset();
    }

private:
    std::unique_ptr<juce::ScopedJuceInitialiser_GUI> juce;
    AssertionTrap trap;
    juce::File folder;
};

[[maybe_unused]] auto* const environment = testing::AddGlobalTestEnvironment(new UiEnvironment);
} // namespace

void EditorTest::SetUp()
{
    plugin = std::make_unique<LaminaPlugin>(int32_t(PluginFormat::vst3));
    plugin->prepare(48000, {2, 2}, 256);
    // Every test starts from the default settings.
    const auto values = settings().getAllValues();
    for (const auto& key : values.getAllKeys())
        settings().removeValue(key);
    tick();
}

void EditorTest::TearDown()
{
    plugin.reset();
}

std::unique_ptr<LaminaPluginUIv2> EditorTest::open()
{
    std::unique_ptr<LaminaPluginUIv2> window(static_cast<LaminaPluginUIv2*>(plugin->createEditor()));
    EXPECT_NE(window, nullptr);
    return window;
}

void EditorTest::render(int blocks)
{
    std::vector<float> left(256), right(256);
    float* channels[] = {left.data(), right.data()};
    PluginAudioBuffer buffer;
    buffer.setChannels(2, 256, channels);
    for (int b = 0; b < blocks; ++b)
    {
        std::fill(left.begin(), left.end(), 0.0f);
        std::fill(right.begin(), right.end(), 0.0f);
        buffer.isSilent = false;
        buffer.setChannels(2, 256, channels);
        plugin->process(buffer);
    }
}

uint32_t EditorTest::slot(const char* key)
{
    for (uint32_t i = 0; i < plugin->getNumParameters(); ++i)
        if (auto* p = plugin->getExportedParameter(i); p != nullptr && p->getDefaultTarget().second == key)
            return i;
    ADD_FAILURE() << "no slot for " << key;
    return 0;
}

juce::MouseEvent mouseAt(juce::Component& target, juce::Point<float> position, juce::ModifierKeys mods,
                         int clicks)
{
    const auto now = juce::Time::getCurrentTime();
    return juce::MouseEvent(juce::Desktop::getInstance().getMainMouseSource(), position, mods,
                            juce::MouseInputSource::defaultPressure, 0.0f, 0.0f, 0.0f, 0.0f, &target, &target,
                            now, position, now, clicks, false);
}

void drag(juce::Component& target, juce::Point<float> from, juce::Point<float> to, juce::ModifierKeys mods)
{
    target.mouseDown(mouseAt(target, from, mods));
    for (int step = 1; step <= 4; ++step)
        target.mouseDrag(mouseAt(target, from + (to - from) * (float(step) / 4.0f), mods));
    target.mouseUp(mouseAt(target, to, juce::ModifierKeys()));
}

SlotLog::SlotLog(Signal<uint32_t>& signal)
{
    signal.connect(this, std::function<void(uint32_t)>([this](uint32_t i) { calls.push_back(i); }));
}

int SlotLog::count(uint32_t slot) const
{
    return int(std::count(calls.begin(), calls.end(), slot));
}

void pumpMessages(int ms)
{
    juce::MessageManager::getInstance()->runDispatchLoopUntil(ms);
}

} // namespace qor::test
