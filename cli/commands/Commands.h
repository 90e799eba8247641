#pragma once

#include "session/Command.h"

namespace VarnelBase {

// Each adds the commands of one noun, or a few that belong together.
void AddServiceCommands(CLI::App& root, Session& session);
void AddProjectCommands(CLI::App& root, Session& session);
void AddSignInCommands(CLI::App& root, Session& session);
void AddConfigCommands(CLI::App& root, Session& session);
void AddOpenCommands(CLI::App& root, Session& session);
void AddStudyCommands(CLI::App& root, Session& session);
void AddApiCommand(CLI::App& root, Session& session);

/// The verb "watch".
void AddWatchCommand(CLI::App& execution, Session& session);

} // namespace VarnelBase
