#include "modal/bank/modal_bank_multi_core.h"

#include <algorithm>
#include <cmath>
#include <pthread.h>
#include <sched.h>
#include <semaphore>
#include <sys/resource.h>
#include <xmmintrin.h>

namespace qor
{

namespace
{
constexpr unsigned int flushToZeroAndDenormalsAreZero = 0x8040;

/** The highest SCHED_FIFO priority the process may take; failure leaves the thread as it is. */
void raiseToRealTime(std::thread& thread)
{
    int priority = sched_get_priority_max(SCHED_FIFO);
    rlimit limit{};
    if (getrlimit(RLIMIT_RTPRIO, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur > 0 &&
        static_cast<rlim_t>(priority) > limit.rlim_cur)
        priority = static_cast<int>(limit.rlim_cur);
    sched_param param{};
    param.sched_priority = priority;
    pthread_setschedparam(thread.native_handle(), SCHED_FIFO, &param);
}
} // namespace

uint32_t defaultBankWorkerCount()
{
    return bankWorkerCount(std::thread::hardware_concurrency());
}

ModalBankMultiCore::ModalBankMultiCore(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes,
                                       uint32_t numWorkers, size_t modesPerBank_, uint32_t maxBlockSize,
                                       double /*sampleRate*/, modalbank::Family family)
    : modesPerBank(modesPerBank_), numOutputs(numOutputs)
{
    jobSizeIsPowerOfTwo = modesPerBank != 0 && (modesPerBank & (modesPerBank - 1)) == 0;
    while (jobSizeIsPowerOfTwo && (size_t{1} << bankShift) < modesPerBank)
        ++bankShift;
    const size_t numBanks = (maxModes + modesPerBank - 1) / modesPerBank;
    banks.reserve(numBanks);
    fadingBanks.reserve(numBanks);
    for (size_t i = 0; i < numBanks; ++i)
    {
        banks.push_back(
            std::make_unique<ModalBank>(family, numInputs, numOutputs, static_cast<uint32_t>(modesPerBank)));
        fadingBanks.push_back(
            std::make_unique<ModalBank>(family, numInputs, numOutputs, static_cast<uint32_t>(modesPerBank)));
    }
    fadeGains.assign(maxBlockSize, 0.0f);
    silence.assign(maxBlockSize, 0.0f);
    silentInputs.assign(numInputs, silence.data());

    const int channels = static_cast<int>(numOutputs);
    const int length = static_cast<int>(maxBlockSize);
    scratchBuffers.reserve(numWorkers + 1);
    accumulators.reserve(numWorkers + 1);
    workers.reserve(numWorkers);
    try
    {
        for (size_t i = 0; i < numWorkers; ++i)
        {
            scratchBuffers.emplace_back(channels, length);
            accumulators.emplace_back(channels, length);
            std::binary_semaphore started{0};
            workers.emplace_back(
                [this, i, &started]
                {
                    runningWorkers.fetch_add(1);
                    started.release();
                    workerLoop(i);
                    runningWorkers.fetch_sub(1);
                });
            started.acquire();
            raiseToRealTime(workers.back());
        }
    }
    catch (...)
    {
        {
            std::lock_guard lock(wakeMutex);
            exiting = true;
            wakeCondition.notify_all();
        }
        for (auto& worker : workers)
            worker.join();
        throw;
    }
    // The audio thread's pair, at index workers.size().
    scratchBuffers.emplace_back(channels, length);
    accumulators.emplace_back(channels, length);
    for (auto& buffer : accumulators)
        buffer.clear();
}

ModalBankMultiCore::~ModalBankMultiCore()
{
    {
        std::lock_guard lock(wakeMutex);
        exiting = true;
        wakeCondition.notify_all();
    }
    for (auto& worker : workers)
        worker.join();
}

void ModalBankMultiCore::setNumModes(uint32_t count)
{
    const auto perBank = static_cast<uint32_t>(modesPerBank);
    uint32_t active = (count + perBank - 1) / perBank;
    // Only a count beyond the capacity could ask for more; it is the caller's error, kept from reaching past
    // the banks.
    if (active > banks.size())
        active = static_cast<uint32_t>(banks.size());
    numActiveBanks = active;

    for (size_t i = 0; i < banks.size(); ++i)
    {
        if (i + 1 < active)
            banks[i]->setNumModes(perBank);
        else if (i + 1 == active)
            banks[i]->setNumModes(count % perBank); // 0 when count is a multiple of perBank
        else
            banks[i]->setNumModes(0);
    }
}

std::pair<size_t, uint32_t> ModalBankMultiCore::locate(uint32_t mode) const
{
    if (jobSizeIsPowerOfTwo)
        return {mode >> bankShift, mode & static_cast<uint32_t>(modesPerBank - 1)};
    return {mode / modesPerBank, static_cast<uint32_t>(mode % modesPerBank)};
}

void ModalBankMultiCore::setModeCoefficients(uint32_t mode, const double* cs)
{
    const auto split = locate(mode);
    banks[split.first]->setModeCoefficients(split.second, cs);
}

void ModalBankMultiCore::setInputGain(uint32_t mode, uint32_t channel, double gain)
{
    const auto split = locate(mode);
    banks[split.first]->setInputGain(split.second, channel, gain);
}

void ModalBankMultiCore::setOutputGain(uint32_t mode, uint32_t channel, double gain)
{
    const auto split = locate(mode);
    banks[split.first]->setOutputGain(split.second, channel, gain);
}

void ModalBankMultiCore::setModes(uint32_t first, uint32_t count, const ModeSpan& modes)
{
    uint32_t done = 0;
    while (done < count)
    {
        const auto split = locate(first + done);
        const uint32_t room = static_cast<uint32_t>(modesPerBank) - split.second;
        const uint32_t n = count - done < room ? count - done : room;
        banks[split.first]->setModes(split.second, n, modes.from(done));
        done += n;
    }
}

void ModalBankMultiCore::clear()
{
    for (auto& bank : banks)
        bank->clear();
    numFadingBanks = 0;
}

void ModalBankMultiCore::fadeOut(uint32_t numSamples)
{
    numFadingBanks = 0;
    if (numSamples > 0)
    {
        // Both sets are made alike, so every copy succeeds.
        while (numFadingBanks < numActiveBanks &&
               fadingBanks[numFadingBanks]->copyModesFrom(*banks[numFadingBanks]))
            ++numFadingBanks;
        fadeLength = numSamples;
        fadePosition = 0;
    }
    for (auto& bank : banks)
        bank->clear();
}

void ModalBankMultiCore::process(float* const* outputs, const float* const* inputs, uint32_t numSamples)
{
    currentInputs.store(inputs, std::memory_order_relaxed);
    currentNumSamples.store(numSamples, std::memory_order_relaxed);

    // Skips buffers still marked clear; marks one clear only when the whole buffer was cleared.
    for (auto& accumulator : accumulators)
        accumulator.clear(0, static_cast<int>(numSamples));

    // pendingJobs goes first: no job can be claimed before it is set, so no finished job can be lost under
    // it. The store to nextJob publishes the inputs, the block length and the cleared accumulators to the
    // workers.
    // A half cosine from 1 down to 0: neither the gain nor its slope jumps at either end.
    const size_t fading = numFadingBanks;
    if (fading > 0)
    {
        const double step = 3.141592653589793 / fadeLength;
        for (uint32_t n = 0; n < numSamples; ++n)
        {
            const uint32_t position = fadePosition + n;
            fadeGains[n] =
                position < fadeLength ? static_cast<float>(0.5 + 0.5 * std::cos(step * position)) : 0.0f;
        }
    }

    const auto jobs = static_cast<int32_t>(numActiveBanks + fading);
    activeJobsInBlock.store(static_cast<int32_t>(numActiveBanks), std::memory_order_relaxed);
    jobsInBlock.store(jobs, std::memory_order_relaxed);
    pendingJobs.store(jobs);
    nextJob.store(-jobs);

    {
        std::lock_guard lock(wakeMutex);
        wakeCondition.notify_all();
    }

    while (runJob(workers.size()))
    {
    }
    // No pause and no yield: only jobs already claimed are left, and the block is due.
    while (pendingJobs.load() != 0)
    {
    }

    const int n = static_cast<int>(numSamples);
    for (size_t c = 0; c < numOutputs; ++c)
    {
        const int channel = static_cast<int>(c);
        juce::FloatVectorOperations::copy(outputs[c], accumulators[0].getReadPointer(channel), n);
        for (size_t t = 1; t < accumulators.size(); ++t)
            juce::FloatVectorOperations::add(outputs[c], accumulators[t].getReadPointer(channel), n);
    }

    currentInputs.store(nullptr, std::memory_order_relaxed);
    currentNumSamples.store(0, std::memory_order_relaxed);

    if (fading > 0)
    {
        fadePosition += std::min(numSamples, fadeLength - fadePosition);
        if (fadePosition >= fadeLength)
            numFadingBanks = 0;
    }
}

bool ModalBankMultiCore::runJob(size_t threadIndex)
{
    const int32_t claim = nextJob.fetch_add(1);
    if (claim >= 0)
        return false;
    const auto job = static_cast<size_t>(jobsInBlock.load(std::memory_order_relaxed) + claim);

    const auto numSamples = currentNumSamples.load(std::memory_order_relaxed);
    const auto active = static_cast<size_t>(activeJobsInBlock.load(std::memory_order_relaxed));
    const bool isFading = job >= active;
    auto& bank = isFading ? *fadingBanks[job - active] : *banks[job];
    auto& scratch = scratchBuffers[threadIndex];
    bank.process(scratch.getArrayOfWritePointers(),
                 isFading ? silentInputs.data() : currentInputs.load(std::memory_order_relaxed),
                 static_cast<uint32_t>(numSamples));

    auto& accumulator = accumulators[threadIndex];
    for (int c = 0; c < scratch.getNumChannels(); ++c)
    {
        if (isFading)
            juce::FloatVectorOperations::addWithMultiply(accumulator.getWritePointer(c),
                                                         scratch.getReadPointer(c), fadeGains.data(),
                                                         static_cast<int>(numSamples));
        else
            accumulator.addFrom(c, 0, scratch, c, 0, static_cast<int>(numSamples));
    }

    pendingJobs.fetch_sub(1);
    return true;
}

void ModalBankMultiCore::workerLoop(size_t index)
{
    _mm_setcsr(_mm_getcsr() | flushToZeroAndDenormalsAreZero);

    for (;;)
    {
        {
            std::unique_lock lock(wakeMutex);
            // Checked under the lock so that an exit requested before this thread first waits is not missed.
            if (!exiting.load())
                wakeCondition.wait(lock);
        }
        if (exiting.load())
            return;
        while (runJob(index))
        {
        }
    }
}

} // namespace qor
