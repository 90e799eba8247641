#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace VarnelBase {

/// The first and the last time that can be written: 0000-01-01T00:00:00Z, 9999-12-31T23:59:59.999Z.
constexpr std::int64_t FirstTime = -62167219200000;
constexpr std::int64_t LastTime = 253402300799999;

/// Milliseconds since 1970-01-01 UTC by the machine's clock.
std::int64_t GetMachineTime();

/// Such a time in RFC 3339's form, with milliseconds and "Z".
std::string FormatUtcTime(std::int64_t milliseconds);

/// Reads a time in RFC 3339's form, with any offset; none when the text has another form, names a
/// day that does not exist, or a time outside of the years 0 to 9999.
std::optional<std::int64_t> ParseUtcTime(const std::string& text);

} // namespace VarnelBase
