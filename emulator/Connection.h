#pragma once

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/beast/core/flat_buffer.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "ClientStream.h"
#include "Delivery.h"
#include "HttpServer.h"
#include "RequestHead.h"

namespace VarnelBase::Emulation {

class Connection;

/// What the connections of a server share. Except for `isStopping`, and what says so itself, all of
/// it belongs to the server's thread.
struct ServerParts {
    explicit ServerParts(ServerCallbacks functions) : callbacks(std::move(functions)) {}

    ServerCallbacks callbacks;
    boost::asio::io_context loop{1};
    std::optional<boost::asio::ssl::context> tls;
    std::atomic<bool> isStopping{false};
    std::unordered_set<std::shared_ptr<Connection>> connections;
    std::array<char, 65536> unused{};                  ///< receives what is discarded
    std::unique_ptr<boost::asio::thread_pool> waiters; ///< carry out what waits for others
};

/// A client's connection: reads requests, has them carried out, and sends the answers, one after
/// the other. It lives as long as it is one of its server's connections or waits for something.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    using Clock = std::chrono::steady_clock;

    /// @param accepted closed at the end
    Connection(ServerParts& shared, int accepted);

    void Start();

    /// Closes what has taken too long.
    void CheckTime(Clock::time_point now);

    /// Closes between two requests, and hurries otherwise.
    void Stop();

private:
    using Error = boost::system::error_code;
    using Step = void (Connection::*)();

    auto Continue(Step step);
    void SetTimeLeft(std::chrono::milliseconds time);
    void AwaitTime(double seconds, Step step);

    std::string_view GetArrived() const;
    void ReadHead();
    void BeginRequest(const Error& error);
    void ReadBody();
    void EndRequest(const Error& error);
    void Deliver(Answer answer);
    void DeliverLater(Answer answer);
    void BeginSending();
    void Send();
    void SendMore();
    void SendStream();
    void SkipInput();
    void EndAnswer();
    void Close();

    ServerParts& parts;
    ClientStream stream;
    Clock::time_point deadline;
    std::unique_ptr<boost::asio::steady_timer> timer; ///< of delays; most connections have none

    boost::beast::flat_buffer arrived; ///< what the parser has not used yet
    std::optional<RequestParser> parser;
    bool isBetweenRequests = true;
    Clock::time_point begin; ///< of the request
    Exchange exchange;
    std::optional<Fault> fault;

    std::optional<Delivery> delivery; ///< the answer that is sent
    std::string part;                 ///< of what follows its bytes
    std::string_view unsent;          ///< of its bytes, or of the part
    bool isAwaitingStream = false;
};

} // namespace VarnelBase::Emulation
