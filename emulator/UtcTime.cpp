#include "UtcTime.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace VarnelBase::Emulation {

std::int64_t GetMachineTime() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

std::string FormatUtcTime(std::int64_t milliseconds) {
    const std::int64_t fraction = ((milliseconds % 1000) + 1000) % 1000;
    const std::time_t seconds = (milliseconds - fraction) / 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 64> date{};
    const std::size_t length = std::strftime(date.data(), date.size(), "%FT%T", &parts);
    std::string digits = std::to_string(fraction);
    digits.insert(0, 3 - digits.size(), '0');
    return std::string(date.data(), length) + "." + digits + "Z";
}

std::optional<std::int64_t> ParseUtcTime(const std::string& text) {
    std::tm parts{};
    const char* rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    if (rest == nullptr) { return std::nullopt; }
    std::int64_t fraction = 0;
    if (*rest == '.') {
        int weight = 100;
        for (++rest; *rest >= '0' && *rest <= '9'; ++rest, weight /= 10) {
            fraction += static_cast<std::int64_t>(*rest - '0') * weight;
        }
    }
    if (std::string(rest) != "Z") { return std::nullopt; }
    return std::int64_t{timegm(&parts)} * 1000 + fraction;
}

} // namespace VarnelBase::Emulation
