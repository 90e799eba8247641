#pragma once

#include <cstdlib>

namespace VarnelBase {

/// Of this thread: 1: the next one fails, and no other. A program that links FailingAllocations.cpp
/// allocates by it.
extern thread_local long allocationsLeft;

/// Counts an allocation and tells whether it fails.
bool IsFailingAllocation();

/// Status of a process that ended since an allocation failed in a destructor of the JSON library.
constexpr int EndedByJson = 70;

/// To be used as terminate handler: ends the process with `EndedByJson` or 1.
[[noreturn]] void TellTermination();

} // namespace VarnelBase
