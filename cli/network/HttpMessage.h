#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VarnelBase {

/// The first line and the headers of an HTTP/1.1 message (RFC 9112).
struct HttpHead {
    std::string method; ///< of a request
    std::string target;
    std::string version;
    int status = 0; ///< of a response
    std::string reason;
    std::vector<std::pair<std::string, std::string>> headers;
    std::size_t size = 0; ///< in bytes, with the empty line

    /// The first header of that name, in letters of any case; empty: there is none.
    std::string Find(const std::string& name) const;
};

/// The token in the header "Authorization"; empty: there is none.
std::string ReadBearerToken(const HttpHead& request);

/// What a head may take.
inline constexpr std::size_t MaxHttpHeadBytes = std::size_t{1} << 20U;

/// Where the head ends that begins the bytes, behind its empty line; npos: it is not complete.
std::size_t FindHeadEnd(std::string_view bytes);

/// Reads a complete head as well as it can be: what makes no sense in it is left out.
HttpHead ParseHead(const std::string& head);

/// The head with another value for a header that it has.
std::string ReplaceHeader(const std::string& head, const std::string& name,
                          const std::string& value);

/// Follows one message as its bytes pass by, and keeps a part of its body.
class MessageReader {
public:
    /// @param request  the request that a response answers; none: this is a request
    /// @param maxBody  bytes of the body to keep
    MessageReader(const HttpHead* request, std::size_t maxBody)
        : answered(request), limit(maxBody) {}

    /// Takes what belongs to the message.
    ///
    /// @return how many of the bytes these are
    std::size_t Take(std::string_view bytes);

    /// The connection has ended.
    void End();

    bool HasHead() const { return state != State::Head; }
    bool IsComplete() const { return state == State::Complete; }
    const HttpHead& GetHead() const { return head; }

    /// The body without chunks, unless it is longer than what is kept.
    const std::string& GetBody() const { return body; }
    bool IsBodyWhole() const { return bodyBytes == body.size(); }
    std::size_t GetBodyBytes() const { return bodyBytes; }

    /// What is wrong with the message: "ended after 10 of 100 bytes"; empty: nothing so far.
    const std::string& GetProblem() const { return problem; }

private:
    enum class State { Head, Length, Close, ChunkSize, Chunk, ChunkEnd, Trailer, Complete, Broken };

    std::size_t TakeHead(std::string_view bytes);
    std::size_t TakeLine(std::string_view bytes);
    std::size_t TakeBody(std::string_view bytes);
    void BeginBody();
    void Break(const std::string& reason);

    const HttpHead* answered;
    std::size_t limit;
    State state = State::Head;
    std::string collected; ///< of a head or line that is not complete
    HttpHead head;
    std::string body;
    std::size_t bodyBytes = 0;
    std::size_t left = 0; ///< of the body, or of the chunk
    std::size_t length = 0;
    std::string problem;
};

} // namespace VarnelBase
