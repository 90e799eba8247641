#pragma once

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

#include "session/Session.h"

namespace VarnelBase {

/// The whole command line: every command with its options, description and examples. Parsing it
/// fills the session's arguments and chooses what it runs.
std::unique_ptr<CLI::App> BuildCommandTree(Session& session);

/// A noun, whose verbs are commands. Its help ends with an example.
CLI::App& AddNoun(CLI::App& parent, const std::string& name, const std::string& description,
                  const std::string& example);

/// A command, whose help ends with the examples.
CLI::App& AddCommand(CLI::App& parent, Session& session, const std::string& name,
                     const std::string& description, void (*run)(Session&),
                     const std::vector<std::string>& examples);

/// A positional argument that names something at the service, and with it --raw-id.
void AddIdentifier(CLI::App& command, Session& session, const std::string& name,
                   std::string& identifier);

/// --limit, --offset and --all.
void AddPageOptions(CLI::App& command, Session& session);

/// An option that takes a JSON pointer (RFC 6901).
CLI::Option* AddPointerOption(CLI::App& command, const std::string& name, std::string& pointer,
                              const std::string& description);

/// --data.
CLI::Option* AddDataOption(CLI::App& command, Session& session, const std::string& description);

/// --dry-run.
void AddDryRunOption(CLI::App& command, Session& session);

/// --yes and --dry-run.
void AddDeleteOptions(CLI::App& command, Session& session);

// Each adds the commands of one noun, or a few that belong together.
void AddSimulationCommands(CLI::App& root, Session& session);
void AddExecutionCommands(CLI::App& root, Session& session);
void AddProjectCommands(CLI::App& root, Session& session);
void AddUserCommands(CLI::App& root, Session& session);
void AddServiceCommands(CLI::App& root, Session& session);
void AddSignInCommands(CLI::App& root, Session& session);
void AddConfigCommands(CLI::App& root, Session& session);
void AddDoctorCommand(CLI::App& root, Session& session);
void AddTraceCommand(CLI::App& root, Session& session);
void AddCompletionCommand(CLI::App& root, Session& session);
void AddManPageCommand(CLI::App& root, Session& session);

} // namespace VarnelBase
