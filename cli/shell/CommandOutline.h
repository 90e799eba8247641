#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace VarnelBase {

// What completion and manual want to know of the command tree.

/// The values that a type's name lists: "table|json|jsonl"; none: it takes any.
std::vector<std::string> ListChoices(const std::string& typeName);

/// An option's names with their dashes: "-o", "--output".
std::vector<std::string> ListNames(const CLI::Option& option);

/// A command's words: "varnel simulation list".
std::string FormatPath(const CLI::App& command);

/// A noun's command of that name; none: it does not exist.
const CLI::App* FindCommand(const CLI::App& noun, const std::string& name);

/// The commands of a noun that help shows.
std::vector<const CLI::App*> ListVisibleCommands(const CLI::App& noun);

} // namespace VarnelBase
