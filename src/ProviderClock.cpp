#include "ProviderClock.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace VarnelBase {

namespace {

std::atomic<long long> secondsAhead{0}; ///< the provider's clock, seen from this machine's

constexpr std::array<const char*, 12> Months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::size_t DateLength = 29;

} // namespace

void LearnProviderClock(const std::string& date) {
    // Not strptime: its names of months follow the program's locale.
    std::tm time{};
    std::array<char, 4> month{};
    // NOLINTNEXTLINE(cert-err34-c): widths bound every number, and the whole is checked below
    if (date.size() != DateLength ||
        std::sscanf(date.c_str(), "%*3c, %2d %3s %4d %2d:%2d:%2d GMT", &time.tm_mday, month.data(),
                    &time.tm_year, &time.tm_hour, &time.tm_min, &time.tm_sec) != 6) {
        return;
    }
    const auto* found = std::find_if(Months.begin(), Months.end(), [&month](const char* name) {
        return std::strcmp(name, month.data()) == 0;
    });
    if (found == Months.end()) { return; }
    time.tm_mon = static_cast<int>(found - Months.begin());
    time.tm_year -= 1900;
    secondsAhead = static_cast<long long>(timegm(&time)) - std::time(nullptr);
}

std::time_t ReadProviderClock() {
    return std::time(nullptr) + static_cast<std::time_t>(secondsAhead.load());
}

} // namespace VarnelBase
