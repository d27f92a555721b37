#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

namespace qor
{

/** A delay line written and read in blocks. The first `guard` samples of the ring are mirrored behind its
   end, so that any run of up to `guard` samples from any start can be read without a wrap. Per chunk the
   order is write, read, advance; a delay of 0 then reads the chunk just written. */
struct SampleDelay
{
    std::vector<float> samples;
    uint32_t writeIndex = 0;
    uint32_t length = 0;
    uint32_t guard = 0;

    /** Allocates for blocks of up to maxBlock samples and delays of up to maxDelay samples. */
    void init(uint32_t maxBlock, uint32_t maxDelay);
    /** count must not exceed maxBlock. */
    void write(const float* source, uint32_t count);
    /** Reads count samples with a delay moving linearly from delayStart to delayEnd, in samples. */
    void read(float* target, double delayStart, double delayEnd, uint32_t count) const;
    void advance(uint32_t count);
    /** Zeroes the samples; writeIndex stays. */
    void clear();
};

struct ShelfCoefficients
{
    float b0;
    float b1;
    float a1;
};

/** First-order shelf with gain lowGain at 0 Hz and highGain at the Nyquist frequency. A gain not above 0
   counts as 1e-20. */
ShelfCoefficients designShelf(double normalisedFrequency, double lowGain, double highGain);

/** The render path's emphasis pair at 2000 Hz: +18 dB and -18 dB, reciprocal to about seven digits. */
inline constexpr double preEmphasisHighGain = 7.943281911173255;
inline constexpr double deEmphasisHighGain = 0.12589254809065387;

struct ShelfFilter
{
    float b0 = 1;
    float b1 = 0;
    float a1 = 0;
    float state = 0;

    void setCoefficients(const ShelfCoefficients& design);
    /** In place. */
    void process(float* samples, uint32_t count);
    void clear() { state = 0; }
};

struct BiquadCoefficients
{
    float b0;
    float b1;
    float b2;
    float a1;
    float a2;
};

/** Low shelf of the Audio EQ Cookbook, shelving by gainDb - outputGainDb, with the whole response then raised
   by outputGainDb. */
BiquadCoefficients designLowShelf(double normalisedFrequency, double gainDb, double outputGainDb, double q);

/** Transposed direct form II. The glide fields exist for a coefficient ramp that this reverb never runs. */
struct Biquad
{
    float b0 = 1;
    float b1 = 0;
    float b2 = 0;
    float a1 = 0;
    float a2 = 0;
    float target[5] = {1, 0, 0, 0, 0};
    float rampFactor = 1;
    bool gliding = false;
    float s1 = 0;
    float s2 = 0;

    /** Takes the coefficients at once and ends any glide; the state is kept. */
    void setCoefficients(const BiquadCoefficients& design);
    /** In place. */
    void process(float* samples, uint32_t count);
    void clear()
    {
        s1 = 0;
        s2 = 0;
    }
};

/** Single-writer, single-reader ring of samples for the analyser. The writer is never held back: on overflow
   it moves readIndex itself and the oldest samples are lost, so a reader must expect a stale read. The writer
   may then be overwriting the very samples the reader copies, so each sample is a relaxed atomic: a lapped
   reader gets a mix of old and new samples, never a torn one. */
class AnalyserRing
{
public:
    explicit AnalyserRing(uint32_t size);

    uint32_t size() const { return static_cast<uint32_t>(buffer.size()); }

    /** Writer side; allocates nothing. */
    void push(const float* samples, uint32_t count);

    /** Samples waiting for the reader. */
    uint32_t available() const;
    /** Reader side: takes up to maxCount of the oldest samples, returns how many. */
    uint32_t pop(float* target, uint32_t maxCount);

private:
    std::vector<std::atomic<float>> buffer;
    std::atomic<uint32_t> writeIndex{0};
    std::atomic<uint32_t> readIndex{0};
};

} // namespace qor
