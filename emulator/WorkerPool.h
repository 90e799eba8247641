#pragma once

#include <httplib.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace VarnelBase::Emulation {

/// Serves each connection in a thread of its own, so that silent ones stop nobody, and keeps the
/// threads for the next ones. Connections above the limit wait for a thread.
class WorkerPool : public httplib::TaskQueue {
    // Nothing or a bool, which differs between releases.
    using Outcome = decltype(std::declval<httplib::TaskQueue&>().enqueue(std::function<void()>()));

public:
    Outcome enqueue(std::function<void()> job) override {
        Add(std::move(job));
        return static_cast<Outcome>(true);
    }

    /// Ends when every job is done.
    void shutdown() override;

private:
    void Add(std::function<void()> job);
    void Work();

    std::mutex mutex;
    std::condition_variable wakeUp;
    std::deque<std::function<void()>> jobs;
    std::vector<std::thread> threads;
    std::size_t idleThreads = 0;
    bool isEnding = false;
};

} // namespace VarnelBase::Emulation
