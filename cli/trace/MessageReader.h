#pragma once

#include <boost/beast/http/parser.hpp>

#include <optional>
#include <string>
#include <string_view>

#include "trace/TracedExchange.h"

namespace VarnelBase {

/// A body for the parser, whose bytes are counted, and kept as long as they are not too many.
struct KeptBody {
    // NOLINTBEGIN(readability-identifier-naming): the parser looks for these names
    struct value_type : TracedBody {
        std::size_t limit = 0;
    };

    class reader {
    public:
        template <typename Head>
        reader(Head& /*head*/, value_type& used) : body(used) {}

        static void init(const boost::optional<std::uint64_t>& /*length*/,
                         boost::beast::error_code& error) {
            error = {};
        }

        std::size_t put(const boost::asio::const_buffer& part, boost::beast::error_code& error) {
            error = {};
            body.size += part.size();
            body.bytes.append(static_cast<const char*>(part.data()), part.size());
            body.isKept = body.size <= body.limit;
            if (!body.isKept) { body.bytes.clear(); }
            return part.size();
        }

        static void finish(boost::beast::error_code& error) { error = {}; }

    private:
        value_type& body;
    };
    // NOLINTEND(readability-identifier-naming)
};

/// Follows one HTTP/1.1 message as its bytes pass by, and keeps a part of its body.
template <bool IsRequest>
class MessageReader {
public:
    /// @param keptBytes longer bodies are not kept
    /// @param isBare    an answer to HEAD, which has no body whatever its headers say
    explicit MessageReader(std::size_t keptBytes, bool isBare = false)
        : limit(keptBytes), hasNoBody(isBare) {
        BeginMessage();
    }

    /// Takes what belongs to the message; everything once it is malformed.
    ///
    /// @return how many of the bytes these are
    std::size_t Take(std::string_view bytes);

    /// The connection has ended.
    void End();

    bool IsComplete() const { return problem.empty() && parser->is_done(); }

    /// The head as far as it has come.
    HttpHead GetHead() const;

    /// The body without chunks.
    const TracedBody& GetBody() const { return parser->get().body(); }

    /// What is wrong with the message: "ended after 10 of 100 bytes"; empty: nothing so far.
    const std::string& GetProblem() const { return problem; }

private:
    using Parser = boost::beast::http::parser<IsRequest, KeptBody>;

    void BeginMessage();
    bool IsHttp() const;

    std::size_t limit;
    bool hasNoBody;
    std::string waiting; ///< bytes that make no sense without those that follow
    std::optional<Parser> parser;
    std::string problem;
};

using RequestReader = MessageReader<true>;
using ResponseReader = MessageReader<false>;

} // namespace VarnelBase
