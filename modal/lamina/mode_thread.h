#pragma once

#include "modal/lamina/lamina_state.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace qor
{

/** Builds table rows on a thread of its own while the bank rings on with the old ones. It holds its mutex
    for as long as it builds, so that a request only ever meets it asleep or about to sleep. */
class Lamina::State::ModeThread
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

} // namespace qor
