#pragma once

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
/// @throws CommandError when they cannot be written; without a text when nobody reads any more
void WriteOutput(const std::string& bytes);

/// Writes text to standard output, on a terminal with everything escaped that could control it.
///
/// @throws like `WriteOutput`
void WriteText(const std::string& text);

/// Writes a document, or the part of it that was asked for, to standard output, and what had no
/// room in a table to standard error. A single value that was asked for is written bare unless a
/// format was.
///
/// @param document a valid JSON text
/// @throws CommandError when it has no such part or cannot be written
void PrintDocument(const std::string& document, const OutputOptions& options);

/// Writes a line to standard error, without what could steer a terminal.
void WriteMessage(const std::string& text);

} // namespace VarnelBase
