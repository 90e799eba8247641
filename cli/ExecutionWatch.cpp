#include "ExecutionWatch.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>

#include "Diagnosis.h"
#include "ExitStatus.h"
#include "Progress.h"
#include "Table.h"

namespace VarnelBase {

namespace {

constexpr std::chrono::milliseconds ShortestWait{1000};
constexpr std::chrono::milliseconds LongestWait{10000};
constexpr int MaxLostAnswers = 5;

/// Reads the execution; none when the service cannot be reached just now.
std::optional<json> Read(Session& session, const std::string& target) {
    const Arguments& given = session.arguments;
    try {
        json document = session.ConnectOnline().GetExecution(given.simulation, given.execution);
        return RequireAnswer(session, target, std::move(document));
    } catch (const CommandError& error) {
        if (error.GetStatus() != ExitStatus::Unreachable) { throw; }
        session.Note(error.what());
        return std::nullopt;
    }
}

std::string FindState(const json& document, const std::string& field) {
    const json::json_pointer pointer(field);
    if (!document.contains(pointer) || document.at(pointer).is_structured()) {
        throw CommandError(ExitStatus::Refused, "the execution has no state at " + field +
                                                    ": say where it is with --field");
    }
    return DescribeValue(document.at(pointer));
}

std::optional<double> FindFraction(const json& document) {
    const auto progress = document.find("progress");
    if (progress == document.end() || !progress->is_number()) { return std::nullopt; }
    return progress->get<double>();
}

bool Holds(const std::vector<std::string>& states, const std::string& state) {
    return std::find(states.begin(), states.end(), state) != states.end();
}

} // namespace

void WatchUntilEnd(Session& session, const std::string& target) {
    const Arguments& given = session.arguments;
    std::chrono::milliseconds wait = ShortestWait;
    int lost = 0;
    std::optional<Progress> progress(std::in_place, given.isQuiet);
    while (lost < MaxLostAnswers) {
        const std::optional<json> document = Read(session, target);
        lost = document ? 0 : lost + 1;
        if (document) {
            const std::string state = FindState(*document, given.field);
            progress->Show(state, FindFraction(*document));
            const bool isBad = Holds(given.badStates, state);
            if (isBad || Holds(given.goodStates, state)) {
                progress.reset();
                session.Print(*document);
                if (isBad) {
                    throw CommandError(ExitStatus::ExecutionFailed,
                                       "the execution has ended as " + state);
                }
                return;
            }
        }
        std::this_thread::sleep_for(wait);
        wait = std::min(wait * 2, LongestWait);
    }
    throw CommandError(ExitStatus::Unreachable, "gave up after " + std::to_string(MaxLostAnswers) +
                                                    " requests without an answer");
}

} // namespace VarnelBase
