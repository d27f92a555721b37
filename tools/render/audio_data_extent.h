#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <optional>

namespace qor::render
{

/** Where the samples of a WAV (RIFF or RF64) or AIFF (AIFF or AIFC) file lie, and how many of the bytes that
    its header declares the file really holds. */
struct AudioDataExtent
{
    int64_t offset = 0;        // first byte of the samples
    int64_t declaredBytes = 0; // as the header says
    int64_t heldBytes = 0;     // what lies in the file from offset on, at most declaredBytes
};

/** Walks the chunks of `stream` from its start to the sample data. Empty when the stream is neither kind of
    file, or its chunks do not lead to sample data. Reads headers only; any bytes are safe. */
std::optional<AudioDataExtent> findAudioData(juce::InputStream& stream);

} // namespace qor::render
