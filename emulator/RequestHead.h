#pragma once

#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <optional>
#include <string_view>

#include "Messages.h"

namespace VarnelBase::Emulation {

/// Of the request line, of the headers, and of the trailers: the parser throws at a longer field.
constexpr std::uint32_t MaxHeadBytes = 65536;

/// Reads a request within the limits of this server.
struct RequestParser : boost::beast::http::request_parser<boost::beast::http::string_body> {
    RequestParser();
};

/// Whether a line of a head that is not read to its end ends without "\r".
bool HasBareLineFeed(std::string_view bytes);

/// The request as far as it was read, but for its body.
Request CopyHead(const RequestParser& parser);

/// The refusal of a request whose head can be read, but not relied on: one program would read it in
/// one way and another one in another.
std::optional<Answer> CheckHead(const Request& request);

/// Whether the client waits for "100 Continue" before it sends the body.
bool IsContinueExpected(const Request& request);

/// The refusal of a request that cannot be read.
///
/// @param head  what was read
/// @param bytes what was not
Answer ExplainMisuse(const boost::system::error_code& error, const Request& head,
                     std::string_view bytes);

} // namespace VarnelBase::Emulation
