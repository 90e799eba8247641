#pragma once

#include <httplib.h>

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "Connection.h"
#include "Faults.h"
#include "Messages.h"
#include "RequestLog.h"
#include "StopSignal.h"

namespace VarnelBase::Emulation {

/// What a server asks the emulator. Called from several threads at a time.
struct ServerCallbacks {
    /// The fault that a request meets whose head was read.
    std::function<std::optional<Fault>(const Request&)> chooseFault;
    /// Carries a request out.
    std::function<Answer(const Request&)> answer;
    /// Told of every request, before its answer is sent.
    std::function<void(Exchange)> record;
};

/// cpp-httplib's server with its hands on the connection, so that an answer can also be spoilt
/// below HTTP.
class ConnectionServer : public httplib::Server {
public:
    explicit ConnectionServer(ServerCallbacks functions);
    ~ConnectionServer() override;
    ConnectionServer(const ConnectionServer&) = delete;
    ConnectionServer& operator=(const ConnectionServer&) = delete;

    /// Listens and serves in threads of its own.
    ///
    /// @param wantedPort 0: a free one
    /// @return the port
    /// @throws std::runtime_error naming address and port
    int StartServing(const std::string& address, int wantedPort);

    /// Takes no further connections and returns when the requests in flight are answered. Any
    /// thread may call it.
    void StopServing();

private:
    struct InHand;

    // An override of a private function: cpp-httplib calls it for each connection.
    bool process_and_close_socket(socket_t accepted) override;

    /// Serves one request; false: the connection ends.
    bool ServeOne(Connection& connection, bool isLast);
    void PrepareRequest(httplib::Request& request) const;
    void AnswerRequest(const httplib::Request& request, httplib::Response& response) const;

    /// Sends an answer, spoilt if there is a fault; false: the connection ends.
    bool Deliver(Connection& connection, const Fault& fault, const std::string& bytes);

    ServerCallbacks callbacks;
    StopSignal stopSignal;
    std::thread listener;
    std::mutex stopping;

    /// The request that this thread serves: cpp-httplib hands nothing of ours to its handlers.
    static thread_local InHand* inHand;
};

} // namespace VarnelBase::Emulation
