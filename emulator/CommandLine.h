#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Emulator.h"

namespace VarnelBase::Emulation {

/// What the program was asked to do.
struct CommandLine {
    EmulatorOptions emulator;
    std::string readyFile;
    std::string exportFile;
    std::vector<std::string> command; ///< of "exec"; empty: serve
    std::string seedSource;           ///< the record of "seed-from"; empty: serve
    std::optional<int> exitStatus;    ///< help was given, or a mistake reported: nothing to do
};

/// Reads the arguments and the rules' file.
///
/// @throws std::runtime_error naming the file that cannot be used
CommandLine ParseCommandLine(int argc, char* argv[]);

} // namespace VarnelBase::Emulation
