#include "trace/MessageReader.h"

#include <BeastText.h>

#include <cstdint>
#include <limits>

namespace VarnelBase {

namespace {

using boost::beast::error_code;

constexpr std::uint32_t MaxHeadBytes = std::uint32_t{1} << 20U;

bool IsInterim(int status) {
    return status >= 100 && status <= 199 && status != 101;
}

void ReadFirstLine(const boost::beast::http::request_header<>& message, HttpHead& head) {
    head.method = std::string(message.method_string());
    head.target = std::string(message.target());
}

void ReadFirstLine(const boost::beast::http::response_header<>& message, HttpHead& head) {
    head.status = static_cast<int>(message.result_int());
    head.reason = std::string(message.reason());
}

} // namespace

template <bool IsRequest>
void MessageReader<IsRequest>::BeginMessage() {
    parser.emplace();
    parser->header_limit(MaxHeadBytes);
    parser->body_limit(std::numeric_limits<std::uint64_t>::max());
    parser->skip(hasNoBody);
    parser->get().body().limit = limit;
    if constexpr (!IsRequest) { parser->get().result(0U); }
}

template <bool IsRequest>
std::size_t MessageReader<IsRequest>::Take(std::string_view bytes) {
    if (!problem.empty()) { return bytes.size(); }
    if (parser->is_done()) { return 0; }
    const std::size_t before = waiting.size();
    waiting += bytes;
    std::size_t used = 0;
    error_code error;
    while (used < waiting.size() && !error && !parser->is_done()) {
        used +=
            parser->put(boost::asio::buffer(waiting.data() + used, waiting.size() - used), error);
        if (parser->is_done() && IsInterim(GetHead().status)) { BeginMessage(); }
    }
    if (error && error != boost::beast::http::error::need_more) {
        problem = IsHttp() ? "is malformed: " + error.message() : "is not HTTP";
    }
    waiting.erase(0, used);
    return IsComplete() ? used - before : bytes.size();
}

template <bool IsRequest>
void MessageReader<IsRequest>::End() {
    if (!problem.empty() || parser->is_done()) { return; }
    if (!parser->is_header_done()) {
        problem = !parser->got_some() ? "did not come"
                  : IsHttp()          ? "ended within its header"
                                      : "is not HTTP";
    } else if (parser->chunked()) {
        problem = "ended in the middle of its chunks";
    } else if (parser->content_length()) {
        problem = "ended after " + std::to_string(GetBody().size) + " of " +
                  std::to_string(*parser->content_length()) + " bytes";
    } else {
        error_code error;
        parser->put_eof(error); // its body is what has come
    }
}

template <bool IsRequest>
bool MessageReader<IsRequest>::IsHttp() const {
    return IsRequest || GetHead().status != 0 || waiting.rfind("HTTP/", 0) == 0;
}

template <bool IsRequest>
HttpHead MessageReader<IsRequest>::GetHead() const {
    const auto& message = parser->get();
    HttpHead head;
    ReadFirstLine(message, head);
    head.version = message.version() == 10 ? "HTTP/1.0" : "HTTP/1.1";
    for (const auto& field : message) {
        head.headers.emplace_back(field.name_string(), field.value());
    }
    return head;
}

template class MessageReader<true>;
template class MessageReader<false>;

} // namespace VarnelBase
