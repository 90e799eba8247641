// A request to the listener that awaits the browser: the input is the request, in which STATE
// stands for the state that only the browser knows. Only the good callback may be taken for one.
#include <cstdint>
#include <cstdlib>

#include "CallbackServer.h"

namespace {

/// Reads the input and forgets what is written.
class InputStream final : public httplib::Stream {
public:
    explicit InputStream(std::string bytes) : input(std::move(bytes)) {}
    bool is_readable() const override { return true; }
    bool is_writable() const override { return true; }
    ssize_t read(char* bytes, std::size_t size) override {
        const std::size_t count = input.copy(bytes, size, at);
        at += count;
        return static_cast<ssize_t>(count);
    }
    ssize_t write(const char* /*bytes*/, std::size_t size) override {
        return static_cast<ssize_t>(size);
    }
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    socket_t socket() const override { return -1; }

private:
    std::string input;
    std::size_t at = 0;
};

class Listener : public httplib::Server {
public:
    void Answer(httplib::Stream& stream) {
        bool isClosed = false;
        process_request(stream, true, isClosed, nullptr);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using VarnelBase::LoginAttempt;
    static Listener listener;
    static LoginAttempt attempt(std::chrono::hours(1000));
    static const bool isReady = [] {
        attempt.redirectUri = "http://127.0.0.1:8080/callback";
        VarnelBase::PrepareCallbackServer(listener, attempt, [](const auto& request, auto&) {
            attempt.CheckIssuer(request, {"https://id.example", "", {}, true});
            if (attempt.AddSecrets(request).get_param_value("code_verifier").size() != 43) {
                std::abort();
            }
        });
        return true;
    }();
    static const std::string query = attempt.BuildQuery("client", "openid");
    static const std::string state = query.substr(query.find("&state=") + 7, 43);
    std::string request(data, data + size);
    const std::size_t place = request.find("STATE");
    if (place != std::string::npos) { request.replace(place, 5, state); }
    InputStream stream(request);
    listener.Answer(stream);
    if (attempt.isOver && place == std::string::npos) { std::abort(); }
    attempt.isOver = !isReady;
    return 0;
}
