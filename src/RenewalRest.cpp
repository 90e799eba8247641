#include "RenewalRest.h"

#include <chrono>
#include <map>
#include <mutex>

#include "SignInPlan.h"

namespace VarnelBase {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds MaxWaitForRenewal(3);
constexpr std::chrono::seconds MinWaitForAnswer(2); ///< to a refresh

thread_local Clock::time_point renewalDeadline = Clock::time_point::max();

struct Failures {
    int count = 0;
    Clock::time_point end; ///< of the rest after the last one
};

struct Renewals {
    std::mutex mutex;
    std::map<std::string, Failures> failures; ///< by token file
};

Renewals& GetRenewals() {
    static Renewals renewals;
    return renewals;
}

} // namespace

void NoteFailedRenewal(const std::string& tokenPath) {
    Renewals& renewals = GetRenewals();
    const std::lock_guard lock(renewals.mutex);
    Failures& failures = renewals.failures[tokenPath];
    ++failures.count;
    failures.end = Clock::now() + ChooseRest(failures.count);
}

void NoteRenewal(const std::string& tokenPath) {
    Renewals& renewals = GetRenewals();
    const std::lock_guard lock(renewals.mutex);
    renewals.failures.erase(tokenPath);
}

bool IsRenewalResting(const std::string& tokenPath) {
    Renewals& renewals = GetRenewals();
    const std::lock_guard lock(renewals.mutex);
    const auto found = renewals.failures.find(tokenPath);
    return found != renewals.failures.end() && Clock::now() < found->second.end;
}

RenewalLimit::RenewalLimit(bool isLimited) {
    if (isLimited) { renewalDeadline = Clock::now() + MaxWaitForRenewal; }
}

RenewalLimit::~RenewalLimit() {
    renewalDeadline = Clock::time_point::max();
}

bool IsTooLateToRefresh() {
    return renewalDeadline - MinWaitForAnswer < Clock::now();
}

Clock::time_point GetRenewalDeadline() {
    return renewalDeadline;
}

} // namespace VarnelBase
