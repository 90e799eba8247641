#include "WorkerPool.h"

#include <algorithm>
#include <system_error>

namespace VarnelBase::Emulation {

namespace {

constexpr std::size_t MaxThreads = 512;

} // namespace

void WorkerPool::shutdown() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isEnding = true;
    }
    wakeUp.notify_all();
    for (std::thread& thread : threads) { thread.join(); }
}

void WorkerPool::Add(std::function<void()> job) {
    const std::lock_guard<std::mutex> lock(mutex);
    jobs.push_back(std::move(job));
    if (idleThreads < jobs.size() && threads.size() < MaxThreads) {
        try {
            threads.emplace_back([this] { Work(); });
            return;
        } catch (const std::system_error&) {
            // The system has no more for this process: the job waits for one of those here, or for
            // the next that there is.
        }
    }
    wakeUp.notify_one();
}

void WorkerPool::Work() {
    std::unique_lock<std::mutex> lock(mutex);
    while (true) {
        ++idleThreads;
        wakeUp.wait(lock, [this] { return !jobs.empty() || isEnding; });
        --idleThreads;
        if (jobs.empty()) { return; }
        const std::function<void()> job = std::move(jobs.front());
        jobs.pop_front();
        lock.unlock();
        job();
        lock.lock();
    }
}

} // namespace VarnelBase::Emulation
