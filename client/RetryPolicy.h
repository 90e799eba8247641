#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <random>
#include <string>

namespace VarnelBase {

/// How many retries a client may still make: failures use them up, after which every request is
/// sent once, and successes bring them back. Clients that lose their service together thus do not
/// multiply their requests. Several threads may use it.
class RetryBudget {
public:
    /// Notes a temporary failure and returns whether a retry is left for it.
    bool Take();

    void NoteSuccess();

private:
    // In tenths of a retry: a success brings back one tenth.
    static constexpr int Retry = 10;
    static constexpr int Capacity = 10 * Retry;

    std::atomic<int> left = Capacity;
};

/// Draws the waits between attempts: a random part of a time that doubles with each ("full
/// jitter"), so that clients which failed together do not return together.
class Backoff {
public:
    Backoff() : Backoff(std::random_device()()) {}
    explicit Backoff(unsigned int seed) : random(seed) {}

    /// @param attempt counted from 1, the one that failed
    /// @param retryAfter what the service asked for; the random part comes on top of it
    std::chrono::milliseconds Draw(int attempt,
                                   std::optional<std::chrono::milliseconds> retryAfter);

private:
    std::mutex mutex;
    std::minstd_rand random;
};

/// The header Retry-After (RFC 9110, section 10.2.3): seconds, or a date, which is compared with
/// the answer's `Date` if it has one. None if it is neither; a year at most.
std::optional<std::chrono::milliseconds> ReadRetryAfter(const std::string& value,
                                                        const std::string& date);

} // namespace VarnelBase
