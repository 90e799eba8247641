#pragma once

#include <set>
#include <string>
#include <vector>

#include "HeaderLine.h"

namespace VarnelBase {

/// What is recorded of a request and its answer.
struct RecordedTexts {
    std::vector<HeaderLine>* requestHeaders;
    std::vector<HeaderLine>* answerHeaders;
    std::vector<std::string*> targets; ///< or URLs
    std::vector<std::string*> bodies;
};

/// Takes credentials out of what is recorded: the values of headers, members, query parameters and
/// form fields whose names suggest one, and these values and known ones wherever their text
/// appears.
class Redaction {
public:
    /// @param names  also taken for a credential's, in letters of any case
    /// @param values credentials that are known
    explicit Redaction(const std::vector<std::string>& names = {},
                       std::vector<std::string> values = {});

    void Redact(const RecordedTexts& texts) const;

    /// A body without the values of certain members or form fields. All else stays as it is
    /// written.
    std::string RedactBody(const std::string& body) const;

    bool IsSecretName(const std::string& name) const;

private:
    // These two add the values that they redact to the secrets.
    std::string RedactBody(const std::string& body, std::vector<std::string>& secrets) const;
    std::string RedactFields(const std::string& fields, std::vector<std::string>& secrets) const;

    std::set<std::string> secretNames; ///< in small letters
    std::vector<std::string> secretValues;
};

} // namespace VarnelBase
