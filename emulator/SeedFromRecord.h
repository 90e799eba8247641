#pragma once

#include <vector>

#include "HttpRecord.h"

namespace VarnelBase::Emulation {

/// Makes a seed of what a record shows of a service: its documents as they were last seen, and the
/// shapes that they have in common, as far as these can be guessed.
json MakeSeedFromRecord(const std::vector<RecordedExchange>& exchanges);

} // namespace VarnelBase::Emulation
