#pragma once

#include <string>
#include <vector>

#include "Emulator.h"

namespace VarnelBase::Emulation {

/// First label of 127.0.0.1: with it as a group, host names of the library lead to this machine.
constexpr const char* ExecGroup = "127";

/// The token that a command gets for an emulator with this access.
std::string MakeExecToken(EmulatorAccess access);

/// Runs a command whose VARNEL settings lead to the emulator and nowhere else. BlockChildSignals
/// must have been called before the emulator was made.
///
/// @param options those of the emulator; the command sends their token
/// @return its exit status; 128 and the signal's number when a signal ended it; 127 or 126 when it
///         cannot be started, which is told on standard error
int RunCommandWith(const Emulator& emulator, const EmulatorOptions& options,
                   const std::vector<std::string>& command);

} // namespace VarnelBase::Emulation
