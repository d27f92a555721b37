#include "engine/parameter_mapper.h"

#include <algorithm>
#include <atomic>
#include <cmath>

namespace qor
{

namespace
{
std::atomic<SyncToHostQuery> syncToHostQuery{nullptr};

float clampTo(float v, float lo, float hi)
{
    return v < lo ? lo : (v > hi ? hi : v);
}
} // namespace

void setSyncToHostQuery(SyncToHostQuery query)
{
    syncToHostQuery.store(query, std::memory_order_release);
}

SyncToHostQuery getSyncToHostQuery()
{
    return syncToHostQuery.load(std::memory_order_acquire);
}

bool isSyncedToHost(const Element* element)
{
    if (element == nullptr)
        return false;
    const SyncToHostQuery query = getSyncToHostQuery();
    return query != nullptr && query(element);
}

int nearestSyncRow(float quarterNotes)
{
    int best = 0;
    float bestDistance = std::fabs(syncTable[0] - quarterNotes);
    for (int i = 1; i < int(syncTableSize); ++i)
    {
        const float d = std::fabs(syncTable[std::size_t(i)] - quarterNotes);
        if (d < bestDistance)
        {
            best = i;
            bestDistance = d;
        }
    }
    return best;
}

// ---------------------------------------------------------------------------------------------------------------

ParameterMapper::~ParameterMapper() = default;

void ParameterMapper::mapBlock(float* values, int count) const
{
    for (int i = 0; i < count; ++i)
        map(nullptr, values[i]);
}

void ParameterMapper::map(const Element*, float&) const {}

void ParameterMapper::unmap(const Element*, float&) const {}

// ---------------------------------------------------------------------------------------------------------------

LinearParameterMapper::LinearParameterMapper(float minimum, float maximum)
    : ParameterMapper(minimum, maximum), span(maximum - minimum)
{
}

void LinearParameterMapper::map(const Element*, float& value) const
{
    value = span * value + min;
}

void LinearParameterMapper::unmap(const Element*, float& value) const
{
    value = (value - min) / (max - min);
}

// ---------------------------------------------------------------------------------------------------------------

void SyncLinearParameterMapper::map(const Element* element, float& value) const
{
    if (!isSyncedToHost(element))
    {
        LinearParameterMapper::map(element, value);
        return;
    }
    const int last = int(syncTableSize) - 1;
    const int row = std::clamp(int(std::floor(float(last) * value + 0.5f)), 0, last);
    value = syncTable[std::size_t(row)];
}

void SyncLinearParameterMapper::unmap(const Element* element, float& value) const
{
    if (!isSyncedToHost(element))
    {
        LinearParameterMapper::unmap(element, value);
        return;
    }
    value = float(nearestSyncRow(value)) / float(syncTableSize - 1);
}

// ---------------------------------------------------------------------------------------------------------------

LogMapper::LogMapper(float minimum, float maximum, float offsetValue)
    : ParameterMapper(minimum, maximum), offset(offsetValue), logMin(std::log(minimum + offsetValue)),
      logMax(std::log(maximum + offsetValue)), logSpan(logMax - logMin)
{
}

void LogMapper::map(const Element*, float& value) const
{
    value = std::exp(value * logSpan + logMin) - offset;
}

void LogMapper::unmap(const Element*, float& value) const
{
    value = (std::log(value + offset) - logMin) / logSpan;
}

// ---------------------------------------------------------------------------------------------------------------

BipolarLogMapper::BipolarLogMapper(float limit, float offsetValue)
    : ParameterMapper(-limit, limit), inner(0.0f, limit, offsetValue)
{
}

void BipolarLogMapper::map(const Element* element, float& value) const
{
    float t = 2.0f * value - 1.0f;
    if (t >= 0.0f)
    {
        inner.map(element, t);
        value = t;
    }
    else
    {
        t = -t;
        inner.map(element, t);
        value = -t;
    }
}

void BipolarLogMapper::unmap(const Element* element, float& value) const
{
    if (value < 0.0f)
    {
        float y = -value;
        inner.unmap(element, y);
        value = (1.0f - y) / 2.0f;
    }
    else
    {
        float y = value;
        inner.unmap(element, y);
        value = (1.0f + y) / 2.0f;
    }
}

// ---------------------------------------------------------------------------------------------------------------

CurveMapper::CurveMapper(float minimum, float maximum, float curve)
    : ParameterMapper(minimum, maximum), power(-std::log2((1.0f - curve) / 2.0f)), isBipolar(false)
{
    setBipolar();
}

CurveMapper::CurveMapper(float minimum, float maximum, float centre, float position)
    : ParameterMapper(minimum, maximum),
      power(std::log2((centre - minimum) / (maximum - minimum)) / std::log2(position)), isBipolar(false)
{
    setBipolar();
}

void CurveMapper::setBipolar()
{
    isBipolar = min == -max && max != 0.0f;
}

void CurveMapper::map(const Element*, float& value) const
{
    if (!isBipolar)
    {
        value = std::pow(value, power) * (max - min) + min;
        return;
    }
    const float t = 2.0f * value - 1.0f;
    if (t >= 0.0f)
        value = std::pow(t, power) * max;
    else
        value = std::pow(-t, power) * min;
}

void CurveMapper::unmap(const Element*, float& value) const
{
    if (!isBipolar)
    {
        // Below min the power of a negative base has no real answer: such a value unmaps to 0.
        value = std::pow(std::max(0.0f, (value - min) / (max - min)), 1.0f / power);
        return;
    }
    const float magnitude = std::pow(std::fabs(value / max), 1.0f / power);
    value = value >= 0.0f ? (1.0f + magnitude) / 2.0f : (1.0f - magnitude) / 2.0f;
}

// ---------------------------------------------------------------------------------------------------------------

ConformalMapper::ConformalMapper(float minimum, float maximum, float centreValue)
    : ParameterMapper(minimum, maximum), centre(centreValue)
{
    const float k = 1.0f / (maximum + minimum - 2.0f * centreValue);
    c1 = (maximum - centreValue) * k;
    c2 = (maximum - minimum) * (centreValue - minimum) * k;
}

void ConformalMapper::map(const Element*, float& value) const
{
    const float f = value / c1;
    // At x = c1 the division gives an infinity, which the clamp turns into max.
    value = clampTo(f * c2 / (1.0f - f) + min, min, max);
}

void ConformalMapper::unmap(const Element*, float& value) const
{
    const float d = value - min;
    value = clampTo(d * c1 / (d + c2), 0.0f, 1.0f);
}

// ---------------------------------------------------------------------------------------------------------------

void DummyMapper::map(const Element*, float&) const {}

void DummyMapper::unmap(const Element*, float&) const {}

// ---------------------------------------------------------------------------------------------------------------

namespace
{
constexpr float ln2 = 0.693147180559945309f;
}

Qor3FilterFreqMapper::Qor3FilterFreqMapper(float maxFrequency)
    : ParameterMapper(440.0f * std::exp(ln2 * (-69.0f) / 12.0f), maxFrequency),
      noteMax(69.0f + 12.0f * std::log2(maxFrequency / 440.0f))
{
}

void Qor3FilterFreqMapper::map(const Element*, float& value) const
{
    value = 440.0f * std::exp(ln2 * (value * noteMax - 69.0f) / 12.0f);
}

void Qor3FilterFreqMapper::unmap(const Element*, float& value) const
{
    value = (69.0f + 12.0f * std::log2(value / 440.0f)) / noteMax;
}

// ---------------------------------------------------------------------------------------------------------------

ParameterModulationType::~ParameterModulationType() = default;

} // namespace qor
