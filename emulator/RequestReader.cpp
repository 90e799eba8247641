#include "RequestReader.h"

#include <strings.h>
#include <boost/beast/http/basic_parser.hpp>

#include <cctype>

namespace VarnelBase::Emulation {

namespace {

namespace http = boost::beast::http;
using boost::beast::error_code;
using boost::beast::string_view;

constexpr std::uint32_t MaxHeadBytes = 65536; ///< of the request line, and of the headers
constexpr std::uint64_t MaxBodyBytes = std::uint64_t{64} << 20U;

std::string ToText(string_view text) {
    return {text.data(), text.size()};
}

/// "host" or "host:port", which a browser or a proxy could not take for anything else.
bool IsAuthority(const std::string& text) {
    return text.find_first_of(" \t\",/\\?#@<>{}|^`") == std::string::npos;
}

bool IsTargetOf(const std::string& target, const std::string& method) {
    if (target[0] == '/' || (target == "*" && method == "OPTIONS")) { return true; }
    for (const std::string scheme : {"http://", "https://"}) {
        if (strncasecmp(target.c_str(), scheme.c_str(), scheme.size()) == 0) {
            const std::string rest = target.substr(scheme.size());
            const std::string authority = rest.substr(0, rest.find_first_of("/?"));
            return !authority.empty() && IsAuthority(authority);
        }
    }
    return false;
}

/// Whether a request line asks for a version of HTTP that is not spoken here.
bool HasOtherVersion(std::string_view bytes) {
    const std::string_view line = bytes.substr(0, bytes.find("\r\n"));
    const std::string_view version = line.substr(std::min(line.rfind(' ') + 1, line.size()));
    return version.size() == 8 && version != "HTTP/1.0" && version != "HTTP/1.1" &&
           version.substr(0, 5) == "HTTP/" && version[6] == '.' &&
           std::isdigit(static_cast<unsigned char>(version[5])) != 0 &&
           std::isdigit(static_cast<unsigned char>(version[7])) != 0;
}

} // namespace

class RequestReader::Parser : public http::basic_parser<true> {
public:
    Parser() {
        header_limit(MaxHeadBytes);
        body_limit(MaxBodyBytes);
    }

    std::size_t Read(std::string_view bytes) {
        error_code error;
        const bool wasHead = state == State::Head;
        eager(!wasHead);
        const std::size_t used = put(boost::asio::buffer(bytes.data(), bytes.size()), error);
        if (error && error != http::error::need_more) {
            Refuse(error, bytes);
        } else if (wasHead && is_header_done()) {
            state = is_done() ? State::Whole : State::Body;
            request.isKeptAlive = keep_alive();
        } else if (is_done()) {
            state = State::Whole;
        } else if (!wasHead && used == 0 && bytes.size() >= MaxHeadBytes) {
            SetRefusal(400, "a chunk's length with its extensions, or the trailer, is too long");
        }
        return used;
    }

    State state = State::Head;
    Request request;
    bool isContinueExpected = false;
    Answer refusal;

private:
    void SetRefusal(int status, const std::string& message) {
        state = State::Bad;
        const char* const code = status == 400   ? "bad_request"
                                 : status == 413 ? "content_too_large"
                                 : status == 414 ? "uri_too_long"
                                 : status == 417 ? "expectation_failed"
                                 : status == 431 ? "header_fields_too_large"
                                                 : "version_not_supported";
        refusal = MakeErrorAnswer(status, code, message);
    }

    void Refuse(error_code error, std::string_view bytes) {
        if (state == State::Bad) { return; }
        const std::string headLimit = std::to_string(MaxHeadBytes) + " bytes";
        if (error == http::error::header_limit) {
            const bool isLineTooLong =
                request.method.empty() && bytes.find('\n') == std::string_view::npos;
            SetRefusal(isLineTooLong ? 414 : 431,
                       isLineTooLong ? "the request line is longer than " + headLimit
                                     : "the headers are longer than " + headLimit);
        } else if (error == http::error::body_limit) {
            SetRefusal(413, "the body is longer than " + std::to_string(MaxBodyBytes) + " bytes");
        } else if (error == http::error::bad_version && HasOtherVersion(bytes)) {
            SetRefusal(505, "the version of HTTP must be 1.1 or 1.0");
        } else {
            SetRefusal(400, "the request is not valid HTTP: " + error.message());
        }
    }

    /// Refuses a request whose headers can be read, but not relied on.
    void Refuse(error_code& error, int status, const std::string& message) {
        SetRefusal(status, message);
        error = http::error::bad_value;
    }

    void on_request_impl(http::verb /*method*/, string_view method, string_view target, int version,
                         error_code& error) override {
        request.method = ToText(method);
        request.target = ToText(target);
        request.isHttp11 = version == 11;
        if (!IsTargetOf(request.target, request.method)) {
            Refuse(error, 400, "the target must be a path or an http URL");
        }
    }

    void on_field_impl(http::field field, string_view name, string_view value,
                       error_code& error) override {
        if (is_header_done()) { return; } // a trailer, whose fields are not headers
        const std::string text = ToText(value);
        if (field == http::field::host) {
            if (++hosts > 1 || !IsAuthority(text)) {
                Refuse(error, 400, "there must be one Host header, with a host and maybe a port");
            }
        } else if (field == http::field::content_length) {
            const bool isNumber = text.find_first_not_of("0123456789") == std::string::npos;
            if (++lengths > 1 || !isNumber) {
                Refuse(error, 400, "there must be one Content-Length, which is one number");
            }
        } else if (field == http::field::transfer_encoding) {
            if (!request.isHttp11 || strcasecmp(text.c_str(), "chunked") != 0) {
                Refuse(error, 400, "the only Transfer-Encoding that is read is chunked");
            }
        } else if (field == http::field::expect && request.isHttp11) {
            isContinueExpected = strcasecmp(text.c_str(), "100-continue") == 0;
            if (!isContinueExpected) {
                Refuse(error, 417, "the only expectation that can be met is 100-continue");
            }
        }
        request.headers.emplace_back(ToText(name), text);
    }

    void on_header_impl(error_code& error) override {
        if (hosts == 0 && request.isHttp11) { Refuse(error, 400, "the Host header is missing"); }
    }

    std::size_t on_body_impl(string_view part, error_code& /*error*/) override {
        request.body.append(part.data(), part.size());
        return part.size();
    }

    std::size_t on_chunk_body_impl(std::uint64_t /*left*/, string_view part,
                                   error_code& error) override {
        return on_body_impl(part, error);
    }

    void on_response_impl(int /*status*/, string_view /*reason*/, int /*version*/,
                          error_code& /*error*/) override {}
    void on_body_init_impl(const boost::optional<std::uint64_t>& /*length*/,
                           error_code& /*error*/) override {}
    void on_chunk_header_impl(std::uint64_t /*size*/, string_view /*extensions*/,
                              error_code& /*error*/) override {}
    void on_finish_impl(error_code& /*error*/) override {}

    int hosts = 0;
    int lengths = 0;
};

RequestReader::RequestReader() : parser(std::make_unique<Parser>()) {}

RequestReader::~RequestReader() = default;

std::size_t RequestReader::Read(std::string_view bytes) {
    return parser->Read(bytes);
}

RequestReader::State RequestReader::GetState() const {
    return parser->state;
}

Request& RequestReader::GetRequest() {
    return parser->request;
}

bool RequestReader::IsContinueExpected() const {
    return parser->isContinueExpected;
}

Answer RequestReader::TakeRefusal() {
    return std::move(parser->refusal);
}

} // namespace VarnelBase::Emulation
