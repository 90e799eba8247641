#include "StopSignal.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace VarnelBase::Emulation {

StopSignal::StopSignal() : descriptor(eventfd(0, EFD_CLOEXEC)) {
    if (descriptor < 0) { throw std::system_error(errno, std::generic_category(), "eventfd"); }
}

StopSignal::~StopSignal() {
    close(descriptor);
}

void StopSignal::Raise() {
    eventfd_write(descriptor, 1);
}

bool StopSignal::Wait(std::chrono::milliseconds time) const {
    pollfd waited{descriptor, POLLIN, 0};
    return poll(&waited, 1, static_cast<int>(time.count())) > 0;
}

} // namespace VarnelBase::Emulation
