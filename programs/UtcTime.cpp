#include "UtcTime.h"

#include <array>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>

namespace VarnelBase {

namespace {

constexpr std::int64_t MillisecondsInMinute = 60000;

bool IsDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

/// Whether a text has the form of another one, in which "0" stands for any digit.
bool HasForm(std::string_view text, std::string_view form) {
    bool isSame = text.size() == form.size();
    for (std::size_t i = 0; isSame && i < form.size(); ++i) {
        isSame = form[i] == '0' ? IsDigit(text[i]) : text[i] == form[i];
    }
    return isSame;
}

int ReadNumber(const std::string& text, std::size_t begin, std::size_t length) {
    return std::atoi(text.substr(begin, length).c_str()); // NOLINT(cert-err34-c): digits, few
}

/// Milliseconds that local time is ahead, "Z" or "+02:00"; none when the text has another form.
std::optional<std::int64_t> ReadOffset(const std::string& text) {
    if (text == "Z") { return 0; }
    if (!HasForm(text, "+00:00") && !HasForm(text, "-00:00")) { return std::nullopt; }
    const int hours = ReadNumber(text, 1, 2);
    const int minutes = ReadNumber(text, 4, 2);
    if (hours > 23 || minutes > 59) { return std::nullopt; }
    return (text[0] == '-' ? -MillisecondsInMinute : MillisecondsInMinute) * (hours * 60 + minutes);
}

} // namespace

std::int64_t GetMachineTime() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

std::string FormatUtcTime(std::int64_t milliseconds) {
    const std::int64_t fraction = ((milliseconds % 1000) + 1000) % 1000;
    const std::time_t seconds = (milliseconds - fraction) / 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ",
                  parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                  parts.tm_min, parts.tm_sec, static_cast<int>(fraction));
    return text.data();
}

std::optional<std::int64_t> ParseUtcTime(const std::string& text) {
    constexpr std::string_view form = "0000-00-00T00:00:00";
    if (!HasForm(std::string_view(text).substr(0, form.size()), form)) { return std::nullopt; }
    std::tm parts{};
    parts.tm_year = ReadNumber(text, 0, 4) - 1900;
    parts.tm_mon = ReadNumber(text, 5, 2) - 1;
    parts.tm_mday = ReadNumber(text, 8, 2);
    parts.tm_hour = ReadNumber(text, 11, 2);
    parts.tm_min = ReadNumber(text, 14, 2);
    parts.tm_sec = ReadNumber(text, 17, 2);
    const std::int64_t time = std::int64_t{timegm(&parts)} * 1000;
    // timegm turns the 31st of a short month into the 1st of the next one.
    if (FormatUtcTime(time).substr(0, form.size()) != text.substr(0, form.size())) {
        return std::nullopt;
    }
    std::size_t end = form.size();
    std::int64_t fraction = 0;
    if (end + 1 < text.size() && text[end] == '.' && IsDigit(text[end + 1])) {
        int weight = 100;
        for (++end; end < text.size() && IsDigit(text[end]); ++end, weight /= 10) {
            fraction += static_cast<std::int64_t>(text[end] - '0') * weight;
        }
    }
    const auto offset = ReadOffset(text.substr(end));
    const std::int64_t utc = time + fraction - offset.value_or(0);
    if (!offset || utc < FirstTime || utc > LastTime) { return std::nullopt; }
    return utc;
}

} // namespace VarnelBase
