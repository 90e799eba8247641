#pragma once

#include <functional>

#include "Faults.h"
#include "RequestLog.h"
#include "Router.h"
#include "ServiceState.h"

namespace VarnelBase::Emulation {

/// Adds the paths below /_local, with which tests steer the emulator.
///
/// The arguments outlive the router.
///
/// @param restart goes back to the start
void AddLocalRoutes(Router& router, ServiceState& state, FaultRules& faults, RequestLog& requests,
                    std::function<void()> restart);

} // namespace VarnelBase::Emulation
