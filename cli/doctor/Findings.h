#pragma once

#include <nlohmann/json.hpp>

#include <string>

#include "output/ExitStatus.h"

namespace VarnelBase {

/// The lines of the doctor's report and what the first failure means for a script.
class Findings {
public:
    /// A check without a failure: a warning when there is something to do about it.
    void Add(const std::string& check, const std::string& found, const std::string& advice = "");

    void Fail(ExitStatus reason, const std::string& check, const std::string& found,
              const std::string& advice);

    const nlohmann::json& GetLines() const { return lines; }
    ExitStatus GetStatus() const { return status; }

    /// The lines for people, who are to read every word of them whatever the width.
    std::string FormatText() const;

private:
    void AddLine(const char* result, const std::string& check, const std::string& found,
                 const std::string& advice);

    nlohmann::json lines = nlohmann::json::array();
    ExitStatus status = ExitStatus::Done;
};

} // namespace VarnelBase
