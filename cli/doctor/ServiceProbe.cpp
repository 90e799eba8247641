#include "doctor/ServiceProbe.h"

#include <Utf8Text.h>
#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>

#include <set>

namespace VarnelBase {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
using asio::ip::tcp;
using beast::error_code;

constexpr std::size_t ShownBytes = 40;

/// Waits for what was begun; a time-out is an error like any other.
void Await(asio::io_context& context) {
    context.restart();
    context.run();
}

/// Tells what an answer that has no HTTP head is instead.
void DescribeOther(ServiceProbe& probe, const std::string& begun, bool isLate) {
    probe.advice = "check that apiHost and apiPort are the service's";
    if (begun.empty() && isLate) {
        probe.protocolProblem = "accepts connections but says nothing within --timeout";
    } else if (begun.empty()) {
        probe.protocolProblem = "accepts connections and closes them without an answer";
        probe.advice += "; if it speaks TLS, use --tls or set VARNEL_API_TLS=1";
    } else if (begun.front() == '\x15') {
        probe.protocolProblem = "speaks TLS, not plain HTTP";
        probe.advice = "reach it with --tls or VARNEL_API_TLS=1";
    } else {
        probe.protocolProblem =
            "does not speak HTTP: its answer begins with " + MakePrintable(begun);
    }
}

void AskOverHttp(ServiceProbe& probe, asio::io_context& context, beast::tcp_stream& stream,
                 const std::string& authority, std::chrono::milliseconds patience) {
    const std::string request =
        "GET /version HTTP/1.1\r\nHost: " + authority + "\r\nConnection: close\r\n\r\n";
    error_code error;
    stream.socket().send(asio::buffer(request), 0, error);
    beast::flat_buffer received;
    beast::http::response_parser<beast::http::empty_body> answer;
    stream.expires_after(patience);
    beast::http::async_read_header(stream, received, answer,
                                   [&](error_code failure, std::size_t) { error = failure; });
    Await(context);
    if (!error) {
        const auto date = answer.get()[beast::http::field::date];
        probe.date.assign(date.data(), date.size());
        return;
    }
    const auto bytes = received.data();
    const std::string begun(static_cast<const char*>(bytes.data()),
                            std::min(bytes.size(), ShownBytes));
    DescribeOther(probe, begun, error == beast::error::timeout);
}

} // namespace

std::vector<std::string> ResolveHost(const std::string& host, std::string& problem) {
    asio::io_context context;
    error_code error;
    std::vector<std::string> addresses;
    for (const auto& found : tcp::resolver(context).resolve(host, "", error)) {
        addresses.push_back(found.endpoint().address().to_string());
    }
    if (error) {
        problem = "the host name \"" + host + "\" does not resolve";
        if (error != asio::error::host_not_found) { problem += ": " + error.message(); }
    }
    return addresses;
}

ServiceProbe ProbeService(const std::string& host, unsigned int port, bool isTls,
                          std::chrono::milliseconds patience) {
    ServiceProbe probe;
    asio::io_context context;
    error_code error;
    const auto found = tcp::resolver(context).resolve(host, std::to_string(port), error);
    beast::tcp_stream stream(context);
    const auto start = std::chrono::steady_clock::now();
    if (!error) {
        stream.expires_after(patience);
        stream.async_connect(found,
                             [&](error_code failure, const tcp::endpoint&) { error = failure; });
        Await(context);
    }
    const std::string authority = host + ":" + std::to_string(port);
    probe.connecting = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    if (error) {
        probe.portProblem = host + " port " + std::to_string(port) + ": " + error.message();
    } else if (!isTls) {
        AskOverHttp(probe, context, stream, authority, patience);
    }
    return probe;
}

} // namespace VarnelBase
