#include "RetryPolicy.h"

#include <curl/curl.h>

#include <algorithm>
#include <charconv>
#include <ctime>

namespace VarnelBase {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds FirstCeiling(200);
constexpr milliseconds LastCeiling(20'000);
constexpr long long LongestWait = 365LL * 24 * 3600;

} // namespace

bool RetryBudget::Take() {
    int before = left;
    while (!left.compare_exchange_weak(before, std::max(before - Retry, 0))) {}
    // The lower half is what success has to refill before retries begin again.
    return before - Retry >= Capacity / 2;
}

void RetryBudget::NoteSuccess() {
    int before = left;
    while (before < Capacity && !left.compare_exchange_weak(before, before + 1)) {}
}

milliseconds Backoff::Draw(int attempt, std::optional<milliseconds> retryAfter) {
    const milliseconds ceiling =
        std::min<milliseconds>(FirstCeiling * (1LL << std::clamp(attempt - 1, 0, 30)), LastCeiling);
    std::uniform_int_distribution<long long> part(0, ceiling.count());
    const std::lock_guard lock(mutex);
    return retryAfter.value_or(milliseconds(0)) + milliseconds(part(random));
}

std::optional<milliseconds> ReadRetryAfter(const std::string& value, const std::string& date) {
    const char* const end = value.data() + value.size();
    const bool isNumber = !value.empty() && std::all_of(value.begin(), value.end(), [](char c) {
        return c >= '0' && c <= '9';
    });
    long long wait = 0;
    if (isNumber) {
        const auto error = std::from_chars(value.data(), end, wait).ec;
        if (error != std::errc()) { wait = LongestWait; }
    } else {
        const std::time_t then = curl_getdate(value.c_str(), nullptr);
        if (value.empty() || then < 0) { return {}; }
        const std::time_t now = date.empty() ? -1 : curl_getdate(date.c_str(), nullptr);
        wait = then - (now < 0 ? std::time(nullptr) : now);
    }
    return seconds(std::clamp(wait, 0LL, LongestWait));
}

} // namespace VarnelBase
