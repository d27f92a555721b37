#include "modal/lamina/mode_thread.h"

namespace qor
{

Lamina::State::ModeThread::ModeThread(State& owner) : state(owner)
{
    std::unique_lock<std::mutex> l(lock);
    thread = std::thread([this] { run(); });
    wake.wait(l, [this] { return running; });
}

Lamina::State::ModeThread::~ModeThread()
{
    stop.store(1);
    {
        // Taken only when a build under way has ended.
        const std::lock_guard<std::mutex> l(lock);
        wake.notify_all();
    }
    thread.join();
}

void Lamina::State::ModeThread::request()
{
    const std::lock_guard<std::mutex> l(lock);
    state.computeDone.store(0, std::memory_order_relaxed);
    state.computeRequested.store(1, std::memory_order_release);
    wake.notify_all();
}

void Lamina::State::ModeThread::run()
{
    std::unique_lock<std::mutex> l(lock);
    running = true;
    wake.notify_all();
    for (;;)
    {
        // A predicate, so that a request made between two waits is not lost.
        wake.wait(l,
                  [this]
                  {
                      return stop.load() != 0 ||
                             (state.computeRequested.load(std::memory_order_acquire) != 0 &&
                              state.computeDone.load(std::memory_order_acquire) == 0);
                  });
        if (stop.load() != 0)
            return;

        state.stats->buildsStarted.fetch_add(1, std::memory_order_relaxed);
        // The audio path has let go of the table it ran before the last take-over; free it here.
        state.retiredTable.reset();
        state.computeModes();
        state.stats->buildsFinished.fetch_add(1, std::memory_order_relaxed);
        state.computeDone.store(1, std::memory_order_release);
    }
}

} // namespace qor
