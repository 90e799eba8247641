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

milliseconds Convert(const timespec& time) {
    return milliseconds(time.tv_sec * 1000 + time.tv_nsec / 1000000);
}

/// Whether a wait for bytes ends here, by its time-out.
bool EndsInSilence(milliseconds timeout, bool isForBytes) {
    ProgramClock& clock = ProgramClock::Get();
    if (clock.atWait) { std::exchange(clock.atWait, nullptr)(); }
    clock.passed += clock.perWait;
    if (!clock.isPeerSilent || !isForBytes || timeout <= milliseconds(0)) { return false; }
    clock.passed += timeout;
    return true;
}

int Sleep(const timespec& time) {
    ProgramClock& clock = ProgramClock::Get();
    if (clock.atSleep) { clock.atSleep(); }
    clock.passed += Convert(time);
    return 0;
}

} // namespace

namespace VarnelBase {

ProgramClock& ProgramClock::Get() {
    static ProgramClock clock;
    return clock;
}

double ProgramClock::GetTime() const {
    return static_cast<double>(std::time(nullptr));
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
    return Sleep(*time);
}

extern "C" int clock_nanosleep(clockid_t /*clock*/, int /*flags*/, const timespec* time,
                               timespec* /*left*/) {
    return Sleep(*time);
}

extern "C" int select(int count, fd_set* toRead, fd_set* toWrite, fd_set* failed,
                      timeval* timeout) {
    timespec time{timeout == nullptr ? 0 : timeout->tv_sec,
                  timeout == nullptr ? 0 : timeout->tv_usec * 1000};
    if (timeout != nullptr && EndsInSilence(Convert(time), toWrite == nullptr)) { return 0; }
    const auto ready = static_cast<int>(syscall(SYS_pselect6, count, toRead, toWrite, failed,
                                                timeout == nullptr ? nullptr : &time, nullptr));
    if (ready == 0) {
        ProgramClock::Get().passed +=
            milliseconds(timeout->tv_sec * 1000 + timeout->tv_usec / 1000);
    }
    return ready;
}

extern "C" int poll(pollfd* sockets, nfds_t count, int timeout) {
    const bool isForBytes = std::all_of(sockets, sockets + count,
                                        [](const pollfd& one) { return one.events == POLLIN; });
    if (EndsInSilence(milliseconds(timeout), isForBytes)) { return 0; }
    timespec time{timeout / 1000, timeout % 1000 * 1000000L};
    const auto ready = static_cast<int>(
        syscall(SYS_ppoll, sockets, count, timeout < 0 ? nullptr : &time, nullptr, 0));
    if (ready == 0) { ProgramClock::Get().passed += milliseconds(timeout); }
    return ready;
}

extern "C" int listen(int socket, int count) noexcept {
    const auto result = static_cast<int>(syscall(SYS_listen, socket, count));
    if (const auto& atListen = ProgramClock::Get().atListen) { atListen(socket); }
    return result;
}
