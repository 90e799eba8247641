#include "ProgramClock.h"

#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <utility>

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using VarnelBase::ProgramClock;

namespace {

constexpr long NanosecondsInSecond = 1000000000;

timespec ReadSystemClock(clockid_t clock) {
    timespec time{};
    syscall(SYS_clock_gettime, clock, &time);
    return time;
}

/// What a clock showed at first, and what has passed since.
timespec ReadClock(clockid_t clock) {
    static const timespec realStart = ReadSystemClock(CLOCK_REALTIME);
    static const timespec monotonicStart = ReadSystemClock(CLOCK_MONOTONIC);
    timespec time = clock == CLOCK_REALTIME ? realStart : monotonicStart;
    const auto sum = nanoseconds(ProgramClock::Get().passed).count() + time.tv_nsec;
    time.tv_sec += sum / NanosecondsInSecond;
    time.tv_nsec = sum % NanosecondsInSecond;
    return time;
}

/// Waits for a socket by a system call, unless that is in vain, and lets the clocks go on.
int Wait(milliseconds timeout, bool isForBytes, const std::function<long(timespec*)>& call) {
    ProgramClock& clock = ProgramClock::Get();
    if (clock.atWait) { std::exchange(clock.atWait, nullptr)(); }
    clock.passed += clock.perWait;
    const bool isInVain = clock.isPeerSilent && isForBytes && timeout > milliseconds(0);
    timespec time{timeout.count() / 1000, timeout.count() % 1000 * 1000000};
    const long ready = isInVain ? 0 : call(timeout < milliseconds(0) ? nullptr : &time);
    if (ready == 0) { clock.passed += timeout; }
    return static_cast<int>(ready);
}

} // namespace

namespace VarnelBase {

ProgramClock& ProgramClock::Get() {
    static ProgramClock clock;
    return clock;
}

} // namespace VarnelBase

// In place of the C library's.

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const bool isOurs = clock == CLOCK_REALTIME || clock == CLOCK_MONOTONIC;
    *time = isOurs ? ReadClock(clock) : ReadSystemClock(clock);
    return 0;
}

extern "C" time_t time(time_t* result) noexcept {
    const time_t now = ReadClock(CLOCK_REALTIME).tv_sec;
    if (result != nullptr) { *result = now; }
    return now;
}

extern "C" int nanosleep(const timespec* time, timespec* /*left*/) {
    ProgramClock& clock = ProgramClock::Get();
    if (clock.atSleep) { clock.atSleep(); }
    clock.passed += milliseconds(time->tv_sec * 1000 + time->tv_nsec / 1000000);
    return 0;
}

extern "C" int select(int count, fd_set* toRead, fd_set* toWrite, fd_set* failed,
                      timeval* timeout) {
    const milliseconds longest(
        timeout == nullptr ? -1 : timeout->tv_sec * 1000 + timeout->tv_usec / 1000);
    return Wait(longest, toWrite == nullptr, [&](timespec* time) {
        return syscall(SYS_pselect6, count, toRead, toWrite, failed, time, nullptr);
    });
}

extern "C" int poll(pollfd* sockets, nfds_t count, int timeout) {
    const bool isForBytes = std::all_of(sockets, sockets + count,
                                        [](const pollfd& one) { return one.events == POLLIN; });
    return Wait(milliseconds(timeout), isForBytes, [&](timespec* time) {
        return syscall(SYS_ppoll, sockets, count, time, nullptr, 0);
    });
}

extern "C" int listen(int socket, int count) noexcept {
    const auto result = static_cast<int>(syscall(SYS_listen, socket, count));
    if (const auto& atListen = ProgramClock::Get().atListen) { atListen(socket); }
    return result;
}
