#pragma once

#include "Router.h"
#include "ServiceState.h"

namespace VarnelBase::Emulation {

/// Adds the paths that the real service has.
///
/// @param state outlives the router
void AddServiceRoutes(Router& router, ServiceState& state);

} // namespace VarnelBase::Emulation
