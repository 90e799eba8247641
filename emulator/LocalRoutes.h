#pragma once

#include "Faults.h"
#include "RequestLog.h"
#include "Router.h"
#include "ServiceState.h"

namespace VarnelBase::Emulation {

/// Adds the paths below /_local, with which tests steer the emulator.
///
/// The arguments outlive the router.
void AddLocalRoutes(Router& router, ServiceState& state, FaultRules& faults, RequestLog& requests);

} // namespace VarnelBase::Emulation
