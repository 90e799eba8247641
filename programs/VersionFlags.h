#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace VarnelBase {

/// Adds the flags that print a program's version, and what it is built from, for fault reports.
///
/// @param libraries names and versions of the libraries that only this program uses, a line each
void AddVersionFlags(CLI::App& app, const std::string& libraries);

} // namespace VarnelBase
