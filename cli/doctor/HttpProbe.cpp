#include "doctor/HttpProbe.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>

#include "output/Utf8Text.h"

namespace VarnelBase {

namespace {

constexpr std::chrono::seconds ProbePatience{5};
constexpr std::size_t ShownBytes = 40;

/// Waits for bytes and reads them; nothing: there are no further ones, or none in time.
std::string ReceiveBytes(int socket, std::chrono::steady_clock::time_point deadline, bool& isLate) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd waiting{socket, POLLIN, 0};
    isLate = left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) <= 0;
    std::array<char, 4096> bytes{};
    const ssize_t count = isLate ? 0 : recv(socket, bytes.data(), bytes.size(), 0);
    return {bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

} // namespace

ProbeAnswer ProbeHttp(const TcpConnection& connection, const std::string& authority) {
    const std::string request =
        "GET /version HTTP/1.1\r\nHost: " + authority + "\r\nConnection: close\r\n\r\n";
    send(connection.socket.Get(), request.data(), request.size(), MSG_NOSIGNAL);
    const HttpHead sent = ParseHead(request);
    MessageReader answer(&sent, 0);
    std::string begun;
    bool isLate = false;
    const auto deadline = std::chrono::steady_clock::now() + ProbePatience;
    while (!answer.HasHead() && !isLate) {
        const std::string bytes = ReceiveBytes(connection.socket.Get(), deadline, isLate);
        if (bytes.empty()) { break; }
        answer.Take(bytes);
        begun = (begun + bytes).substr(0, ShownBytes);
    }
    if (answer.GetHead().status != 0) { return {answer.GetHead(), "", ""}; }
    const std::string advice = "check that apiHost and apiPort are the service's";
    if (begun.empty()) {
        return {
            {},
            isLate ? "accepts connections but says nothing within " +
                         std::to_string(ProbePatience.count()) + " s"
                   : "accepts connections and closes them without an answer",
            isLate ? advice : advice + "; where it speaks TLS, say --tls or set VARNEL_API_TLS=1"};
    }
    const bool isTls = begun.front() == '\x15';
    return {{},
            isTls ? "speaks TLS, not plain HTTP"
                  : "does not speak HTTP: its answer begins with " + MakePrintable(begun),
            isTls ? "reach it with --tls or VARNEL_API_TLS=1" : advice};
}

} // namespace VarnelBase
