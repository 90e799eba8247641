#pragma once

#include <string>
#include <vector>

#include "trace/TracedExchange.h"

namespace VarnelBase {

/// Takes credentials out of what is recorded: by the names of headers, parameters and members that
/// hold one, and by the values that are known.
class Redaction {
public:
    /// @param secrets values that must not be recorded, wherever they stand
    explicit Redaction(std::vector<std::string> secrets);

    void Apply(TracedExchange& exchange) const;

private:
    std::vector<std::string> secrets;
};

} // namespace VarnelBase
