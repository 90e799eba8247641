#pragma once

#include <string>

namespace VarnelBase {

/// A time as people and programs read it (RFC 3339, UTC, milliseconds).
///
/// @param seconds since 1970-01-01 UTC; what lies outside of the years 1 to 9999 gives "unknown"
std::string FormatUtcTime(double seconds);

} // namespace VarnelBase
