#include "CallRunner.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>

#include "DocumentReader.h"
#include "ErrorDocument.h"
#include "QuotedText.h"
#include "TlsRules.h"

namespace VarnelBase {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;

void Require(bool isFine, const char* option, const char* rule) {
    if (!isFine) { throw std::invalid_argument(std::string(option) + ": " + rule); }
}

bool IsHostText(const std::string& host) {
    return std::all_of(host.begin(), host.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '.' || c == '_' || c == ':';
    });
}

const ClientOptions& Check(const ClientOptions& options) {
    constexpr unsigned int maxPort = 65535;
    Require(IsHostText(options.host), "host",
            "must be a name or an address, without scheme and port");
    Require(options.host.empty() == (options.port == 0), "port", "must be set together with host");
    Require(options.port <= maxPort, "port", "must be a number from 1 to 65535");
    Require(options.tls || options.caFile.empty(), "caFile", "needs tls");
    RequireDuration(options.connectTimeout, "connectTimeout");
    RequireDuration(options.timeout, "timeout");
    RequireDuration(options.projectTimeout, "projectTimeout");
    RequireDuration(options.idleTimeout, "idleTimeout");
    Require(options.maxAttempts >= 1, "maxAttempts", "must be 1 or more");
    Require(options.maxDocumentBytes >= 1, "maxDocumentBytes", "must be 1 or more");
    Require(options.maxNesting >= 1, "maxNesting", "must be 1 or more");
    Require(options.maxHeaderBytes >= 1, "maxHeaderBytes", "must be 1 or more");
    Require(options.maxHeaderLines >= 1, "maxHeaderLines", "must be 1 or more");
    Require(options.pageSize >= 1, "pageSize", "must be 1 or more");
    return options;
}

void CheckCaFile(const std::string& caFile) {
    const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_client_method()),
                                                               &SSL_CTX_free);
    if (!context) { throw std::bad_alloc(); }
    const bool isReadable = TrustCaFile(context.get(), caFile);
    ERR_clear_error();
    if (!isReadable) {
        throw std::invalid_argument("caFile: " + caFile + " contains no readable PEM certificate");
    }
}

TransferSettings MakeSettings(const ClientOptions& options, const AccessSource& access) {
    std::optional<std::string> caFile;
    if (options.tls) {
        caFile = access.GetCaFile();
        if (!caFile->empty()) { CheckCaFile(*caFile); }
    }
    return {options.connectTimeout, options.idleTimeout, options.maxHeaderBytes,
            options.maxHeaderLines, std::move(caFile)};
}

Failure JudgeStatus(int status) {
    switch (status) {
        case 400:
            return Failure::BadRequest;
        case 401:
            return Failure::Unauthorized;
        case 403:
            return Failure::Forbidden;
        case 404:
            return Failure::NotFound;
        case 409:
            return Failure::Conflict;
        case 422:
            return Failure::Unprocessable;
        case 429:
            return Failure::TooManyRequests;
        default:
            break;
    }
    if (status < 300) { return Failure::None; }
    return status < 500 ? Failure::Refused : Failure::ServiceError;
}

/// Whether sending it twice does no more than sending it once.
bool IsRepeatable(const ServiceCall& call) {
    return std::string_view(call.method) == "GET";
}

/// Whether it may pass within moments. A call that timed out has no time left.
bool IsRetried(const Outcome& outcome) {
    if (outcome.failure == Failure::ServiceError) {
        return outcome.status >= 502 && outcome.status <= 504;
    }
    return outcome.failure != Failure::TimedOut && MayPass(outcome.failure);
}

} // namespace

void RequireDuration(milliseconds duration, const char* option) {
    Require(duration.count() > 0, option, "must be longer than zero");
    Require(duration < std::chrono::hours(24 * 365), option, "must be shorter than a year");
}

/// One call while it runs.
struct CallRunner::Attempt {
    const ServiceCall& call;
    milliseconds timeout;
    int maxAttempts;
    Clock::time_point deadline;
    Cancellation::State* cancellation;
    CallResult result;
    TransferResult transfer;             ///< of the last attempt, like the next
    std::optional<AttemptReport> report; ///< for the observer, when a request was tried

    Failure Take(const AnswerHead& head, const char* bytes, std::size_t size,
                 std::size_t maxBytes) {
        if (call.receiver && JudgeStatus(head.status) == Failure::None) {
            return call.receiver(head, bytes, size) ? Failure::None : Failure::NotSaved;
        }
        std::string& text = result.outcome.text;
        if (size > maxBytes - text.size()) { return Failure::TooLarge; }
        text.append(bytes, size);
        return Failure::None;
    }

    void Fail(Failure failure, const std::string& reason) {
        result.outcome.failure = failure;
        result.outcome.message = std::string(call.method) + " " + call.target + ": " + reason;
    }
};

CallRunner::CallRunner(std::optional<Environment> environment, const ClientOptions& clientOptions)
    : options(Check(clientOptions)),
      access(environment, options),
      pool(MakeSettings(options, access)) {}

CallResult CallRunner::Run(const ServiceCall& call, const CallOptions& callOptions) {
    const bool isProject = call.answer == AnswerForm::File;
    const milliseconds timeout =
        callOptions.timeout.value_or(isProject ? options.projectTimeout : options.timeout);
    const int maxAttempts = callOptions.maxAttempts.value_or(options.maxAttempts);
    RequireDuration(timeout, "timeout");
    Require(maxAttempts >= 1, "maxAttempts", "must be 1 or more");

    const auto start = Clock::now();
    Attempt attempt{call,
                    timeout,
                    maxAttempts,
                    start + timeout,
                    callOptions.cancellation ? callOptions.cancellation->GetState().get() : nullptr,
                    {},
                    {},
                    {}};
    Outcome& outcome = attempt.result.outcome;
    const auto finish = [&]() -> CallResult&& {
        outcome.duration = std::chrono::duration_cast<microseconds>(Clock::now() - start);
        return std::move(attempt.result);
    };
    if (access.IsOffline()) {
        attempt.Fail(Failure::Offline, "offline mode is on");
        return finish();
    }
    for (auto attemptStart = start;; attemptStart = Clock::now()) {
        const SentState sentBefore = outcome.sent;
        Try(attempt);
        outcome.sent = std::max(sentBefore, attempt.transfer.sent);

        const std::optional<milliseconds> wait = PlanRetry(attempt);
        if (attempt.report) {
            attempt.report->duration =
                std::chrono::duration_cast<microseconds>(Clock::now() - attemptStart);
            attempt.report->retryAfter = wait;
            options.observer(*attempt.report);
        }
        attempt.result.head = std::move(attempt.transfer.head);
        if (!wait) { return finish(); }
        if (SleepUnlessCancelled(attempt.cancellation, *wait)) {
            attempt.Fail(Failure::Cancelled, "cancelled");
            return finish();
        }
    }
}

/// The wait before another attempt; none: make no other attempt.
std::optional<milliseconds> CallRunner::PlanRetry(const Attempt& attempt) {
    const Outcome& outcome = attempt.result.outcome;
    if (outcome.Succeeded()) { budget.NoteSuccess(); }
    if (!IsRetried(outcome)) { return {}; }
    const bool isInBudget = budget.Take();
    const bool isSafe = IsRepeatable(attempt.call) || attempt.transfer.sent == SentState::NotSent;
    if (!isInBudget || !isSafe || outcome.attempts >= attempt.maxAttempts) { return {}; }
    const AnswerHead& head = attempt.transfer.head;
    const milliseconds wait =
        backoff.Draw(outcome.attempts, ReadRetryAfter(head.retryAfter, head.date));
    if (Clock::now() + wait >= attempt.deadline) { return {}; }
    return wait;
}

void CallRunner::Try(Attempt& attempt) {
    Outcome& outcome = attempt.result.outcome;
    if (const int attemptsBefore = outcome.attempts; attemptsBefore > 0) {
        outcome = {};
        outcome.attempts = attemptsBefore;
        attempt.transfer = {};
        attempt.report.reset();
    }
    std::shared_ptr<const Access> used;
    try {
        used = access.Find();
    } catch (const AccessError& error) { return attempt.Fail(Failure::NotSignedIn, error.what()); }
    if (IsCancelled(attempt.cancellation)) { return attempt.Fail(Failure::Cancelled, "cancelled"); }
    ++outcome.attempts;

    const ServiceCall& call = attempt.call;
    const TransferRequest request{call.method,
                                  call.target,
                                  call.body ? &*call.body : nullptr,
                                  IsRepeatable(call),
                                  call.answer != AnswerForm::File,
                                  attempt.deadline,
                                  attempt.cancellation};
    const BodyTaker taker = [this, &attempt](const AnswerHead& head, const char* bytes,
                                             std::size_t size) {
        return attempt.Take(head, bytes, size, options.maxDocumentBytes);
    };
    const TransferPool::Lease transfer(pool);
    attempt.transfer = transfer->Perform(request, used, taker);
    outcome.status = attempt.transfer.head.status;
    Judge(attempt);
    if (!options.observer) { return; }
    AttemptReport& report = attempt.report.emplace();
    report.method = call.method;
    report.target = call.target;
    report.host = used->host;
    report.attempt = outcome.attempts;
    report.status = outcome.status;
    report.failure = outcome.failure;
    report.sent = attempt.transfer.sent;
    transfer->Describe(report);
}

void CallRunner::Judge(Attempt& attempt) const {
    Outcome& outcome = attempt.result.outcome;
    const TransferResult& transfer = attempt.transfer;
    const Failure refusal = JudgeStatus(outcome.status);
    if (outcome.status >= 300) {
        // Whatever became of its document, the service has said no.
        ReadDocument(outcome.text, options.maxNesting, outcome.document);
        ErrorWords words = ReadErrorDocument(outcome.document);
        std::string reason = "refused with " + std::to_string(outcome.status);
        if (!words.message.empty()) { reason += ": " + QuoteText(words.message); }
        outcome.serviceCode = std::move(words.code);
        outcome.serviceMessage = std::move(words.message);
        return attempt.Fail(refusal, reason);
    }
    if (transfer.failure == Failure::TimedOut) {
        const char* what =
            transfer.sent == SentState::NotSent ? "not sent within " : "no complete answer within ";
        return attempt.Fail(Failure::TimedOut,
                            what + std::to_string(attempt.timeout.count()) + " ms");
    }
    if (transfer.failure != Failure::None) {
        return attempt.Fail(transfer.failure, transfer.reason);
    }
    if (attempt.call.answer == AnswerForm::File) { return; }
    const Readability readability =
        ReadDocument(outcome.text, options.maxNesting, outcome.document);
    if (attempt.call.answer == AnswerForm::Anything) { return; }
    if (readability == Readability::TooDeep) {
        return attempt.Fail(Failure::TooLarge,
                            "the answer is nested deeper than maxNesting allows");
    }
    if (readability == Readability::NotOneValue) {
        attempt.Fail(Failure::Unreadable, "the answer is not one JSON value");
    }
}

} // namespace VarnelBase
