#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace VarnelBase {

/// An option as completion and manual need it.
struct OutlinedOption {
    std::vector<std::string> names; ///< with their dashes: "-o", "--output"
    std::string valueName;          ///< empty: a flag
    std::vector<std::string> choices;
    std::string description;
};

/// A command, or a noun that has commands.
struct OutlinedCommand {
    std::string place; ///< below "varnel": "/simulation/inputs/get"; empty: "varnel" itself
    std::string name;
    std::string description;
    std::string positionals; ///< as the manual writes them: "SIMULATION [EXECUTION]"
    std::vector<std::string> positionalChoices;
    std::vector<OutlinedOption> options; ///< without those that every command has
    std::vector<std::string> examples;
    std::vector<std::pair<std::string, std::string>> commands; ///< names and descriptions
};

/// Every command that help shows, each after the noun that it belongs to, "varnel" first with the
/// options that every command has.
std::vector<OutlinedCommand> OutlineCommands(const CLI::App& tree);

} // namespace VarnelBase
