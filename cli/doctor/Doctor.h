#pragma once

#include "session/Command.h"

namespace VarnelBase {

void AddDoctorCommand(CLI::App& root, Session& session);

} // namespace VarnelBase
