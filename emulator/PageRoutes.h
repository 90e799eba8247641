#pragma once

#include "EventFeed.h"
#include "Router.h"
#include "ServiceState.h"

namespace VarnelBase::Emulation {

/// Adds the page for browsers, what it shows of the state, and the events that keep it current.
///
/// The arguments outlive the router.
void AddPageRoutes(Router& router, ServiceState& state, EventFeed& feed);

} // namespace VarnelBase::Emulation
