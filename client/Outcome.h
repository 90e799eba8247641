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
    Offline,         ///< offline mode is on
    NotSignedIn,     ///< no access token, or an invalid one
    CannotResolve,   ///< the name of the service's host, or of the proxy, does not resolve
    CannotConnect,   ///< no connection was accepted, or not in time
    Untrusted,       ///< the service's certificate is not accepted
    Interrupted,     ///< the connection broke before the answer was complete
    TimedOut,        ///< the call's time-out expired
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
    Unreadable,      ///< the answer is not HTTP, or not the expected document
    TooLarge,        ///< the answer exceeds one of the limits
    NotSaved,        ///< a project file could not be written
};

/// The enumerator's name: "NotFound".
const char* NameFailure(Failure failure);

/// Whether the same call may succeed later although nobody changes anything: the network failed, or
/// the service is busy or at fault. False for `None`.
bool MayPass(Failure failure);

/// How far a request got.
enum class SentState {
    NotSent,         ///< the service has received none of it
    MayHaveBeenSent, ///< some of it was sent, without an answer: the service may have acted on it
    Answered,        ///< the service answered with a status
};

/// The result of a call.
struct [[nodiscard]] Outcome {
    Failure failure = Failure::None; ///< why the call failed

    /// What happened and why, for people; empty after success. Never contains a token.
    std::string message;

    /// The answer's document; after a failure the service's error document. Null if there is none.
    json document;

    /// The answer's bytes unchanged, including numbers that `document` cannot represent.
    std::string text;

    int status = 0; ///< of the answer; 0 without an answer

    /// The service's words in its error document: the members "code" and "message" of "error" or of
    /// the document itself, or those of RFC 6749 ("error", "error_description") or RFC 9457
    /// ("type", "detail", "title").
    std::string serviceCode;
    std::string serviceMessage; ///< see `serviceCode`

    SentState sent = SentState::NotSent;   ///< of the attempt that got furthest
    int attempts = 0;                      ///< how many attempts were made
    std::chrono::microseconds duration{0}; ///< of the call as a whole

    /// Whether the service answered with a status from 200 to 299 and the expected kind of body.
    bool Succeeded() const { return failure == Failure::None; }
    /// `Succeeded()`, so that an outcome can be a condition.
    explicit operator bool() const { return Succeeded(); }
};

/// A failed call in the middle of a listing, where no `Outcome` can be returned.
class CallFailed : public std::runtime_error {
public:
    /// The error with the outcome's message.
    explicit CallFailed(Outcome failed)
        : std::runtime_error(failed.message), outcome(std::move(failed)) {}

    /// The call's result.
    const Outcome& GetOutcome() const { return outcome; }

private:
    Outcome outcome;
};

} // namespace VarnelBase
