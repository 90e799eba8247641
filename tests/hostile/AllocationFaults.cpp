#include "AllocationFaults.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long allocationsLeft = 0;

} // namespace

void FailAllocation(long number) {
    allocationsLeft = number;
}

bool HasAllocationFailed() {
    const bool hasFailed = allocationsLeft <= 0;
    allocationsLeft = 0;
    return hasFailed;
}

void* operator new(std::size_t size) {
    const bool isFailing = allocationsLeft > 0 && --allocationsLeft == 0;
    void* memory = isFailing ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) { throw std::bad_alloc(); }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
