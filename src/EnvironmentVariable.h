#pragma once

#include <cstdlib>
#include <string>

namespace VarnelBase {

/// Value of a variable of the process environment; empty when it is not set.
inline std::string ReadVariable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

} // namespace VarnelBase
