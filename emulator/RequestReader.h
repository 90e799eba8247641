#pragma once

#include <memory>
#include <string_view>

#include "Messages.h"

namespace VarnelBase::Emulation {

/// Reads one request out of the bytes of a connection.
class RequestReader {
public:
    enum class State { Head, Body, Whole, Bad };

    RequestReader();
    ~RequestReader();
    RequestReader(const RequestReader&) = delete;
    RequestReader& operator=(const RequestReader&) = delete;

    /// Reads on, and stops where the head ends and where the request ends.
    ///
    /// @param bytes those that the last call has not used, and what has arrived since
    /// @return how many were used
    std::size_t Read(std::string_view bytes);

    State GetState() const;

    /// The request, as far as it was read.
    Request& GetRequest();

    /// Whether the client waits for "100 Continue" before it sends the body.
    bool IsContinueExpected() const;

    /// What a bad request gets; the connection is closed then, since nobody knows where the next
    /// request begins.
    Answer TakeRefusal();

private:
    class Parser;
    std::unique_ptr<Parser> parser;
};

} // namespace VarnelBase::Emulation
