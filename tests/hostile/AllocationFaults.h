#pragma once

/// Lets the allocation of the given number, counted from 1, fail in this thread: `operator new`
/// throws. Only that one; the next ones succeed again.
void FailAllocation(long number);

/// Ends that. Whether it has failed.
bool HasAllocationFailed();
