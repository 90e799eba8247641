// Simulates clients that lose their service together, with the client's own retry policy: how many
// requests the service gets in each second, and whether it recovers.
//
//   retry-storm SECONDS.tsv: one line a second; the figures go to standard output
#include <algorithm>
#include <deque>
#include <fstream>
#include <optional>
#include <queue>
#include <random>
#include <vector>

#include "Measure.h"
#include "RetryPolicy.h"

namespace {

using VarnelBase::Backoff;
using VarnelBase::RetryBudget;

enum class Policy { NeverRetry, Budget, NoBudget };

constexpr int Clients = 10'000;
constexpr double MeanPause = 10;      ///< seconds between a client's calls
constexpr double Capacity = 2'000;    ///< answers a second: twice of what the clients ask for
constexpr double QueueLength = 6'000; ///< requests
constexpr double Patience = 1;        ///< seconds that a client waits for an answer
constexpr double OutageBegin = 60;
constexpr double OutageEnd = OutageBegin + 120;
constexpr int End = 360;
constexpr int MaxAttempts = 4;

/// Works off its queue in order, without knowing who has given up waiting; in the outage it hangs.
class Service {
public:
    /// Seconds until the answer; none when the queue is full.
    std::optional<double> Answer(double time) {
        const double hung = std::max(0.0, std::min(time, OutageEnd) - std::max(last, OutageBegin));
        waiting = std::max(0.0, waiting - (time - last - hung) * Capacity);
        last = time;
        if (waiting >= QueueLength) { return {}; }
        waiting += 1;
        return waiting / Capacity + (time >= OutageBegin ? std::max(0.0, OutageEnd - time) : 0);
    }

private:
    double last = 0;
    double waiting = 0; ///< requests
};

struct Client {
    explicit Client(unsigned int seed) : backoff(seed) {}
    RetryBudget budget;
    Backoff backoff;
};

struct Attempt {
    double time;
    int client;
    int number; ///< of the attempt
    bool operator<(const Attempt& other) const { return time > other.time; }
};

struct Course {
    std::vector<double> requests = std::vector<double>(End);
    std::vector<double> failedCalls = std::vector<double>(End);
    std::vector<double> calls = std::vector<double>(End);
};

Course Simulate(Policy policy) {
    std::mt19937 random(1);
    std::exponential_distribution<double> pause(1 / MeanPause);
    std::deque<Client> clients;
    std::priority_queue<Attempt> attempts;
    for (int number = 0; number < Clients; ++number) {
        clients.emplace_back(static_cast<unsigned int>(number + 1));
        attempts.push({pause(random), number, 1});
    }
    Service service;
    Course course;
    while (attempts.top().time < End) {
        const Attempt attempt = attempts.top();
        attempts.pop();
        Client& client = clients[static_cast<std::size_t>(attempt.client)];
        const auto second = static_cast<std::size_t>(attempt.time);
        course.requests[second] += 1;
        const std::optional<double> answer = service.Answer(attempt.time);
        const bool isAnswered = answer.has_value() && *answer < Patience;
        bool isRepeated = false;
        if (isAnswered) {
            client.budget.NoteSuccess();
        } else {
            const bool isInBudget = client.budget.Take() || policy == Policy::NoBudget;
            isRepeated = policy != Policy::NeverRetry && isInBudget && attempt.number < MaxAttempts;
        }
        const double end = attempt.time + std::min(answer.value_or(0), Patience);
        if (isRepeated) {
            const auto wait = client.backoff.Draw(attempt.number, {});
            attempts.push({end + static_cast<double>(wait.count()) / 1000, attempt.client,
                           attempt.number + 1});
        } else {
            course.calls[second] += 1;
            course.failedCalls[second] += isAnswered ? 0 : 1;
            attempts.push({end + pause(random), attempt.client, 1});
        }
    }
    return course;
}

double CountFromOutage(const std::vector<double>& perSecond) {
    double count = 0;
    for (auto second = static_cast<std::size_t>(OutageBegin); second < End; ++second) {
        count += perSecond[second];
    }
    return count;
}

/// Seconds from the end of the outage to the last one in which a hundredth of the calls failed.
double MeasureRecovery(const Course& course) {
    int last = static_cast<int>(OutageEnd);
    for (int second = last; second < End; ++second) {
        const auto at = static_cast<std::size_t>(second);
        if (course.failedCalls[at] > course.calls[at] / 100) { last = second + 1; }
    }
    return last - OutageEnd;
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 2) { return 2; }
    const Course never = Simulate(Policy::NeverRetry);
    const Course budget = Simulate(Policy::Budget);
    const Course noBudget = Simulate(Policy::NoBudget);
    std::ofstream seconds(argv[1]);
    for (std::size_t second = 0; second < End; ++second) {
        seconds << second << '\t' << never.requests[second] << '\t' << budget.requests[second]
                << '\t' << noBudget.requests[second] << '\n';
    }
    const double baseline = CountFromOutage(never.requests);
    Report("retries: requests from an outage of 2 min on, over clients that never retry",
           CountFromOutage(budget.requests) / baseline, "<= 1.2");
    Report("retries: the same without the budget", CountFromOutage(noBudget.requests) / baseline,
           "");
    Report("retries: seconds after the outage in which 1 % of the calls fail",
           MeasureRecovery(budget), "<= 10");
    Report("retries: the same without the budget (the simulation ends after 180)",
           MeasureRecovery(noBudget), "");
}
