#include "output/UtcTime.h"

#include <array>
#include <cmath>
#include <ctime>

namespace VarnelBase {

namespace {

constexpr double FirstSecond = -62135596800; // the beginning of the year 1
constexpr double LastSecond = 253402300799;  // the end of the year 9999

} // namespace

std::string FormatUtcTime(double seconds) {
    if (!(seconds >= FirstSecond && seconds <= LastSecond)) { return "unknown"; }
    const double whole = std::floor(seconds);
    const auto time = static_cast<std::time_t>(whole);
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 32> date{};
    const std::size_t length = std::strftime(date.data(), date.size(), "%FT%T.", &parts);
    const std::string fraction = std::to_string(static_cast<int>((seconds - whole) * 1000));
    return std::string(date.data(), length) + std::string(3 - fraction.size(), '0') + fraction +
           "Z";
}

} // namespace VarnelBase
