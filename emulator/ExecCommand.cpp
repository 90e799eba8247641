#include "ExecCommand.h"

#include <ChildProgram.h>
#include <PrivateConfigFile.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <iostream>

namespace VarnelBase::Emulation {

namespace {

using nlohmann::json;

/// Settings that send every environment to the emulator and to no identity provider.
json MakeConfig(int port, EmulatorAccess access) {
    const auto makeEnvironment = [port](const char* host) {
        return json::object({{"apiHost", host}, {"apiPort", port}, {"authHost", ""}});
    };
    // The library puts the group of the token, 127, in front of it.
    const char* const host = access == EmulatorAccess::Groups ? "0.0.1" : "127.0.0.1";
    return json::object({{"environment", access == EmulatorAccess::Groups ? "staging" : "local"},
                         {"offline", false},
                         {"environments", json::object({{"local", makeEnvironment("127.0.0.1")},
                                                        {"staging", makeEnvironment(host)},
                                                        {"production", makeEnvironment(host)}})}});
}

/// This process's environment without the VARNEL settings, and with these.
std::vector<std::string> MakeEnvironment(const std::string& configFile, const std::string& token,
                                         const Emulator& emulator) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (std::strncmp(*variable, "VARNEL_", 7) != 0) { variables.emplace_back(*variable); }
    }
    variables.push_back("VARNEL_CONFIG=" + configFile);
    variables.push_back("VARNEL_TOKEN=" + token);
    variables.push_back("VARNEL_EMULATOR_URL=" + emulator.GetUrl());
    if (!emulator.GetLocalKey().empty()) {
        variables.push_back("VARNEL_EMULATOR_KEY=" + emulator.GetLocalKey());
    }
    return variables;
}

} // namespace

std::string MakeExecToken(EmulatorAccess access) {
    // An unsigned token with the claims {"groups":["127"]}; the other one is any text.
    return access == EmulatorAccess::Groups ? "eyJhbGciOiJub25lIn0.eyJncm91cHMiOlsiMTI3Il19."
                                            : "emulator";
}

int RunCommandWith(const Emulator& emulator, const EmulatorOptions& options,
                   const std::vector<std::string>& command) {
    const PrivateConfigFile config(std::filesystem::temp_directory_path().string(),
                                   MakeConfig(emulator.GetPort(), options.access).dump(2) + "\n");
    try {
        return RunChild(command, MakeEnvironment(config.GetPath(), options.token, emulator));
    } catch (const ChildNotStarted& error) {
        std::cerr << "varnel-emulator: " << error.what() << '\n';
        return error.GetExitStatus();
    }
}

} // namespace VarnelBase::Emulation
