#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace VarnelBase {

/// What is wrong with a command line, with the command or option that was probably meant.
std::string DescribeParseError(const CLI::App& tree, const CLI::ParseError& error);

} // namespace VarnelBase
