#pragma once

#include <PrivateFile.h>

#include <string>

#include "trace/TracedExchange.h"

namespace VarnelBase {

enum class TraceFormat { JsonLines, Har };

/// Writes down what a relay has seen: a line of JSON for each exchange as it ends, or one HTTP
/// Archive (HAR 1.2), which browsers' developer tools open. In a file the archive is whole after
/// each exchange, so that it can be read whatever ends this process.
class TraceLog {
public:
    /// @param path empty: standard error
    /// @param isReplacing whether a file of that name may be replaced
    /// @throws CommandError naming the file when it exists or cannot be written
    TraceLog(TraceFormat format, const std::string& path, bool isReplacing, bool hasBodies);

    void Add(const TracedExchange& exchange);

    /// @throws CommandError when not everything could be written
    void Finish();

private:
    /// Writes a text and, behind it, what the next one overwrites.
    void Write(const std::string& text, const std::string& end);
    void WriteBytes(const std::string& bytes);

    TraceFormat format;
    std::string name;
    bool hasBodies;
    bool isFile;
    FileDescriptor output;
    bool hasEntries = false;
    std::string waiting; ///< an archive for standard error, which is written at the end
    int error = 0;
};

} // namespace VarnelBase
