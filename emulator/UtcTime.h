#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace VarnelBase::Emulation {

/// Milliseconds since 1970-01-01 UTC by the machine's clock.
std::int64_t GetMachineTime();

/// Such a time in RFC 3339's form, with milliseconds and "Z".
std::string FormatUtcTime(std::int64_t milliseconds);

/// Reads that form, fraction of a second optional; none when the text has another one.
std::optional<std::int64_t> ParseUtcTime(const std::string& text);

} // namespace VarnelBase::Emulation
