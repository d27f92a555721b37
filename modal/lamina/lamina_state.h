#pragma once

#include "engine/relaxed_atomic.h"
#include "modal/bank/imodal_bank.h"
#include "modal/lamina/band_table.h"
#include "modal/lamina/bank_loading.h"
#include "modal/lamina/drive.h"
#include "modal/lamina/lamina.h"
#include "modal/lamina/mode_synthesis.h"
#include "modal/lamina/signal_blocks.h"

#include <juce_core/juce_core.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace qor
{

/** The sheet's audio-side state. The control state only receives parameter values; the process state alone is
    prepared and renders. Its work is split by purpose: lamina_state.cpp (making, preparing, resetting),
    table_control.cpp (the head of each block and the take-over), render_path.cpp (the signal path) and
    modulation.cpp; the mode thread is in mode_thread.h. */
class Lamina::State final : public ProcessingElementState
{
public:
    explicit State(Lamina* owner);
    /** Ends the mode thread (waiting for a build under way), then releases the tables and the bank. */
    ~State() override;

    /** Acts on the process state only: delays, filters, a new bank, the first table built on this thread,
        then the mode thread if there is none. */
    void prepare(double sampleRate, uint32_t maxBlockSize) override;
    /** Silences bank, filters and delays; tables, coefficients and flags stay. */
    void reset() override;

    /** One block in place on the host's channels: table control, then the signal path in chunks. */
    void render(ProcessContext& context, uint32_t numSamples, float* const* channels);

private:
    friend class Lamina;
    /** The tests' and benchmarks' view of the state (tests/support/lamina_probe.h). */
    friend struct LaminaProbe;

    /** Counters of the hand-over and the modulation. Shared, so that they outlive the state. */
    struct Stats
    {
        std::atomic<uint32_t> requests{0};
        std::atomic<uint32_t> buildsStarted{0};
        std::atomic<uint32_t> buildsFinished{0};
        std::atomic<uint32_t> takeOvers{0};
        std::atomic<uint32_t> modulationUpdates{0};
        /** Tables built, by prepare or the mode thread, and banks made by prepare. */
        std::atomic<uint32_t> tablesBuilt{0};
        std::atomic<uint32_t> banksMade{0};
        std::atomic<uint32_t> lastModulationElapsed{0};
        /** Samples rendered by the process state, and where in that count the last request and take-over
            fell (at the head of their block). */
        std::atomic<uint64_t> samplesRendered{0};
        std::atomic<uint64_t> lastRequestSample{0};
        std::atomic<uint64_t> lastTakeOverSample{0};
    };

    /** Moves every pole's frequency by its own slow random oscillator, `elapsedSamples` on. */
    void updateModulation(uint32_t elapsedSamples);
    /** Pushes the running table into the bank: count, poles, gains. */
    void loadBank();
    /** Builds a new table from the parameters as they stand and publishes it as builtTable. */
    void computeModes();

    void attachInputAnalyser(std::shared_ptr<AnalyserRing> ring);
    void attachOutputAnalyser(std::shared_ptr<AnalyserRing> ring);

    /** The inputs of a build, read from the parameter fields. */
    ModeSynthesisInputs snapshotInputs() const;

    // Parameter fields, written by the setters from whichever thread applies a value, read by the audio
    // thread and by builds on the mode thread.
    RelaxedAtomic<float> bandDecay[12];
    RelaxedAtomic<float> bandGain[12];
    RelaxedAtomic<float> preDelay{0}, decay{2}, thermalDampMult{1}, thermalFreqMult{1}, fmin{0}, fmax{20000},
        modesCutoff{18000}, modeTruncationThreshold{-60};
    RelaxedAtomic<int32_t> quality{2}, material{0};
    RelaxedAtomic<float> area{2}, aspectRatio{2}, tension{0}, gain{0}, stereoWidth{1}, mix{0.3f},
        leftMicrophoneX{0.1f}, leftMicrophoneY{0.5f}, rightMicrophoneX{0.9f}, rightMicrophoneY{0.5f},
        leftInputX{0.4f}, leftInputY{0.6f}, rightInputX{0.6f}, rightInputY{0.6f}, viscousDamp{1},
        porousDamp{1}, radiationDamp{1}, radiationFreqMult{1}, radiationMult{1}, porousFreq{1000},
        bandDamp{1}, anisotropy{0.2f}, modulation{0}, drive{0}, lowCutGain{0}, lowCutFreq{100};
    RelaxedAtomic<bool> enablePorousDamp{true}, enableViscousDamp{true}, enableRadiationDamp{true},
        enableBandDamp{true}, enableEQ{true}, enableLowcut{true}, geometryLock{false},
        enableDecayCompensation{true}, enableSpatialAA{false};

    // What the next block has to redo, raised by the setters.
    std::atomic<uint8_t> modesDirty{1};
    std::atomic<uint8_t> dampingDirty{1};
    std::atomic<uint8_t> gainsDirty{1};
    std::atomic<uint8_t> eqDirty{1};
    /** The low cut's design is made on the audio thread from the two fields, so that a set from another
        thread never tears the coefficients the filter is running. */
    std::atomic<uint8_t> lowCutDirty{1};

    // The hand-over with the mode thread: a build is asked for and not yet taken over; the thread has
    // finished it. The table is published before computeDone (release) and read after it (acquire).
    std::atomic<uint8_t> computeRequested{0};
    std::atomic<uint8_t> computeDone{0};

    using ModeParams = LaminaModeParams;
    using ModeTable = LaminaModeTable;
    class ModeThread;

    void tableControl(ProcessContext& context, uint32_t numSamples);
    void takeOver();
    void requestBuild();
    void rebuildEqTable();
    LoadBankSettings loadBankSettings() const;
    void restartDampingSweep();
    void continueDampingSweep(uint32_t numSamples, bool wholeTable);
    void stopDampingSweep();
    void updateLowCut();

    Lamina& lamina;
    std::shared_ptr<Stats> stats;

    double sampleRate = 44100.0;
    uint32_t maxBlockSize = 0;
    uint32_t numInputs = 2;
    uint32_t numOutputs = 2;

    std::vector<std::shared_ptr<SampleDelay>> delays;
    std::vector<ShelfFilter> preEmphasis;
    std::vector<ShelfFilter> deEmphasis;
    /** Between the two shelves, for every input channel at once. */
    DriveShaper driveShaper;
    std::vector<Biquad> lowCut;
    MonotoneCubicTable bandDecayTable;
    MonotoneCubicTable eqTable;

    std::shared_ptr<IModalBank> bank;
    /** What the bank runs: the audio path's own reference, taken at each take-over, so that the thread's
        replacement of builtTable is not seen before then. */
    std::shared_ptr<ModeTable> table;
    /** The table published by the last build; written by the builder before computeDone, moved into
        `table` by the take-over. */
    std::shared_ptr<ModeTable> builtTable;
    /** The table the audio path ran before the last take-over. The mode thread releases it at the start
        of its next build, so that no table is ever freed on the audio thread. */
    std::shared_ptr<ModeTable> retiredTable;
    std::shared_ptr<ModeThread> modeThread;

    int32_t recomputeHoldoff = 0;
    uint32_t modulationCounter = 0;

    /** A change of damping reaches the modes a share at a time, over about 256 samples, so that the block
        that meets it costs little more than any other: the modes not yet reached ring on with their old
       poles. The sweep goes round the table from dampingSweepNext until dampingSweepLeft modes have been
       redone since the last change; a change during a sweep sets it to the whole table again. */
    uint32_t dampingSweepNext = 0;
    uint32_t dampingSweepLeft = 0;
    /** The norms of the bank's last full load, which the sweep's input gains divide by. */
    GainNorms gainNorms;

    juce::SpinLock analyserLock;
    std::weak_ptr<AnalyserRing> inputAnalyser;
    std::weak_ptr<AnalyserRing> outputAnalyser;
};

} // namespace qor
