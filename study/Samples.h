#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace VarnelBase::Studies {

/// Points of the unit cube: `[point][dimension]`, each coordinate from 0 up to below 1. The same
/// arguments produce the same points with every compiler and on every machine.
using UnitPoints = std::vector<std::vector<double>>;

/// A Latin hypercube: along each dimension one point lies in each of `count` equal intervals.
UnitPoints SampleLatinHypercube(std::size_t count, std::size_t dimensions, std::uint64_t seed);

/// The first points of the Sobol sequence after the origin. A seed other than 0 shifts them
/// digitally: they stay evenly spread, and different seeds produce different points.
///
/// @param dimensions at most `MaxSobolDimensions`
UnitPoints SampleSobol(std::size_t count, std::size_t dimensions, std::uint64_t seed);

inline constexpr std::size_t MaxSobolDimensions = 3667;

} // namespace VarnelBase::Studies
