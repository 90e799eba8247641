#pragma once

#include <nlohmann/json.hpp>

#include <fstream>
#include <string>

#include "trace/TraceRelay.h"

namespace VarnelBase {

enum class TraceFormat { JsonLines, Har };

/// Writes down what a relay has seen: a line of JSON for each exchange as it ends, or at the end
/// one HTTP Archive (HAR 1.2), which browsers' developer tools open.
class TraceLog {
public:
    /// @param path empty: standard error
    /// @throws CommandError naming the file when it cannot be written
    TraceLog(TraceFormat format, std::string path);

    void Add(const TracedExchange& exchange);

    /// @throws CommandError when not everything could be written
    void Finish();

private:
    TraceFormat format;
    std::string path;
    std::ofstream file;
    std::ostream& output;
    nlohmann::json entries = nlohmann::json::array(); ///< of the archive
};

} // namespace VarnelBase
