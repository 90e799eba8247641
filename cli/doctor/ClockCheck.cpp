#include "doctor/ClockCheck.h"

#include <ProviderClock.h>

#include <cstdlib>
#include <ctime>

namespace VarnelBase {

namespace {

constexpr long LargeDifferenceSeconds = 30;

} // namespace

void CheckClock(Findings& findings, const std::string& date, const std::string& whose) {
    const std::string check = whose == "service" ? "clock" : whose + "'s clock";
    const auto time = ParseHttpDate(date);
    if (!time) {
        findings.Add(check, "the " + whose + " does not tell its time");
        return;
    }
    const auto difference = static_cast<long>(std::time(nullptr) - *time);
    const bool isLarge = std::abs(difference) > LargeDifferenceSeconds;
    findings.Add(
        check, "this machine is " + std::to_string(difference) + " s ahead of the " + whose,
        isLarge ? "set this machine's clock: tokens seem to expire too early or too late" : "");
}

} // namespace VarnelBase
