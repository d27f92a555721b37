#pragma once

#include "modal/lamina/lamina_state.h"

#include <array>
#include <memory>

namespace qor
{

/** What tests and benchmarks look at inside a sheet: its two states, the table the bank runs, the counters of
    the hand-over, the dirty flags and the filters. Only this type is a friend of Lamina::State. */
struct LaminaProbe
{
    using State = Lamina::State;
    using Stats = State::Stats;

    static State& processState(Lamina& l) { return static_cast<State&>(*l.getProcessState()); }
    static State& controlState(Lamina& l) { return static_cast<State&>(*l.getControlState()); }

    static const std::shared_ptr<Stats>& stats(const State& s) { return s.stats; }
    /** The table that the bank runs; audio thread only (or while no block runs). */
    static const std::shared_ptr<LaminaModeTable>& table(const State& s) { return s.table; }
    static uint32_t modulationCounter(const State& s) { return s.modulationCounter; }
    static int32_t recomputeHoldoff(const State& s) { return s.recomputeHoldoff; }
    static const Biquad& lowCut(const State& s, uint32_t channel) { return s.lowCut[channel]; }
    static ModeSynthesisInputs snapshotInputs(const State& s) { return s.snapshotInputs(); }
    static void updateModulation(State& s, uint32_t elapsedSamples) { s.updateModulation(elapsedSamples); }

    /** Modes, damping, EQ, gains, low cut. */
    static std::array<int, 5> dirtyFlags(const State& s)
    {
        return {s.modesDirty.load(), s.dampingDirty.load(), s.eqDirty.load(), s.gainsDirty.load(),
                s.lowCutDirty.load()};
    }
    static void clearDirtyFlags(State& s)
    {
        for (auto* flag : {&s.modesDirty, &s.dampingDirty, &s.eqDirty, &s.gainsDirty, &s.lowCutDirty})
            flag->store(0);
    }

    /** A parameter's value as one state holds it, read through the parameter's own getter. */
    template <typename T>
    static T value(const Lamina& l, const State& s, uint32_t id)
    {
        const auto* info = dynamic_cast<const ParameterInfo<T>*>(l.findParameter(id));
        return info != nullptr ? info->read(l, &s) : T{};
    }
};

} // namespace qor
