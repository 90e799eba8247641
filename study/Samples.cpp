#include "Samples.h"

#include <algorithm>
#include <boost/random/sobol.hpp>
#include <boost/random/uniform_int_distribution.hpp>
#include <cmath>
#include <numeric>
#include <random>
#include <utility>

namespace VarnelBase::Studies {

namespace {

constexpr int MantissaBits = 53;

/// The upper bits of a random number as a fraction, so that it stays below 1.
double MakeFraction(std::uint64_t bits) {
    return static_cast<double>(bits >> (64 - MantissaBits)) /
           static_cast<double>(1ULL << MantissaBits);
}

} // namespace

// The standard library's distributions differ between implementations; Boost's do not.

UnitPoints SampleLatinHypercube(std::size_t count, std::size_t dimensions, std::uint64_t seed) {
    std::mt19937_64 generator(seed);
    UnitPoints points(count, std::vector<double>(dimensions));
    std::vector<std::size_t> intervals(count);
    for (std::size_t dimension = 0; dimension < dimensions; ++dimension) {
        std::iota(intervals.begin(), intervals.end(), std::size_t{0});
        for (std::size_t last = count; last > 1; --last) {
            boost::random::uniform_int_distribution<std::size_t> choose(0, last - 1);
            std::swap(intervals[last - 1], intervals[choose(generator)]);
        }
        for (std::size_t point = 0; point < count; ++point) {
            const double place = static_cast<double>(intervals[point]) + MakeFraction(generator());
            // Rounding must not take the last interval's points to the end of the cube.
            points[point][dimension] =
                std::min(place / static_cast<double>(count), std::nextafter(1.0, 0.0));
        }
    }
    return points;
}

UnitPoints SampleSobol(std::size_t count, std::size_t dimensions, std::uint64_t seed) {
    std::mt19937_64 generator(seed);
    std::vector<std::uint64_t> shifts(dimensions, 0);
    if (seed != 0) {
        for (std::uint64_t& shift : shifts) { shift = generator(); }
    }
    boost::random::sobol sequence(dimensions);
    UnitPoints points(count, std::vector<double>(dimensions));
    for (std::vector<double>& point : points) {
        for (std::size_t dimension = 0; dimension < dimensions; ++dimension) {
            point[dimension] = MakeFraction(sequence() ^ shifts[dimension]);
        }
    }
    return points;
}

} // namespace VarnelBase::Studies
