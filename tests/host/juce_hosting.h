#pragma once

// JUCE's plug-in hosting as the host programs use it: the built VST3 and LV2 bundles, and nothing installed
// on the machine.
#include <juce_audio_processors/juce_audio_processors.h>
#include <juce_events/juce_events.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace qor::test
{

enum class Format
{
    vst3,
    lv2
};

inline juce::String nameOf(Format which)
{
    return which == Format::vst3 ? "VST3" : "LV2";
}

inline std::string formatName(const testing::TestParamInfo<Format>& info)
{
    return nameOf(info.param).toStdString();
}

/** The formats and the one message thread of a host program. */
struct Hosting
{
    Hosting()
    {
        formats.addFormat(new juce::VST3PluginFormat());
        formats.addFormat(new juce::LV2PluginFormat());
        // The bundle's parent folder is the LV2 search path.
        const auto lv2Folder = juce::File(QOR_LV2_BUNDLE).getParentDirectory();
        for (auto* format : formats.getFormats())
            if (format->getName() == "LV2")
                format->searchPathsForPlugins(juce::FileSearchPath(lv2Folder.getFullPathName()), false,
                                              false);
    }

    /** An instance prepared for stereo at `rate` and `blockSize`; offline when `nonRealtime`. */
    std::unique_ptr<juce::AudioPluginInstance> load(Format which, double rate, int blockSize,
                                                    bool nonRealtime = false)
    {
        const auto identifier = which == Format::vst3 ? juce::File(QOR_VST3_SO)
                                                            .getParentDirectory()
                                                            .getParentDirectory()
                                                            .getParentDirectory()
                                                            .getFullPathName()
                                                      : juce::String(QOR_LV2_URI);
        juce::OwnedArray<juce::PluginDescription> found;
        for (auto* format : formats.getFormats())
            if (format->getName() == nameOf(which))
                format->findAllTypesForFile(found, identifier);
        if (found.isEmpty())
        {
            ADD_FAILURE() << "no plug-in found at " << identifier;
            return nullptr;
        }
        juce::String error;
        auto instance = formats.createPluginInstance(*found[0], rate, blockSize, error);
        EXPECT_TRUE(instance != nullptr) << error;
        if (instance != nullptr)
        {
            instance->setPlayConfigDetails(2, 2, rate, blockSize);
            instance->setNonRealtime(nonRealtime);
            instance->prepareToPlay(rate, blockSize);
        }
        return instance;
    }

    juce::ScopedJuceInitialiser_GUI juce;
    juce::AudioPluginFormatManager formats;
};

} // namespace qor::test
