#pragma once

#include "session/Command.h"

namespace VarnelBase {

// Commands about the command line itself, which look at all of it.
void AddCompletionCommands(CLI::App& root, Session& session);
void AddManPageCommand(CLI::App& root, Session& session);
void AddHelpCommand(CLI::App& root, Session& session);

} // namespace VarnelBase
