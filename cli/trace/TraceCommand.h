#pragma once

#include "session/Command.h"

namespace VarnelBase {

void AddTraceCommand(CLI::App& root, Session& session);

} // namespace VarnelBase
