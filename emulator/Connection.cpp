#include "Connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace VarnelBase::Emulation {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t MaxHeadBytes = 65536;
constexpr milliseconds RequestTime{30000};
constexpr milliseconds TimeAfterStop{1000};
constexpr milliseconds DrainTime{500};
constexpr std::size_t MaxDrainBytes = std::size_t{4} << 20U;

} // namespace

Connection::~Connection() {
    close(peer);
}

bool Connection::Fill(Clock::time_point deadline, bool isBetweenRequests) {
    bool isStopping = false;
    while (true) {
        // Most often the bytes are there, and nothing needs to wait.
        const ssize_t received = recv(peer, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (received > 0) {
            bufferBegin = 0;
            bufferEnd = static_cast<std::size_t>(received);
            return true;
        }
        const bool isEmpty = received < 0 && (errno == EAGAIN || errno == EINTR);
        if (!isEmpty || (isStopping && isBetweenRequests)) { return false; }

        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
        std::array<pollfd, 2> waited{{{peer, POLLIN, 0}, {stop.GetDescriptor(), POLLIN, 0}}};
        const int ready = poll(waited.data(), isStopping ? 1 : 2,
                               static_cast<int>(std::max<decltype(left)>(left, 0)));
        if (ready == 0) { return false; }
        if (ready > 0 && !isStopping && waited[1].revents != 0) {
            isStopping = true;
            deadline = std::min(deadline, Clock::now() + TimeAfterStop);
        }
    }
}

bool Connection::AwaitRequest(milliseconds time) {
    return bufferBegin != bufferEnd || Fill(Clock::now() + time, true);
}

void Connection::BeginRequest() {
    head.clear();
    isHeadComplete = false;
    output.clear();
    requestDeadline = Clock::now() + RequestTime;
}

std::string Connection::TakeOutput() {
    return std::exchange(output, std::string());
}

bool Connection::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(peer, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) { continue; }
        if (sent <= 0) { return false; }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

void Connection::CloseWithReset() {
    const linger atOnce{1, 0};
    setsockopt(peer, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

void Connection::DrainBeforeClose() {
    shutdown(peer, SHUT_WR);
    const Clock::time_point deadline = Clock::now() + DrainTime;
    std::size_t drained = 0;
    while (drained < MaxDrainBytes && Fill(deadline, false)) { drained += bufferEnd; }
}

ssize_t Connection::read(char* bytes, size_t size) {
    if (isHeadTooLarge) { return -1; }
    if (bufferBegin == bufferEnd) {
        // The client may be waiting for "100 Continue" before it sends more.
        if (!output.empty() && !Send(TakeOutput())) { return -1; }
        if (!Fill(requestDeadline, false)) { return -1; }
    }
    const std::size_t length = std::min(size, bufferEnd - bufferBegin);
    std::copy_n(buffer.data() + bufferBegin, length, bytes);
    bufferBegin += length;
    if (!isHeadComplete) { RememberHead({bytes, length}); }
    return static_cast<ssize_t>(length);
}

void Connection::RememberHead(std::string_view bytes) {
    constexpr std::string_view end = "\n\r\n";
    head += bytes;
    isHeadComplete =
        head.size() >= end.size() && head.compare(head.size() - end.size(), end.size(), end) == 0;
    isHeadTooLarge = !isHeadComplete && head.size() >= MaxHeadBytes;
}

ssize_t Connection::write(const char* bytes, size_t size) {
    output.append(bytes, size);
    return static_cast<ssize_t>(size);
}

void Connection::get_remote_ip_and_port(std::string& ip, int& port) const {
    ip.clear();
    port = 0;
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const {
    ip.clear();
    port = 0;
}

} // namespace VarnelBase::Emulation
