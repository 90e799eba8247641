#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "AccessSource.h"
#include "ClientOptions.h"
#include "OperationTable.h"
#include "RetryPolicy.h"
#include "TransferPool.h"

namespace VarnelBase {

/// Requires a duration that libcurl and the clock can count.
///
/// @throws std::invalid_argument naming the option
void RequireDuration(std::chrono::milliseconds duration, const char* option);

/// A request to the service, and what to do with its answer.
struct ServiceCall {
    const char* method;
    std::string target;
    std::optional<std::string> body;
    AnswerForm answer = AnswerForm::Document;

    /// Receives a successful answer's bytes in place of the outcome's `text`; false refuses more.
    std::function<bool(const AnswerHead&, const char*, std::size_t)> receiver;
};

struct CallResult {
    Outcome outcome;
    AnswerHead head; ///< of the last answer
};

/// Makes calls: keeps the deadline, plans attempts, judges answers. Several threads may use it.
class CallRunner {
public:
    /// @throws std::invalid_argument naming the option that cannot be used
    CallRunner(std::optional<Environment> environment, const ClientOptions& clientOptions);

    /// @throws std::invalid_argument naming the option of the call that cannot be used
    CallResult Run(const ServiceCall& call, const CallOptions& callOptions);

    AccessSource& GetAccess() { return access; }
    const ClientOptions& GetOptions() const { return options; }

private:
    struct Attempt;

    void Try(Attempt& attempt);
    std::optional<std::chrono::milliseconds> PlanRetry(const Attempt& attempt);
    void Judge(Attempt& attempt) const;

    const ClientOptions options;
    AccessSource access;
    TransferPool pool;
    RetryBudget budget;
    Backoff backoff;
};

} // namespace VarnelBase
