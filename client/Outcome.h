#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <stdexcept>
#include <string>

namespace VarnelBase {

/// The document type of every request body and every result.
using json = nlohmann::json;

/// Why a call did not succeed.
enum class Failure {
    None,            ///< it succeeded
    Offline,         ///< the settings say offline
    NotSignedIn,     ///< no access token, or none that can be used
    CannotResolve,   ///< the name of the service's host, or of the proxy, does not resolve
    CannotConnect,   ///< nobody accepts a connection there, or not in time
    Untrusted,       ///< the service's certificate is not accepted
    Interrupted,     ///< the connection broke before the answer was complete
    TimedOut,        ///< the call's time was over
    Cancelled,       ///< another thread cancelled it
    BadRequest,      ///< answered with 400
    Unauthorized,    ///< answered with 401
    Forbidden,       ///< answered with 403
    NotFound,        ///< answered with 404
    Conflict,        ///< answered with 409
    Unprocessable,   ///< answered with 422
    TooManyRequests, ///< answered with 429
    Refused,         ///< answered with another status from 300 to 499
    ServiceError,    ///< answered with a status from 500 on
    Unreadable,      ///< the answer is not HTTP, or not the document that was asked for
    TooLarge,        ///< the answer exceeds one of the limits
    NotSaved,        ///< a project file could not be written
};

/// The enumerator's name: "NotFound".
const char* NameFailure(Failure failure);

/// How far a request came.
enum class SentState {
    NotSent,         ///< the service has seen none of it
    MayHaveBeenSent, ///< some of it went out, and no answer came: the service may have acted on it
    Answered,        ///< the service answered with a status
};

/// What became of a call.
struct [[nodiscard]] Outcome {
    Failure failure = Failure::None; ///< its kind

    /// What happened and why, for a person to read; empty after success. Holds no token.
    std::string message;

    /// The answer's document. After a failure the service's error document, if it sent one; null
    /// where the answer has none.
    json document;

    /// The answer's bytes as they came, with numbers that `document` cannot hold.
    std::string text;

    int status = 0; ///< of the answer; 0 without one

    /// The service's own words, where its error document has them: the members "code" and
    /// "message" of "error" or of the document itself, or those of RFC 9457 ("type", "detail").
    std::string serviceCode;
    std::string serviceMessage; ///< see `serviceCode`

    SentState sent = SentState::NotSent;   ///< of the attempt that went furthest
    int attempts = 0;                      ///< how often the request was tried
    std::chrono::microseconds duration{0}; ///< of the call as a whole

    /// Whether the service answered with a status from 200 to 299, and as the operation has it.
    bool Succeeded() const { return failure == Failure::None; }
    /// `Succeeded()`, so that an outcome can be a condition.
    explicit operator bool() const { return Succeeded(); }
};

/// A failed call where there is no `Outcome` to return: in the middle of a listing.
class CallFailed : public std::runtime_error {
public:
    /// The error with the outcome's message.
    explicit CallFailed(Outcome failed)
        : std::runtime_error(failed.message), outcome(std::move(failed)) {}

    /// What became of the call.
    const Outcome& GetOutcome() const { return outcome; }

private:
    Outcome outcome;
};

} // namespace VarnelBase
