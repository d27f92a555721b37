#include "modal/lamina/lamina_state.h"

#include <algorithm>
#include <cmath>

namespace qor
{

namespace
{
/** Longest run between two modulation updates, about 23 ms at 44.1 kHz. */
constexpr uint32_t modulationChunk = 1024;
} // namespace

void Lamina::State::render(ProcessContext& context, uint32_t numSamples, float* const* channels)
{
    if (bank == nullptr)
        return;

    tableControl(context, numSamples);
    if (numSamples == 0)
        return;

    auto* mainBus = lamina.getMainBus();
    const uint32_t numBusChannels =
        mainBus != nullptr ? static_cast<uint32_t>(std::max(mainBus->getNumChannels(), 0)) : numOutputs;
    if (numBusChannels == 0)
        return;

    const float gainLinear = static_cast<float>(std::pow(10.0, static_cast<double>(gain.load()) * 0.05));
    const float mixValue = mix;
    const float dryGain = std::sqrt(1.0f - mixValue);
    const float wetGain = std::sqrt(mixValue) * gainLinear;
    const double delaySamples =
        static_cast<double>(static_cast<float>(sampleRate) * (preDelay.load() * 0.001f));

    float* inputs[2] = {};
    float* outputs[2] = {};
    for (uint32_t c = 0; c < numInputs; ++c)
        inputs[c] = context.scratch.allocateArray<float>(numSamples);
    for (uint32_t c = 0; c < numOutputs; ++c)
        outputs[c] = context.scratch.allocateArray<float>(numSamples);
    // A bus narrower than the element's inputs feeds its last channel to the rest.
    auto inputChannel = [&](uint32_t c) { return channels[std::min(c, numBusChannels - 1)]; };

    std::shared_ptr<AnalyserRing> inputRing;
    std::shared_ptr<AnalyserRing> outputRing;
    if (analyserLock.tryEnter())
    {
        inputRing = inputAnalyser.lock();
        outputRing = outputAnalyser.lock();
        analyserLock.exit();
    }

    if (inputRing != nullptr)
    {
        auto* sum = context.scratch.allocateArray<float>(numSamples);
        std::copy(inputChannel(0), inputChannel(0) + numSamples, sum);
        for (uint32_t c = 1; c < numInputs; ++c)
        {
            const float* in = inputChannel(c);
            for (uint32_t i = 0; i < numSamples; ++i)
                sum[i] += in[i];
        }
        if (numInputs > 1)
        {
            const float scale = 1.0f / static_cast<float>(numInputs);
            for (uint32_t i = 0; i < numSamples; ++i)
                sum[i] *= scale;
        }
        inputRing->push(sum, numSamples);
    }

    for (uint32_t offset = 0; offset < numSamples;)
    {
        // A block longer than prepared for runs in pieces that the delays and the bank can take.
        uint32_t chunk = std::min(numSamples - offset, maxBlockSize);
        if (modulation.load() > 0.0f)
        {
            if (modulationCounter >= modulationChunk)
            {
                updateModulation(modulationCounter);
                modulationCounter = 0;
            }
            chunk = std::min(chunk, modulationChunk);
            modulationCounter += chunk;
        }

        for (uint32_t c = 0; c < numInputs; ++c)
        {
            auto& delay = *delays[c];
            delay.write(inputChannel(c) + offset, chunk);
            delay.read(inputs[c], delaySamples, delaySamples, chunk);
            delay.advance(chunk);
        }

        for (uint32_t c = 0; c < numInputs; ++c)
            preEmphasis[c].process(inputs[c], chunk);
        driveShaper.process(inputs, numInputs, chunk, drive);
        for (uint32_t c = 0; c < numInputs; ++c)
            deEmphasis[c].process(inputs[c], chunk);

        bank->process(outputs, inputs, chunk);

        if (enableLowcut)
            for (uint32_t c = 0; c < numOutputs; ++c)
                lowCut[c].process(outputs[c], chunk);

        // Only now is the dry signal scaled: the delay lines have taken it already.
        for (uint32_t c = 0; c < numBusChannels; ++c)
        {
            float* dry = channels[c] + offset;
            for (uint32_t i = 0; i < chunk; ++i)
                dry[i] *= dryGain;
        }

        if (numOutputs == 2)
        {
            const float w = stereoWidth;
            const float a = std::sqrt(2.0f / (w + 1.0f));
            const float b = w * a;
            float* left = outputs[0];
            float* right = outputs[1];
            for (uint32_t i = 0; i < chunk; ++i)
            {
                const float m = (left[i] + right[i]) * a;
                const float d = (left[i] - right[i]) * b;
                left[i] = (d + m) * 0.5f;
                right[i] = (m - d) * 0.5f;
            }
        }

        // The wet left channel before the wet gain; the right one is never shown.
        if (outputRing != nullptr)
            outputRing->push(outputs[0], chunk);

        for (uint32_t c = 0; c < std::min(numOutputs, numBusChannels); ++c)
        {
            float* out = channels[c] + offset;
            const float* wet = outputs[c];
            for (uint32_t i = 0; i < chunk; ++i)
                out[i] += wetGain * wet[i];
        }

        offset += chunk;
    }

    stats->samplesRendered.fetch_add(numSamples, std::memory_order_relaxed);
}

} // namespace qor
