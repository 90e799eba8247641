#pragma once

#include <HeaderLine.h>
#include <WriteJson.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <functional>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "BodyStream.h"

namespace VarnelBase::Emulation {

using nlohmann::json;

/// Whether a header's name is one of these, in letters of any case.
bool IsHeader(const std::string& name, std::initializer_list<const char*> names);

/// Whether a header tells a browser which pages may read an answer.
bool IsAccessControl(const std::string& name);

/// A request as it arrived.
struct Request {
    std::string method;
    std::string target; ///< as it came, nothing decoded; may be absolute ("http://host/path?query")
    std::vector<HeaderLine> headers;
    std::string body;
    bool isHttp11 = true;
    bool isKeptAlive = false; ///< whether the client wants to use its connection again

    /// The target from its path up to its query, nothing decoded.
    std::string GetPath() const;

    /// What the request was sent to, "host:port": from an absolute target, else the header Host.
    std::string GetAuthority() const;

    /// Value of the first header of that name, in letters of any case; empty without one.
    std::string FindHeader(const std::string& name) const;
};

/// What is sent back.
struct Answer {
    int status = 200;
    std::string body;
    std::string contentType = "application/json";
    std::vector<HeaderLine> headers;

    /// Sent in place of the body, as it is written: server-sent events, say.
    std::shared_ptr<BodyStream> stream;

    /// Makes the answer in place of all the members above, in a thread of its own: for what waits
    /// for others, which would hold up every other request. It ends soon after `isStopping` becomes
    /// true.
    std::function<Answer(const std::atomic<bool>& isStopping)> later;
};

/// Why a request is not carried out: becomes an answer with an error document.
class Refusal : public std::runtime_error {
public:
    Refusal(int httpStatus, std::string errorCode, const std::string& message);

    int GetStatus() const { return status; }
    const std::string& GetCode() const { return code; }
    const std::string& GetMessage() const { return text; } ///< whole, where what() ends at a NUL

private:
    int status;
    std::string code;
    std::string text;
};

/// A document of a bounded depth, so that whatever walks it stays within its stack.
///
/// @throws Refusal 400 when the text is not one JSON value or nests too deep
json ReadJson(const std::string& text);

Answer MakeJsonAnswer(int status, const json& document);
Answer MakeErrorAnswer(int status, const std::string& code, const std::string& message);

} // namespace VarnelBase::Emulation
