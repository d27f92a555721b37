#include "tools/render/audio_data_extent.h"

namespace qor::render
{

namespace
{
bool readTag(juce::InputStream& stream, char (&tag)[4])
{
    return stream.read(tag, 4) == 4;
}

bool is(const char (&tag)[4], const char* name)
{
    return std::memcmp(tag, name, 4) == 0;
}

std::optional<int64_t> readSize(juce::InputStream& stream, bool bigEndian)
{
    uint8_t b[4];
    if (stream.read(b, 4) != 4)
        return std::nullopt;
    return bigEndian ? int64_t(juce::ByteOrder::bigEndianInt(b))
                     : int64_t(juce::ByteOrder::littleEndianInt(b));
}

std::optional<AudioDataExtent> extent(int64_t offset, int64_t declared, int64_t total)
{
    if (offset < 0 || offset > total || declared < 0)
        return std::nullopt;
    return AudioDataExtent{offset, declared, juce::jmin(declared, total - offset)};
}
} // namespace

std::optional<AudioDataExtent> findAudioData(juce::InputStream& stream)
{
    const int64_t total = stream.getTotalLength();
    if (total < 12 || !stream.setPosition(0))
        return std::nullopt;
    char form[4], kind[4];
    if (!readTag(stream, form) || !readSize(stream, false) || !readTag(stream, kind))
        return std::nullopt;

    const bool riff = (is(form, "RIFF") || is(form, "RF64")) && is(kind, "WAVE");
    const bool aiff = is(form, "FORM") && (is(kind, "AIFF") || is(kind, "AIFC"));
    if (!riff && !aiff)
        return std::nullopt;

    // RF64 keeps the real data size in its "ds64" chunk; the data chunk then says 0xffffffff.
    std::optional<int64_t> rf64DataSize;
    int64_t position = 12;
    while (position + 8 <= total)
    {
        char tag[4];
        if (!stream.setPosition(position) || !readTag(stream, tag))
            return std::nullopt;
        const auto size = readSize(stream, aiff);
        if (!size)
            return std::nullopt;
        const int64_t body = position + 8;

        if (riff && is(tag, "ds64") && *size >= 16)
        {
            uint8_t b[16];
            if (stream.read(b, 16) != 16)
                return std::nullopt;
            rf64DataSize = int64_t(juce::ByteOrder::littleEndianInt64(b + 8));
        }
        else if (riff && is(tag, "data"))
        {
            const bool sizeInDs64 = is(form, "RF64") && *size == 0xffffffffLL && rf64DataSize;
            return extent(body, sizeInDs64 ? *rf64DataSize : *size, total);
        }
        else if (aiff && is(tag, "SSND"))
        {
            // The samples start after an offset and a block size, and after as many bytes as the offset says.
            const auto skip = readSize(stream, true);
            if (!skip || *size < 8)
                return std::nullopt;
            return extent(body + 8 + *skip, juce::jmax<int64_t>(0, *size - 8 - *skip), total);
        }
        position = body + *size + (*size & 1);
    }
    return std::nullopt;
}

} // namespace qor::render
