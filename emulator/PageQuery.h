#pragma once

#include "Router.h"
#include "ServiceState.h"

namespace VarnelBase::Emulation {

/// The part of a list that a request's query asks for with "limit" and "offset".
///
/// @throws Refusal 422 when one is given twice, is no number, or is too large
Page ReadPage(const Call& call);

} // namespace VarnelBase::Emulation
