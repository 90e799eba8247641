#pragma once

#include <Redaction.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "HttpRecord.h"

namespace VarnelBase::Emulation {

/// Answers requests from a record: by method, path, query and body. For one thread at a time.
class Replay {
public:
    Replay(const std::vector<RecordedExchange>& exchanges, Redaction secrets);

    void Add(const RecordedExchange& exchange);

    /// The answer that the request got when it was recorded: the first, then the second time it was
    /// asked. None: it is not in the record, or not that often.
    std::optional<Answer> Take(const Request& request);

    /// The answer that it got the last time; none: it is not in the record.
    std::optional<Answer> GetLast(const Request& request) const;

    /// Which recorded request comes closest, and how it differs.
    std::string DescribeNearest(const Request& request) const;

    /// Begins again with the first answers.
    void Restart();

private:
    struct Occurrences {
        Request request;
        std::vector<Answer> answers;
        std::size_t taken = 0;
    };

    std::string MakeKey(Request request) const;

    Redaction redaction;
    std::map<std::string, Occurrences> record;
};

/// What a request gets that is not in the record.
Answer MakeUnrecordedAnswer(const Replay& replay, const Request& request);

} // namespace VarnelBase::Emulation
