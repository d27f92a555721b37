#pragma once

#include <juce_core/juce_core.h>

#include <atomic>
#include <thread>

namespace qor::test
{

/** Holds a lock on a thread of its own from construction until destruction, as a busy message or editor
    thread would. */
class LockHeldElsewhere
{
public:
    explicit LockHeldElsewhere(const juce::CriticalSection& lock)
        : holder(
              [this, &lock]
              {
                  const juce::ScopedLock l(lock);
                  held = true;
                  while (!release.load())
                      std::this_thread::yield();
              })
    {
        while (!held.load())
            std::this_thread::yield();
    }
    ~LockHeldElsewhere()
    {
        release = true;
        holder.join();
    }
    LockHeldElsewhere(const LockHeldElsewhere&) = delete;
    LockHeldElsewhere& operator=(const LockHeldElsewhere&) = delete;

private:
    std::atomic<bool> held{false};
    std::atomic<bool> release{false};
    std::thread holder;
};

} // namespace qor::test
