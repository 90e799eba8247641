#pragma once

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

#include "session/Arguments.h"
#include "session/Session.h"

namespace VarnelBase {

/// The group of the options that every command has.
inline constexpr const char* CommonOptionsGroup = "Options of every command";

/// The kind of value that --data takes.
inline constexpr const char* DataKind = "JSON|@FILE|-";

/// A command and its options.
template <typename Options>
struct AddedCommand {
    CLI::App& app;
    Options& options;
};

/// A noun, whose verbs are commands. Its help ends with an example.
CLI::App& AddNoun(CLI::App& parent, const std::string& name, const std::string& description,
                  const std::string& example);

/// A command, whose help ends with the examples.
CLI::App& AddCommand(CLI::App& parent, Session& session, const std::string& name,
                     const std::string& description, std::function<void(Session&)> run,
                     const std::vector<std::string>& examples);

/// A command with options of its own, which live as long as it does.
template <typename Options>
AddedCommand<Options> AddCommand(CLI::App& parent, Session& session, const std::string& name,
                                 const std::string& description,
                                 void (*run)(Session&, const Options&),
                                 const std::vector<std::string>& examples) {
    const auto options = std::make_shared<Options>();
    CLI::App& app = AddCommand(
        parent, session, name, description, [options, run](Session& used) { run(used, *options); },
        examples);
    return {app, *options};
}

/// --raw-id, and a positional argument for each identifier in a target: SIMULATION, EXECUTION and
/// USER, which completion knows how to find.
void AddIdentifiers(CLI::App& command, Identifiers& identifiers, const std::string& target);

/// An option that takes a JSON pointer (RFC 6901).
CLI::Option* AddPointerOption(CLI::App& command, const std::string& name, std::string& pointer,
                              const std::string& description);

/// An option that takes a number of seconds above 0, fractions included.
template <typename Number>
CLI::Option* AddSecondsOption(CLI::App& command, const std::string& name, Number& seconds,
                              const std::string& description) {
    return command.add_option(name, seconds, description)
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 1e6).description(""));
}

/// --data.
CLI::Option* AddDataOption(CLI::App& command, std::string& data, const std::string& description);

/// --dry-run.
void AddDryRunFlag(CLI::App& command, bool& isDryRun);

} // namespace VarnelBase
