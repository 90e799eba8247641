#include "ProviderClock.h"

#include <atomic>
#include <iomanip>
#include <locale>
#include <sstream>

namespace VarnelBase {

namespace {

constexpr std::size_t DateLength = 29;

std::atomic<long long> secondsAhead{0}; ///< the provider's clock, seen from this machine's
std::atomic<std::time_t> readAt{0};     ///< when that was found; 0: never

} // namespace

std::optional<std::time_t> ParseHttpDate(const std::string& date) {
    std::istringstream stream(date);
    stream.imbue(std::locale::classic()); // Names of months do not follow the program's locale.
    std::tm time{};
    stream >> std::get_time(&time, "%a, %d %b %Y %H:%M:%S GMT");
    if (!stream || date.size() != DateLength) { return std::nullopt; }
    return timegm(&time);
}

void LearnProviderClock(const std::string& date) {
    const auto time = ParseHttpDate(date);
    if (!time) { return; }
    const std::time_t now = std::time(nullptr);
    secondsAhead = static_cast<long long>(*time) - now;
    readAt = now;
}

std::optional<ClockReading> FindProviderClock() {
    if (readAt == 0) { return std::nullopt; }
    return ClockReading{secondsAhead, readAt};
}

void RestoreProviderClock(const ClockReading& reading) {
    if (reading.at <= readAt || reading.at > std::time(nullptr)) { return; }
    secondsAhead = reading.secondsAhead;
    readAt = reading.at;
}

std::time_t ReadProviderClock() {
    return std::time(nullptr) + static_cast<std::time_t>(secondsAhead.load());
}

} // namespace VarnelBase
