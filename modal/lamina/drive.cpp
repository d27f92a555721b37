#include "modal/lamina/drive.h"

#include <algorithm>
#include <cmath>

namespace qor
{

namespace
{
constexpr double pi = 3.141592653589793;

/** The stages from the base rate up. Each is a halfband at twice the rate below it; the band it must keep
    clean is what the first stage passes, so the higher stages, whose transitions can be wide, need few
    sections. The first has its transition at 0.48 to 0.52 of the base rate, so that only the top 2 % below
    half the rate can hear a partly filtered alias. */
struct StageDesign
{
    int numCoefficients;
    double transitionWidth;
};
constexpr StageDesign stageDesigns[] = {{10, 0.02}, {3, 0.25}, {2, 0.38}, {2, 0.44}};
} // namespace

std::vector<double> designHalfband(int numCoefficients, double transitionWidth)
{
    // The poles of an elliptic halfband of order 2n + 1 from its selectivity k, through the nome q of the
    // elliptic functions (series to the fourth power of q0 and to twenty terms of the theta functions).
    const double k = std::pow(std::tan((1 - 2 * transitionWidth) * pi / 4), 2);
    const double root = std::pow(1 - k * k, 0.25);
    const double q0 = 0.5 * (1 - root) / (1 + root);
    const double q04 = std::pow(q0, 4);
    const double q = q0 * (1 + q04 * (2 + q04 * (15 + 150 * q04)));
    const int order = 2 * numCoefficients + 1;

    std::vector<double> coefficients;
    for (int i = 1; i <= numCoefficients; ++i)
    {
        double numerator = 0;
        double denominator = 0;
        for (int m = 0; m < 20; ++m)
        {
            const double sign = m % 2 == 0 ? 1 : -1;
            numerator += sign * std::pow(q, m * (m + 1)) * std::sin((2 * m + 1) * pi * i / order);
            if (m > 0)
                denominator += sign * std::pow(q, m * m) * std::cos(2 * m * pi * i / order);
        }
        const double w = 2 * std::pow(q, 0.25) * numerator / (1 + 2 * denominator);
        const double w2 = w * w;
        const double x = std::sqrt((1 - w2 * k) * (1 - w2 / k)) / (1 + w2);
        coefficients.push_back((1 - x) / (1 + x));
    }
    std::sort(coefficients.begin(), coefficients.end());
    return coefficients;
}

namespace
{
using Chain = HalfbandStage::Chain;

/** Section i of a chain over a buffer, in place, both channels. */
void runSection(Chain& chain, size_t i, StereoSample* buffer, uint32_t count)
{
    const double a = chain.a[i];
    StereoSample x1 = chain.x1[i];
    StereoSample y1 = chain.y1[i];
    for (uint32_t n = 0; n < count; ++n)
    {
        const StereoSample x = buffer[n];
        for (int c = 0; c < 2; ++c)
            y1.v[c] = a * (x.v[c] - y1.v[c]) + x1.v[c];
        x1 = x;
        buffer[n] = y1;
    }
    chain.x1[i] = x1;
    chain.y1[i] = y1;
}

/** Section i of two chains, each over its own buffer, in one loop. */
void runSections(Chain& p, StereoSample* bp, Chain& q, StereoSample* bq, size_t i, uint32_t count)
{
    const double ap = p.a[i];
    const double aq = q.a[i];
    StereoSample px1 = p.x1[i], py1 = p.y1[i], qx1 = q.x1[i], qy1 = q.y1[i];
    for (uint32_t n = 0; n < count; ++n)
    {
        const StereoSample xp = bp[n];
        const StereoSample xq = bq[n];
        for (int c = 0; c < 2; ++c)
        {
            py1.v[c] = ap * (xp.v[c] - py1.v[c]) + px1.v[c];
            qy1.v[c] = aq * (xq.v[c] - qy1.v[c]) + qx1.v[c];
        }
        px1 = xp;
        qx1 = xq;
        bp[n] = py1;
        bq[n] = qy1;
    }
    p.x1[i] = px1;
    p.y1[i] = py1;
    q.x1[i] = qx1;
    q.y1[i] = qy1;
}

/** Both chains over their buffers, section by section. */
void runChains(Chain& even, StereoSample* evenBuffer, Chain& odd, StereoSample* oddBuffer, uint32_t count)
{
    const auto common = static_cast<size_t>(std::min(even.size, odd.size));
    for (size_t i = 0; i < common; ++i)
        runSections(even, evenBuffer, odd, oddBuffer, i, count);
    for (size_t i = common; i < static_cast<size_t>(even.size); ++i)
        runSection(even, i, evenBuffer, count);
    for (size_t i = common; i < static_cast<size_t>(odd.size); ++i)
        runSection(odd, i, oddBuffer, count);
}
} // namespace

void HalfbandStage::setCoefficients(const std::vector<double>& coefficients)
{
    for (Chain* chain : {&upEven, &upOdd, &downEven, &downOdd})
        chain->size = 0;
    for (size_t i = 0; i < coefficients.size() && i < 2 * maxSections; ++i)
        for (Chain* chain :
             i % 2 == 0 ? std::array<Chain*, 2>{&upEven, &downEven} : std::array<Chain*, 2>{&upOdd, &downOdd})
            chain->a[static_cast<size_t>(chain->size++)] = coefficients[i];
    reset();
}

void HalfbandStage::upsample(const StereoSample* in, StereoSample* out, uint32_t count,
                             StereoSample* evenWork, StereoSample* oddWork)
{
    // Zero-stuffing then H at the high rate, with the gain of 2 that the stuffing takes: each branch sees
    // the input at its own rate, the first gives the even outputs and the second the odd ones.
    std::copy(in, in + count, evenWork);
    std::copy(in, in + count, oddWork);
    runChains(upEven, evenWork, upOdd, oddWork, count);
    for (uint32_t n = 0; n < count; ++n)
    {
        out[2 * n] = evenWork[n];
        out[2 * n + 1] = oddWork[n];
    }
}

void HalfbandStage::downsample(const StereoSample* in, StereoSample* out, uint32_t count,
                               StereoSample* evenWork, StereoSample* oddWork)
{
    // The second branch hears the odd samples one step late.
    for (uint32_t n = 0; n < count; ++n)
    {
        evenWork[n] = in[2 * n];
        oddWork[n] = n == 0 ? downHeld : in[2 * n - 1];
    }
    if (count > 0)
        downHeld = in[2 * count - 1];
    runChains(downEven, evenWork, downOdd, oddWork, count);
    for (uint32_t n = 0; n < count; ++n)
        for (int c = 0; c < 2; ++c)
            out[n].v[c] = 0.5 * (evenWork[n].v[c] + oddWork[n].v[c]);
}

void HalfbandStage::reset()
{
    for (Chain* chain : {&upEven, &upOdd, &downEven, &downOdd})
    {
        chain->x1.fill({});
        chain->y1.fill({});
    }
    downHeld = {};
}

void DriveShaper::prepare(double sampleRate)
{
    static_assert(std::size(stageDesigns) == numStages && (1u << numStages) == factor);
    for (size_t s = 0; s < stages.size(); ++s)
        stages[s].setCoefficients(
            designHalfband(stageDesigns[s].numCoefficients, stageDesigns[s].transitionWidth));
    // 5 ms, whatever the rate.
    crossfadeStep = static_cast<float>(1 / std::max(1.0, 0.005 * sampleRate));
    reset();
}

void DriveShaper::reset()
{
    for (auto& stage : stages)
        stage.reset();
    weight = 0;
}

void DriveShaper::process(float* const* channels, uint32_t numChannels, uint32_t count, float drive)
{
    const float target = drive != 0.0f ? 1.0f : 0.0f;
    if ((weight == 0.0f && target == 0.0f) || numChannels == 0)
        return;
    const uint32_t last = std::min(numChannels, 2u) - 1;

    const double k = std::pow(4.0, static_cast<double>(drive));
    const double driveGain = drive / std::tanh(k);
    const double clean = 1.0 - drive;
    for (uint32_t offset = 0; offset < count; offset += pass)
    {
        const uint32_t n = std::min(pass, count - offset);
        for (uint32_t i = 0; i < n; ++i)
            bufferA[i] = {{channels[0][offset + i], channels[last][offset + i]}};

        // Up through the stages and back down, ping-ponging between the two buffers.
        uint32_t length = n;
        StereoSample* from = bufferA.data();
        StereoSample* to = bufferB.data();
        for (auto& stage : stages)
        {
            stage.upsample(from, to, length, evenWork.data(), oddWork.data());
            length *= 2;
            std::swap(from, to);
        }
        for (uint32_t i = 0; i < length; ++i)
            for (double& x : from[i].v)
            {
                // tanh through expm1, which costs half as much here and is as exact near 0.
                const double e = std::expm1(-2 * std::fabs(x * k));
                x = std::copysign(-e / (2 + e), x) * driveGain + x * clean;
            }
        for (size_t s = stages.size(); s-- > 0;)
        {
            length /= 2;
            stages[s].downsample(from, to, length, evenWork.data(), oddWork.data());
            std::swap(from, to);
        }

        for (uint32_t i = 0; i < n; ++i)
        {
            if (weight != target)
                weight = target > weight ? std::min(target, weight + crossfadeStep)
                                         : std::max(target, weight - crossfadeStep);
            for (uint32_t c = 0; c <= last; ++c)
            {
                float& x = channels[c][offset + i];
                x = static_cast<float>(x + weight * (from[i].v[c] - x));
            }
        }
    }
    // Back on the direct path: the stages start from rest when the drive comes back.
    if (weight == 0.0f)
        for (auto& stage : stages)
            stage.reset();
}

} // namespace qor
