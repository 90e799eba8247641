#include "SeededDraw.h"

namespace VarnelBase::Emulation {

double DrawFraction(std::int64_t seed, const std::string& text) {
    // FNV-1a over the text, then the finishing steps of SplitMix64, which spread it over all bits.
    std::uint64_t mixed = 14695981039346656037ULL ^ static_cast<std::uint64_t>(seed);
    for (const char c : text) {
        mixed = (mixed ^ static_cast<unsigned char>(c)) * 1099511628211ULL;
    }
    mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9ULL;
    mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebULL;
    mixed ^= mixed >> 31;
    return static_cast<double>(mixed >> 11) * 0x1p-53;
}

} // namespace VarnelBase::Emulation
