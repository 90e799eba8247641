#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ApiConnector.h"

namespace VarnelBase {

enum class Gate { Exactly200, Exactly201, AnyResponse, Ignored, Project };

/// An operation with arguments, and what it must do.
struct Operation {
    const char* name;
    std::function<json(ApiConnector&)> call; ///< null where the operation returns nothing
    const char* method;
    const char* target;
    const char* body; ///< nullptr: none, and no content type
    Gate gate;
};

/// All seventeen.
const std::vector<Operation>& Operations();

/// What an operation must return for an answer.
json ExpectedResult(Gate gate, int status, const std::string& body);

} // namespace VarnelBase
