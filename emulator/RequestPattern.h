#pragma once

#include <map>
#include <string>
#include <vector>

#include "MemberReader.h"
#include "Messages.h"

namespace VarnelBase::Emulation {

/// Which requests are meant: by method, path, and more where it is asked for.
class RequestPattern {
public:
    /// Any request.
    RequestPattern() = default;

    /// Reads "method" and "path".
    explicit RequestPattern(MemberReader& members);

    /// Reads the other members too: "query", "headers", "body", "text", "status".
    static RequestPattern ReadDetails(MemberReader& members);

    bool Matches(const std::string& askedMethod, const std::string& askedPath) const;

    /// What about a request and the status of its answer is not as meant; nothing: it is one.
    std::vector<std::string> Compare(const Request& request, int answered) const;

    /// The pattern in words: "POST /simulations/*/executions, body /span = 40".
    std::string Describe() const;

    /// Why the pattern matches no request that is answered; nothing: it may.
    ///
    /// @param isAnswered whether the rule itself answers at paths that the service does not have
    std::vector<std::string> CollectWarnings(bool isAnswered) const;

private:
    std::string method; ///< empty: any
    std::string path;   ///< empty: any; "*" stands for anything but "/"
    std::map<std::string, std::string> query;
    std::map<std::string, std::string> headers; ///< values with "*" for anything
    std::map<std::string, json> body;           ///< values by JSON Pointer
    std::string text;                           ///< part of the body
    int status = 0;                             ///< of the answer; 0: any
};

} // namespace VarnelBase::Emulation
