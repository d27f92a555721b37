#pragma once

#include "engine/processing_element.h"
#include "modal/bank/imodal_bank.h"
#include "modal/lamina/damping.h"
#include "modal/lamina/mode_synthesis.h"
#include "modal/lamina/signal_blocks.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace qor
{

/** A value that several threads store and load whole, with no ordering against anything else: parameter
    fields are read once per block or per build, and a reader may see the old or the new value. */
template <typename T>
class RelaxedAtomic
{
public:
    RelaxedAtomic(T initial = T{}) : value(initial) {}
    RelaxedAtomic(const RelaxedAtomic&) = delete;
    RelaxedAtomic& operator=(const RelaxedAtomic&) = delete;

    operator T() const { return value.load(std::memory_order_relaxed); }
    RelaxedAtomic& operator=(T v)
    {
        value.store(v, std::memory_order_relaxed);
        return *this;
    }
    T load() const { return value.load(std::memory_order_relaxed); }

private:
    std::atomic<T> value;
};

/** The modelled sheet reverb: a bank of up to 20000 modes filled from the physics of a thin plate, behind a
    predelay and a drive, with a low cut, a stereo width and an equal-power dry/wet mix. */
class Lamina final : public BasicProcessingElement
{
public:
    /** Written as the attribute LaminaVersion; older files are upgraded on load. */
    static constexpr int version = 2;

    /** Ids at or above this are running indices into parameterOrder(), as older projects stored them. Real
        ids stay below it: the registry gives out no more. */
    static constexpr uint32_t firstIndexedId = ParameterDescriptions::capacity;

    /** Ids of the element's parameters, valid once the first Lamina has been made (or ids() called). */
    struct ParameterIds
    {
        uint32_t bandDecay[12];
        uint32_t bandGain[12];
        uint32_t preDelay, decay, thermalDampMult, thermalFreqMult, fmin, fmax, modesCutoff,
            modeTruncationThreshold;
        uint32_t quality, material;
        uint32_t area, aspectRatio, tension, gain, stereoWidth, mix, leftMicrophoneX, leftMicrophoneY,
            rightMicrophoneX, rightMicrophoneY, leftInputX, leftInputY, rightInputX, rightInputY, viscousDamp,
            porousDamp, radiationDamp, radiationFreqMult, radiationMult, porousFreq, bandDamp, anisotropy,
            modulation;
        uint32_t enablePorousDamp, enableViscousDamp, enableRadiationDamp, enableBandDamp, enableEQ,
            enableLowcut;
        uint32_t drive, lowCutGain, lowCutFreq;
        uint32_t geometryLock, enableDecayCompensation, enableSpatialAA;
    };
    /** Registers the descriptions on first use, in table order. */
    static const ParameterIds& ids();

    /** The fixed order served by resolveParameterId: id of the parameter at each running index. */
    static const std::vector<uint32_t>& parameterOrder();

    /** Counters of the hand-over, for tests and diagnostics. Shared, so that they outlive the state. */
    struct Stats
    {
        std::atomic<uint32_t> requests{0};
        std::atomic<uint32_t> buildsStarted{0};
        std::atomic<uint32_t> buildsFinished{0};
        std::atomic<uint32_t> takeOvers{0};
        std::atomic<uint32_t> modulationUpdates{0};
        std::atomic<uint32_t> lastModulationElapsed{0};
        /** Samples rendered by the process state, and where in that count the last request and take-over
            fell (at the head of their block). */
        std::atomic<uint64_t> samplesRendered{0};
        std::atomic<uint64_t> lastRequestSample{0};
        std::atomic<uint64_t> lastTakeOverSample{0};
    };

    class State final : public ProcessingElementState
    {
    public:
        using ModeParams = LaminaModeParams;
        using ModeTable = LaminaModeTable;
        class ModeThread;

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

        bool isPrepared() const { return bank != nullptr; }
        /** The table that the bank runs; audio thread only (or while no block runs). */
        const std::shared_ptr<ModeTable>& getTable() const { return table; }
        uint32_t getModulationCounter() const { return modulationCounter; }
        int32_t getRecomputeHoldoff() const { return recomputeHoldoff; }
        const std::shared_ptr<Stats>& getStats() const { return stats; }
        const Biquad& getLowCut(uint32_t channel) const { return lowCut[channel]; }

        // Parameter fields, written by the setters from whichever thread applies a value, read by the audio
        // thread and by builds on the mode thread.
        RelaxedAtomic<float> bandDecay[12];
        RelaxedAtomic<float> bandGain[12];
        RelaxedAtomic<float> preDelay{0}, decay{2}, thermalDampMult{1}, thermalFreqMult{1}, fmin{0},
            fmax{20000}, modesCutoff{18000}, modeTruncationThreshold{-60};
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

    private:
        friend class Lamina;

        void tableControl(ProcessContext& context, uint32_t numSamples);
        void takeOver();
        void requestBuild();
        void rebuildEqTable();
        void recomputeDamping();
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

        juce::SpinLock analyserLock;
        std::weak_ptr<AnalyserRing> inputAnalyser;
        std::weak_ptr<AnalyserRing> outputAnalyser;
    };

    /** Builds table rows on a thread of its own while the bank rings on with the old ones. It holds its mutex
        for as long as it builds, so that a request only ever meets it asleep or about to sleep. */
    class State::ModeThread
    {
    public:
        /** Starts the thread; returns once it runs. */
        explicit ModeThread(State& state);
        /** Lets a build under way finish, then joins. */
        ~ModeThread();
        ModeThread(const ModeThread&) = delete;
        ModeThread& operator=(const ModeThread&) = delete;

        /** Audio thread: asks for a build. Holds the mutex only to set the flags and notify. */
        void request();
        /** Held by the thread during a build; prepare holds it to keep builds out. */
        std::mutex& getMutex() { return lock; }

    private:
        void run();

        State& state;
        std::atomic<uint8_t> stop{0};
        /** Set by the thread under the mutex once it runs. */
        bool running = false;
        std::condition_variable wake;
        std::mutex lock;
        std::thread thread;
    };

    explicit Lamina(const juce::String& name = "Lamina");
    ~Lamina() override;

    /** Enters the type in the element registry (once per process). */
    static void registerType();

    /** One input bus, mono or stereo. */
    uint32_t getNumInputBuses() const override { return 1; }

    uint32_t resolveParameterId(uint32_t id) const override;
    void saveParameters(tinyxml2::XMLElement* xml, int& version) override;
    /** The generic load, then the upgrade of files older than `version`. */
    void loadParameters(const tinyxml2::XMLElement* xml) override;

    void renderInPlace(ProcessContext& context, ProcessingElementState& state, uint32_t numSamples,
                       float* const* channels, bool& isSilent) override;

    State& getLaminaState() const { return static_cast<State&>(*processState); }
    State& getLaminaControlState() const { return static_cast<State&>(*controlState); }

    /** An editor's analyser rings; the element keeps weak references only. */
    void attachInputAnalyser(std::shared_ptr<AnalyserRing> ring);
    void attachOutputAnalyser(std::shared_ptr<AnalyserRing> ring);
};

// The value texts of the element's parameters.
juce::String formatLaminaTime(float seconds);
juce::String formatLaminaRatio(float value);
juce::String formatLaminaFrequency(float hertz);
/** value * 100 through formatLaminaPlainPercent. */
juce::String formatLaminaPercent(float value);
/** "%1 %" of the value as it stands: whole at exactly 0 or 1, one decimal from 10, else two. */
juce::String formatLaminaPlainPercent(float value);
juce::String formatTwoDecimals(float value);
juce::String formatNoDecimals(float value);
/** The material row's symbol: empty for "Steel". */
juce::String formatMaterialSymbol(int index);
juce::String formatQualityLabel(int index);
/** prefix + " 0", " 31", ... " 16k", " 20k" for the bands i = 0 to 11. */
juce::String laminaBandName(const juce::String& prefix, int i);

} // namespace qor
