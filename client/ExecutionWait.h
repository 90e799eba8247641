#pragma once

#include <chrono>
#include <functional>

#include "ServiceClient.h"

namespace VarnelBase {

/// Asks again and again until an execution has come to an end.
///
/// @param ask         makes one call that reads the execution
/// @param callTimeout the longest that one call may take
/// @throws std::invalid_argument naming the option that cannot be used
ExecutionOutcome AwaitExecution(const std::function<Outcome(const CallOptions&)>& ask,
                                std::chrono::milliseconds callTimeout, const WaitOptions& wait);

} // namespace VarnelBase
