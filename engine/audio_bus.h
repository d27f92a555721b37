#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <vector>

namespace qor
{

class Plugin;
class ScratchArena;

/** Carries one block's channels between the shell and the tree. The channels are not owned. */
class AudioBus
{
public:
    AudioBus(int32_t numChannels, int32_t numSamples);

    int32_t getNumChannels() const { return numChannels; }
    int32_t getNumSamples() const { return numSamples; }

    /** Stores the pointers (numChannels of them) and clears isSilent. */
    void setChannels(float* const* pointers);

    /** Marks the bus silent; with allocatesFromScratch, the channels come from the arena for this block. */
    void setSilent(ScratchArena* arena, int32_t numSamples);

    /** The channels; a reader who takes them is taken to write them, so isSilent is cleared. */
    float* const* getChannels();

    bool isSilent() const { return silent; }

    juce::String name{"Main Out"};
    Plugin* owner = nullptr;
    int32_t ownerIndex = -1;
    bool allocatesFromScratch = false;
    bool clearOnRead = false;
    bool isAuxOutput = false;

    /** Users of the bus (elements that render into it), told by setOutputBus. */
    void addUser() { ++users; }
    void removeUser() { --users; }
    int getNumUsers() const { return users; }

private:
    int32_t numChannels;
    int32_t reserved = 0;
    std::vector<float*> channels;
    int32_t numSamples;
    bool silent = true;
    int users = 0;
};

} // namespace qor
