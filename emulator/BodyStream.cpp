#include "BodyStream.h"

#include <utility>

namespace VarnelBase::Emulation {

namespace {

constexpr std::size_t MaxPendingBytes = std::size_t{4} << 20U;

} // namespace

bool BodyStream::Write(std::string_view bytes) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (isClosed) { return false; }
    if (pending.size() + bytes.size() > MaxPendingBytes) {
        isClosed = true;
        pending.clear();
    } else {
        pending += bytes;
    }
    WakeUp();
    return !isClosed;
}

void BodyStream::Close() {
    const std::lock_guard<std::mutex> lock(mutex);
    isClosed = true;
    WakeUp();
}

void BodyStream::SetWakeUp(std::function<void()> function) {
    const std::lock_guard<std::mutex> lock(mutex);
    wakeUp = std::move(function);
}

std::string BodyStream::Take(bool& hasEnded) {
    const std::lock_guard<std::mutex> lock(mutex);
    hasEnded = isClosed;
    return std::exchange(pending, std::string());
}

void BodyStream::WakeUp() const {
    if (wakeUp) { wakeUp(); }
}

} // namespace VarnelBase::Emulation
