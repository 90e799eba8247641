#pragma once

#include <functional>
#include <optional>
#include <string>

#include "AccessSource.h"
#include "ClientOptions.h"
#include "OperationTable.h"
#include "RetryPolicy.h"
#include "TransferPool.h"

namespace VarnelBase {

/// A request to the service and what is done with its answer.
struct ServiceCall {
    const char* method;
    std::string target;
    std::optional<std::string> body;
    AnswerForm answer = AnswerForm::Document;

    /// Takes a successful answer's bytes instead of the outcome's `text`; false: no more of them.
    std::function<bool(const AnswerHead&, const char*, std::size_t)> receiver;
};

struct CallResult {
    Outcome outcome;
    AnswerHead head; ///< of the last answer
};

/// Makes calls: deadline, attempts, and what became of them. May be used by several threads.
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
