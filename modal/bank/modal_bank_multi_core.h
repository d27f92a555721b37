#pragma once

#include "modal/bank/imodal_bank.h"
#include "modal/bank/modal_bank.h"

#include <juce_audio_basics/juce_audio_basics.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace qor
{

/** Workers for a bank on a machine with the given number of hardware threads: one fewer, since the audio
    thread runs jobs too, and 0 when the count is 0 or 1. */
constexpr uint32_t bankWorkerCount(uint32_t hardwareThreads)
{
    return hardwareThreads > 1 ? hardwareThreads - 1 : 0;
}

/** bankWorkerCount for this machine. */
uint32_t defaultBankWorkerCount();

/** A bank of up to maxModes modes split into jobs of modesPerBank modes, each a ModalBank, run by a fixed set
   of worker threads together with the thread that calls process.

    Mode m lives in banks[m / modesPerBank] at index m % modesPerBank. The last active job is given
    count % modesPerBank modes, so a count that is an exact multiple of modesPerBank leaves its last job
   silent (256 modes sound as 128); existing tables are voiced with that in mind.

    Setters, clear and process belong to one thread (the audio thread). process never allocates, never locks
    but for the moment of waking the workers, and claims jobs itself, so it finishes even if no worker wakes.
    The sum over jobs is made per thread, so its order (and the last bits of the output) may vary between
    runs. Workers run with flush-to-zero and denormals-are-zero set, as the audio thread does around a block,
    so that a tail decaying in silence never turns subnormal on them. */
class ModalBankMultiCore final : public IModalBank
{
public:
    /** Builds every bank and starts numWorkers threads at the best real-time priority the process may take;
        returns once each has started. sampleRate is not used. Throws if a thread cannot be started. family is
        this machine's best unless a test or benchmark asks for another that runs here. */
    ModalBankMultiCore(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes, uint32_t numWorkers,
                       size_t modesPerBank, uint32_t maxBlockSize, double sampleRate,
                       modalbank::Family family = modalbank::bestFamily());
    /** Wakes the workers to end and joins them. */
    ~ModalBankMultiCore() override;

    ModalBankMultiCore(const ModalBankMultiCore&) = delete;
    ModalBankMultiCore& operator=(const ModalBankMultiCore&) = delete;

    void setNumModes(uint32_t count) override;
    void setModeCoefficients(uint32_t mode, const double* cs) override;
    void setInputGain(uint32_t mode, uint32_t channel, double gain) override;
    void setOutputGain(uint32_t mode, uint32_t channel, double gain) override;
    /** One call for each job the modes fall in. */
    void setModes(uint32_t first, uint32_t count, const ModeSpan& modes) override;
    /** Clears every bank, active or not, and ends a fade. */
    void clear() override;
    /** The jobs that run now hand their modes to the second set of jobs, which rings on with them, hearing no
        more input, for numSamples samples under a falling half cosine (1 at the first sample, 0 from
        numSamples on) and then stops; the first set is cleared for the next table. While the fade lasts its
        jobs are claimed with the others, so a block costs up to twice as much. A fade that is still running
       is cut short. */
    void fadeOut(uint32_t numSamples) override;
    /** numSamples must not exceed maxBlockSize. */
    void process(float* const* outputs, const float* const* inputs, uint32_t numSamples) override;

    size_t getNumBanks() const { return banks.size(); }
    /** The job of modes index * modesPerBank onwards, for inspection between blocks. */
    ModalBank& getBank(size_t index) { return *banks[index]; }
    size_t getNumWorkers() const { return workers.size(); }
    /** Workers of all banks whose thread function is running: one counts from before its bank's constructor
        returns until before the join in its bank's destructor returns. */
    static int getNumRunningWorkers() { return runningWorkers.load(); }

private:
    void workerLoop(size_t index);
    bool runJob(size_t threadIndex);

    std::vector<std::unique_ptr<ModalBank>> banks;
    /** The second set of states, as many jobs as banks, made with them: the modes of the last table while
       they fade out. */
    std::vector<std::unique_ptr<ModalBank>> fadingBanks;
    size_t numFadingBanks = 0;
    uint32_t fadeLength = 0;
    uint32_t fadePosition = 0;
    /** The fade's gain for each sample of the block, written before the jobs are published. */
    std::vector<float> fadeGains;
    /** What the fading jobs hear: silence, one channel for each input. */
    std::vector<float> silence;
    std::vector<const float*> silentInputs;
    std::vector<std::thread> workers;
    static inline std::atomic<int> runningWorkers{0};
    std::vector<juce::AudioBuffer<float>> scratchBuffers;
    std::vector<juce::AudioBuffer<float>> accumulators;
    // Counts up from -jobsInBlock to 0 during a block; a claim that reads c < 0 owns job jobsInBlock + c. A
    // claim that comes late, after the block, reads c >= 0 and owns nothing, whatever the next block holds.
    std::atomic<int32_t> nextJob{0};
    std::atomic<int32_t> pendingJobs{0};
    std::condition_variable wakeCondition;
    std::mutex wakeMutex;
    size_t modesPerBank;
    // The setters run for every mode on each table load: a shift and a mask stand in for the division when
    // the job size is a power of two (128 here).
    std::pair<size_t, uint32_t> locate(uint32_t mode) const;
    uint32_t bankShift = 0;
    bool jobSizeIsPowerOfTwo = false;
    std::atomic<bool> exiting{false};
    size_t numActiveBanks = 0;
    size_t numOutputs;
    // Published to workers by the store to nextJob: a worker reads them only after a successful claim.
    std::atomic<const float* const*> currentInputs{nullptr};
    std::atomic<size_t> currentNumSamples{0};
    std::atomic<int32_t> jobsInBlock{0};
    // Jobs below this index in the block are banks, the rest fading banks.
    std::atomic<int32_t> activeJobsInBlock{0};
};

} // namespace qor
