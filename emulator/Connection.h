#pragma once

#include <httplib.h>

#include <array>
#include <chrono>
#include <string>
#include <string_view>

#include "StopSignal.h"

namespace VarnelBase::Emulation {

/// What the streams of some releases of cpp-httplib have and those of others lack.
class AnyReleaseStream : public httplib::Stream {
public:
    // NOLINTBEGIN(readability-identifier-naming, modernize-use-override): no override everywhere
    virtual bool is_writable() const { return true; }
    virtual bool wait_readable() const { return is_readable(); }
    virtual bool wait_writable() const { return true; }
    virtual time_t duration() const { return 0; }
    // NOLINTEND(readability-identifier-naming, modernize-use-override)
};

/// A client's connection. It remembers the head of the request as it came, and keeps what is
/// written back until somebody decides how it is sent.
class Connection : public AnyReleaseStream {
public:
    /// @param accepted closed at the end of this object
    Connection(socket_t accepted, const StopSignal& signal) : peer(accepted), stop(signal) {}
    ~Connection() override;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Waits until the next request begins; false: it does not within the time, or the end has
    /// come.
    bool AwaitRequest(std::chrono::milliseconds time);

    /// Forgets the request before and starts the time that this one may take to arrive.
    void BeginRequest();

    const std::string& GetHead() const { return head; }
    bool IsHeadTooLarge() const { return isHeadTooLarge; }

    /// What was written since the last call, or since BeginRequest.
    std::string TakeOutput();

    /// Sends bytes at once; false: the other side takes no more.
    bool Send(std::string_view bytes);

    /// Ends with a TCP reset instead of an orderly close.
    void CloseWithReset();

    /// Tells the other side that nothing follows and reads on for a while: closing with unread
    /// bytes would throw the answer away that is on its way.
    void DrainBeforeClose();

    // What cpp-httplib's server uses.
    bool is_readable() const override { return true; }
    ssize_t read(char* bytes, size_t size) override;
    ssize_t write(const char* bytes, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    /// None: the server only refuses descriptors that are too large for select, which nobody uses.
    socket_t socket() const override { return INVALID_SOCKET; }

private:
    using Clock = std::chrono::steady_clock;

    /// Takes what has arrived, or what arrives until then; false: nothing does. The end leaves
    /// requests a moment, and none to connections between two of them.
    bool Fill(Clock::time_point deadline, bool isBetweenRequests);
    void RememberHead(std::string_view bytes);

    socket_t peer;
    const StopSignal& stop;
    std::array<char, 16384> buffer{};
    std::size_t bufferBegin = 0;
    std::size_t bufferEnd = 0;
    std::string head;
    bool isHeadComplete = false;
    bool isHeadTooLarge = false;
    std::string output;
    Clock::time_point requestDeadline;
};

} // namespace VarnelBase::Emulation
