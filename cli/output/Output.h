#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace VarnelBase {

/// How results are to be shown.
struct OutputOptions {
    std::string format; ///< "table", "json" or "jsonl"; empty: a table on a terminal, else JSON
    std::string query;  ///< JSON pointer (RFC 6901) to the part that is wanted; empty: all of it
};

/// Whether a document is to be a table rather than JSON.
bool WantsTable(const OutputOptions& options);

/// Writes bytes to standard output, all of them.
///
/// @throws CommandError when they cannot be written; silently when nobody reads any more
void WriteOutput(const std::string& bytes);

/// Writes a document, or the part of it that was asked for, to standard output. A single value that
/// was asked for is written bare unless a format was.
///
/// @throws CommandError when it has no such part, is nested too deeply or cannot be written
void PrintDocument(const nlohmann::json& document, const OutputOptions& options);

/// @throws CommandError when a document is nested so deeply that it cannot be copied or written
void RequireShallow(const nlohmann::json& document);

} // namespace VarnelBase
