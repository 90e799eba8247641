#pragma once

#include <nlohmann/json.hpp>

#include <string>

#include "output/ExitStatus.h"

namespace VarnelBase {

enum class Health { Ok, Warn, Fail };

/// The lines of the doctor's report and what the first failure means for a script.
class Findings {
public:
    /// @param advice what to do about it; empty: nothing
    void Add(Health health, const std::string& check, const std::string& found,
             const std::string& advice = "");

    void Fail(ExitStatus reason, const std::string& check, const std::string& found,
              const std::string& advice);

    const nlohmann::json& GetLines() const { return lines; }
    ExitStatus GetStatus() const { return status; }

    /// The lines for people, who are to read every word of them whatever the width.
    std::string FormatText() const;

private:
    nlohmann::json lines = nlohmann::json::array();
    ExitStatus status = ExitStatus::Done;
};

} // namespace VarnelBase
