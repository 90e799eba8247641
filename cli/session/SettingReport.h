#pragma once

#include <EnvConfig.h>

#include <string>
#include <vector>

namespace VarnelBase {

/// A setting as it holds for one environment, for people: secrets are not shown.
struct ReportedSetting {
    std::string name;
    std::string value;  ///< a secret that is set: "set"
    std::string source; ///< the variable, file and key, or "built-in"
};

/// Every setting, in the order of the documentation.
///
/// @throws std::runtime_error naming the variable, or file and key, that cannot be used
std::vector<ReportedSetting> ReportSettings(const EnvConfig& config);

} // namespace VarnelBase
