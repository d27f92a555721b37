#include "engine/process_context.h"

#include <algorithm>
#include <cstring>

namespace qor
{

void sortEventsByOffset(PluginEvent* events, std::size_t count)
{
    for (std::size_t i = 1; i < count; ++i)
    {
        if (events[i].sampleOffset >= events[i - 1].sampleOffset)
            continue;
        PluginEvent moving = events[i];
        std::size_t j = i;
        while (j > 0 && events[j - 1].sampleOffset > moving.sampleOffset)
        {
            events[j] = events[j - 1];
            --j;
        }
        events[j] = moving;
    }
}

ScratchArena::ScratchArena(std::size_t bytes) : blockBytes(bytes) {}

void ScratchArena::reserve(std::size_t bytes, std::size_t numBlocks)
{
    blockBytes = std::max(blockBytes, bytes);
    for (auto& block : blocks)
        if (block.size < blockBytes)
            block = {std::make_unique<std::byte[]>(blockBytes), blockBytes};
    while (blocks.size() < numBlocks)
        blocks.push_back({std::make_unique<std::byte[]>(blockBytes), blockBytes});
    cursor = {};
}

void* ScratchArena::allocate(std::size_t bytes, std::size_t alignment)
{
    for (;;)
    {
        if (cursor.blockIndex >= blocks.size())
            blocks.push_back({std::make_unique<std::byte[]>(std::max(blockBytes, bytes + alignment)),
                              std::max(blockBytes, bytes + alignment)});

        auto& block = blocks[cursor.blockIndex];
        const auto base = reinterpret_cast<std::uintptr_t>(block.memory.get());
        const auto start = (base + cursor.offset + alignment - 1) / alignment * alignment;
        if (start + bytes <= base + block.size)
        {
            cursor.offset = start + bytes - base;
            return reinterpret_cast<void*>(start);
        }
        ++cursor.blockIndex;
        cursor.offset = 0;
    }
}

void ProcessContext::advance(uint32_t numSamples)
{
    ++blockCount;
    samplePosition += numSamples;
    subBlockOffset = 0;
    beatPosition +=
        (static_cast<double>(timeInfo.tempo) / 60.0 / static_cast<double>(sampleRate)) * numSamples;
    scratch.rewind();
    scratch2.rewind();
}

} // namespace qor
