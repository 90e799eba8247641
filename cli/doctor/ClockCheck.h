#pragma once

#include <string>

#include "doctor/Findings.h"

namespace VarnelBase {

/// Compares this machine's clock with somebody's, whose header tells whole seconds.
///
/// @param date  that header
/// @param whose "service" or "provider"
void CheckClock(Findings& findings, const std::string& date, const std::string& whose);

} // namespace VarnelBase
