#pragma once

#include <array>
#include <cstddef>

namespace qor
{

class Element;

/** Answers whether the element's bool parameter "SyncToHost" is on. The element module installs it; without
   it every tempo-synced mapper and unit behaves as plain time. */
using SyncToHostQuery = bool (*)(const Element*);

void setSyncToHostQuery(SyncToHostQuery query);
SyncToHostQuery getSyncToHostQuery();
/** True when a query is installed, the element is given and its "SyncToHost" is on. */
bool isSyncedToHost(const Element* element);

/** Tempo-synced lengths in quarter notes, longest first. */
inline constexpr std::size_t syncTableSize = 30;
inline constexpr std::array<float, syncTableSize> syncTable = {
    128.0f,      64.0f,       32.0f,        28.0f,        24.0f,        20.0f,
    16.0f,       12.0f,       8.0f,         6.0f,         4.0f,         3.0f,
    8.0f / 3.0f, 2.0f,        3.0f / 2.0f,  4.0f / 3.0f,  1.0f,         3.0f / 4.0f,
    2.0f / 3.0f, 1.0f / 2.0f, 3.0f / 8.0f,  1.0f / 3.0f,  1.0f / 4.0f,  3.0f / 16.0f,
    1.0f / 6.0f, 1.0f / 8.0f, 3.0f / 32.0f, 1.0f / 12.0f, 1.0f / 16.0f, 1.0f / 24.0f};

/** Row i of the sync table, i clamped to the table. */
constexpr float syncTableValue(int row)
{
    return syncTable[static_cast<std::size_t>(
        row < 0 ? 0 : (row >= int(syncTableSize) ? int(syncTableSize) - 1 : row))];
}

/** The row whose length is nearest to `quarterNotes` (the first of two equally near). */
int nearestSyncRow(float quarterNotes);

/** Normalised (0..1) to real values and back. `min` and `max` are the real range. */
class ParameterMapper
{
public:
    ParameterMapper() = default;
    ParameterMapper(float minimum, float maximum) : min(minimum), max(maximum) {}
    virtual ~ParameterMapper();

    /** Maps each value in place, as for no element. */
    virtual void mapBlock(float* values, int count) const;
    /** Normalised to real. */
    virtual void map(const Element* element, float& value) const;
    /** Real to normalised. */
    virtual void unmap(const Element* element, float& value) const;

    float toReal(float x, const Element* element = nullptr) const
    {
        map(element, x);
        return x;
    }
    float toNormalised(float y, const Element* element = nullptr) const
    {
        unmap(element, y);
        return y;
    }

    float min = 0.0f;
    float max = 1.0f;
};

class LinearParameterMapper : public ParameterMapper
{
public:
    LinearParameterMapper(float minimum, float maximum);
    void map(const Element* element, float& value) const override;
    void unmap(const Element* element, float& value) const override;

    float span;
};

/** Linear, or the rows of the sync table while the element's "SyncToHost" is on. */
class SyncLinearParameterMapper : public LinearParameterMapper
{
public:
    using LinearParameterMapper::LinearParameterMapper;
    void map(const Element* element, float& value) const override;
    void unmap(const Element* element, float& value) const override;
};

class LogMapper : public ParameterMapper
{
public:
    LogMapper(float minimum, float maximum, float offset = 0.0f);
    void map(const Element* element, float& value) const override;
    void unmap(const Element* element, float& value) const override;

    float offset;
    float logMin;
    float logMax;
    float logSpan;
};

/** -limit..limit with a log curve on each side of 0. */
class BipolarLogMapper : public ParameterMapper
{
public:
    BipolarLogMapper(float limit, float offset = 0.0f);
    void map(const Element* element, float& value) const override;
    void unmap(const Element* element, float& value) const override;

    LogMapper inner;
};

/** A power curve; a symmetric range (min = -max) bends each half away from 0. */
class CurveMapper : public ParameterMapper
{
public:
    /** `curve` in -1..1; 0 is linear: power = -log2((1 - curve) / 2). */
    CurveMapper(float minimum, float maximum, float curve);
    /** Puts the value `centre` at the normalised position `position`. */
    CurveMapper(float minimum, float maximum, float centre, float position);

    void map(const Element* element, float& value) const override;
    void unmap(const Element* element, float& value) const override;

    float power;
    bool isBipolar;

private:
    void setBipolar();
};

/** A bilinear (Moebius) curve that puts `centre` at x = 0.5. */
class ConformalMapper : public ParameterMapper
{
public:
    ConformalMapper(float minimum, float maximum, float centre);
    void map(const Element* element, float& value) const override;
    void unmap(const Element* element, float& value) const override;

    float centre;
    float c1;
    float c2;
};

class DummyMapper : public ParameterMapper
{
public:
    DummyMapper() = default;
    void map(const Element* element, float& value) const override;
    void unmap(const Element* element, float& value) const override;
};

/** Equal steps in MIDI notes, from note 0 up to the note of `maxFrequency`. */
class Qor3FilterFreqMapper : public ParameterMapper
{
public:
    explicit Qor3FilterFreqMapper(float maxFrequency);
    void map(const Element* element, float& value) const override;
    void unmap(const Element* element, float& value) const override;

    float noteMax;
};

class ParameterModulationType
{
public:
    virtual ~ParameterModulationType();
    /** Additive unless a subclass says otherwise. */
    virtual float apply(float base, float modulation) const { return base + modulation; }
};

class AdditiveParameterModulation : public ParameterModulationType
{
public:
    float apply(float base, float modulation) const override { return base + modulation; }
};

class MultiplicativeParameterModulation : public ParameterModulationType
{
public:
    float apply(float base, float modulation) const override { return base * modulation; }
};

} // namespace qor
