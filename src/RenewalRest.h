#pragma once

#include <chrono>
#include <string>

namespace VarnelBase {

/// How renewals of one session went in this process, so that operations do not wait for a provider
/// again that has just failed.

/// Notes that a renewal of the tokens in that file has failed.
void NoteFailedRenewal(const std::string& tokenPath);

/// Notes that one has succeeded.
void NoteRenewal(const std::string& tokenPath);

/// Whether the last renewal has failed and it is too early for another one.
bool IsRenewalResting(const std::string& tokenPath);

/// While one exists, this thread waits for the provider no longer than 3 s in all: for a token that
/// is still good, a new one is not worth more.
class RenewalLimit {
public:
    explicit RenewalLimit(bool isLimited);
    ~RenewalLimit();
    RenewalLimit(const RenewalLimit&) = delete;
    RenewalLimit& operator=(const RenewalLimit&) = delete;
};

/// Whether the rest of this thread's wait is too short for a refresh. A provider that accepts each
/// refresh token once ends the session when nobody waits for its answer.
bool IsTooLateToRefresh();

/// When this thread stops waiting.
std::chrono::steady_clock::time_point GetRenewalDeadline();

} // namespace VarnelBase
