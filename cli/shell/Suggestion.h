#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace VarnelBase {

/// What is wrong with a command line, with the command or option that was probably meant.
std::string DescribeParseError(const CLI::App& tree, const CLI::ParseError& error);

/// That there is no such word, with the one that was probably meant.
///
/// @param kind "command", "option" or "argument"
std::string DescribeUnknown(const std::string& kind, const std::string& word,
                            const CLI::App& command);

} // namespace VarnelBase
