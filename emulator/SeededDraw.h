#pragma once

#include <cstdint>
#include <string>

namespace VarnelBase::Emulation {

/// A number from 0 up to, not including, 1 that looks random and is always the same for a seed and
/// a text, on every machine.
double DrawFraction(std::int64_t seed, const std::string& text);

} // namespace VarnelBase::Emulation
