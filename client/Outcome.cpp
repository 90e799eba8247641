#include "Outcome.h"

namespace VarnelBase {

const char* NameFailure(Failure failure) {
    switch (failure) {
        case Failure::None:
            return "None";
        case Failure::Offline:
            return "Offline";
        case Failure::NotSignedIn:
            return "NotSignedIn";
        case Failure::CannotResolve:
            return "CannotResolve";
        case Failure::CannotConnect:
            return "CannotConnect";
        case Failure::Untrusted:
            return "Untrusted";
        case Failure::Interrupted:
            return "Interrupted";
        case Failure::TimedOut:
            return "TimedOut";
        case Failure::Cancelled:
            return "Cancelled";
        case Failure::BadRequest:
            return "BadRequest";
        case Failure::Unauthorized:
            return "Unauthorized";
        case Failure::Forbidden:
            return "Forbidden";
        case Failure::NotFound:
            return "NotFound";
        case Failure::Conflict:
            return "Conflict";
        case Failure::Unprocessable:
            return "Unprocessable";
        case Failure::TooManyRequests:
            return "TooManyRequests";
        case Failure::Refused:
            return "Refused";
        case Failure::ServiceError:
            return "ServiceError";
        case Failure::Unreadable:
            return "Unreadable";
        case Failure::TooLarge:
            return "TooLarge";
        case Failure::NotSaved:
            return "NotSaved";
    }
    return "";
}

bool MayPass(Failure failure) {
    switch (failure) {
        case Failure::CannotResolve:
        case Failure::CannotConnect:
        case Failure::Interrupted:
        case Failure::TimedOut:
        case Failure::TooManyRequests:
        case Failure::ServiceError:
            return true;
        default:
            return false;
    }
}

} // namespace VarnelBase
