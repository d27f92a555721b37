#include <gtest/gtest.h>
#include <juce_gui_basics/juce_gui_basics.h>

namespace qor::art
{
int writePreviews(const juce::File& folder);
}

// `art_tests --preview DIR` renders the art as the editor places it into DIR instead of running the tests.
int main(int argc, char** argv)
{
    juce::ScopedJuceInitialiser_GUI juce;
    if (argc == 3 && juce::String(argv[1]) == "--preview")
        return qor::art::writePreviews(juce::File::getCurrentWorkingDirectory().getChildFile(argv[2]));
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
