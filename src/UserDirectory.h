#pragma once

#include <string>

#include "EnvironmentVariable.h"

namespace VarnelBase {

/// A directory of the user: that in an XDG variable, else one below the home directory. Empty when
/// neither variable holds an absolute path: a relative one would be another directory in each
/// working directory.
inline std::string LocateUserDirectory(const char* variable, const char* belowHome) {
    std::string chosen = ReadVariable(variable);
    if (chosen.rfind('/', 0) == 0) { return chosen; }
    const std::string home = ReadVariable("HOME");
    return home.rfind('/', 0) == 0 ? home + "/" + belowHome : "";
}

} // namespace VarnelBase
