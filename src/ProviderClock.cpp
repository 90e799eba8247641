#include "ProviderClock.h"

#include <atomic>
#include <iomanip>
#include <locale>
#include <sstream>

namespace VarnelBase {

namespace {

constexpr std::size_t DateLength = 29;

std::atomic<long long> secondsAhead{0}; ///< the provider's clock, seen from this machine's

} // namespace

void LearnProviderClock(const std::string& date) {
    std::istringstream stream(date);
    stream.imbue(std::locale::classic()); // Names of months do not follow the program's locale.
    std::tm time{};
    stream >> std::get_time(&time, "%a, %d %b %Y %H:%M:%S GMT");
    if (stream && date.size() == DateLength) {
        secondsAhead = static_cast<long long>(timegm(&time)) - std::time(nullptr);
    }
}

std::time_t ReadProviderClock() {
    return std::time(nullptr) + static_cast<std::time_t>(secondsAhead.load());
}

} // namespace VarnelBase
