#pragma once

#include <chrono>
#include <functional>

#include "ServiceClient.h"

namespace VarnelBase {

/// Asks repeatedly until an execution has ended.
///
/// @param ask         makes one call that reads the execution
/// @param callTimeout limits each call
/// @throws std::invalid_argument naming the option that cannot be used
ExecutionOutcome AwaitExecution(const std::function<Outcome(const CallOptions&)>& ask,
                                std::chrono::milliseconds callTimeout, const WaitOptions& wait);

} // namespace VarnelBase
