#include "FailingAllocations.h"

#include <execinfo.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

namespace VarnelBase {

thread_local long allocationsLeft = 0;

namespace {

std::array<void*, 64> frames{}; ///< who asked for the one that failed
int frameCount = 0;

} // namespace

bool IsFailingAllocation() {
    const bool isFailing = allocationsLeft > 0 && --allocationsLeft == 0;
    if (isFailing) { frameCount = backtrace(frames.data(), frames.size()); }
    return isFailing;
}

void TellTermination() {
    allocationsLeft = 0;
    char** names = backtrace_symbols(frames.data(), frameCount);
    const bool isJson = std::any_of(names, names + frameCount, [](const char* name) {
        return std::strstr(name, "json_value7destroy") != nullptr;
    });
    _exit(isJson ? EndedByJson : 1);
}

} // namespace VarnelBase

// Not inlined, or the compiler takes notice of each half without the other.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return VarnelBase::IsFailingAllocation() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

[[gnu::noinline]] void* operator new(std::size_t size) {
    void* memory = operator new(size, std::nothrow);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
