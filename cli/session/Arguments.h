#pragma once

#include <string>

namespace VarnelBase {

/// Identifiers on a command line, which become parts of a request's path.
struct Identifiers {
    std::string simulation;
    std::string execution;
    std::string user;
    bool isRaw = false;

    // Paths of what the identifiers name. They throw CommandError, naming the argument, when one
    // would change the request, unless --raw-id was given.
    std::string BuildSimulationPath() const;
    std::string BuildExecutionsPath() const { return BuildSimulationPath() + "/executions"; }
    std::string BuildExecutionPath(const std::string& identifier) const;
    std::string BuildUserPath() const;

    /// A part of a request's address that a text becomes.
    ///
    /// @param name what the argument is called
    std::string Escape(const std::string& name, const std::string& text) const;
};

/// @throws CommandError naming the argument and the offset of the first byte that is not UTF-8
void RequireUtf8(const std::string& name, const std::string& text);

/// Reads the document that --data gives: JSON itself, "@" and the name of a file that holds it, or
/// "-" for standard input.
///
/// @return the bytes as they are
/// @throws CommandError when they cannot be read, and with the offset where they are not UTF-8 or
///         JSON
std::string ReadData(const std::string& argument);

} // namespace VarnelBase
