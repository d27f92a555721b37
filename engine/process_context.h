#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace qor
{

class Element;

/** Transport as the host reports it for one block. */
struct TimeInfo
{
    float tempo = 120.0f;
    int32_t isPlaying = -1; // 1 running, 0 stopped, -1 unknown
    bool hasJumped = false;
    int32_t meterNumerator = 4;
    int32_t meterDenominator = 4;
    double positionBeats = 0.0;
    double playPositionBeats = 0.0;
    double positionInBar = 0.0;
    double fractionInSamples = 0.0;
    double samplesToNextBar = 0.0;
    bool isLooping = false;
    double loopStartBeats = 0.0;
    double loopEndBeats = 0.0;
    bool isOffline = false;
};
static_assert(sizeof(TimeInfo) <= 96);

/** One event of a block, copied by value. MIDI events carry their status byte as type; larger types are the
   engine's own (parameter and transport events). */
struct PluginEvent
{
    enum Type : int32_t
    {
        noteOff = 128,
        noteOn = 144,
        controller = 176,
        transportStop = 260,
        transportStart = 261,
        setFloatParameter = 267,
        setIntParameter = 268,
        setBoolParameter = 269,
    };

    uint64_t sampleOffset = 0;
    int32_t type = 0;
    uint8_t port = 0;
    uint8_t channel = 0;
    uint8_t data1 = 0;
    uint8_t data2 = 0;
    uint8_t isPerVoice = 0;
    uint32_t parameterId = 0;
    union
    {
        float floatValue;
        int32_t intValue;
    };
    Element* target = nullptr;
    double time = 0.0;
    uint8_t reserved[48] = {};

    PluginEvent() : floatValue(0.0f) {}
};
static_assert(sizeof(PluginEvent) == 96);

/** A non-owning run of events. */
struct EventList
{
    PluginEvent* data = nullptr;
    std::size_t size = 0;

    PluginEvent* begin() const { return data; }
    PluginEvent* end() const { return data + size; }
    bool empty() const { return size == 0; }
};

/** Stable insertion sort by sampleOffset: equal offsets keep their order of arrival. */
void sortEventsByOffset(PluginEvent* events, std::size_t count);

/** Bump allocator for one block. Blocks are made off the audio thread by reserve(); allocation only moves a
   cursor. Running past the reserve takes a new block, which allocates: reserve enough in prepare. */
class ScratchArena
{
public:
    struct Cursor
    {
        std::size_t blockIndex = 0;
        std::size_t offset = 0;
    };

    explicit ScratchArena(std::size_t blockBytes = 1 << 16);

    /** Makes sure that at least `bytes` can be taken in one block and that `numBlocks` blocks exist. */
    void reserve(std::size_t bytes, std::size_t numBlocks = 2);

    void* allocate(std::size_t bytes, std::size_t alignment = 16);

    template <typename T>
    T* allocateArray(std::size_t count)
    {
        return static_cast<T*>(allocate(count * sizeof(T), alignof(T) < 16 ? 16 : alignof(T)));
    }

    Cursor getCursor() const { return cursor; }
    void setCursor(Cursor c) { cursor = c; }
    void rewind() { cursor = {}; }
    std::size_t getNumBlocks() const { return blocks.size(); }

private:
    struct Block
    {
        std::unique_ptr<std::byte[]> memory;
        std::size_t size = 0;
    };
    std::vector<Block> blocks;
    std::size_t blockBytes;
    Cursor cursor;
};

/** What travels with one block through the tree: transport, rate, scratch memory and position. */
struct ProcessContext
{
    TimeInfo timeInfo;
    float tuning = 440.0f;
    float sampleRate = 44100.0f;
    void* voiceTable = nullptr;
    ScratchArena scratch;
    ScratchArena scratch2;
    uint64_t blockCount = 1;
    uint64_t samplePosition = 0;
    uint64_t subBlockOffset = 0;
    double beatPosition = 0.0;

    /** Moves to the next block: counters forward, arenas back to their first block. */
    void advance(uint32_t numSamples);
};

} // namespace qor
