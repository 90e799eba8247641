// varnel-emulator: the simulation service on your own machine.
#include <ChildProgram.h>
#include <IdentityUrl.h>
#include <JsonView.h>
#include <PrivateFile.h>
#include <Redaction.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "CommandLine.h"
#include "ExecCommand.h"
#include "SeedFromRecord.h"

namespace {

using VarnelBase::Emulator;
using VarnelBase::Emulation::CommandLine;

constexpr int FailureStatus = 1;
constexpr int InterruptedStatus = 128 + SIGINT; ///< as a shell has it

sigset_t MakeStopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    struct sigaction hangUp {};
    sigaction(SIGHUP, nullptr, &hangUp);
    if (hangUp.sa_handler != SIG_IGN) { sigaddset(&signals, SIGHUP); } // nohup has it ignored
    return signals;
}

void WriteFile(const std::string& path, const std::string& bytes) {
    const std::filesystem::path file(path);
    const std::string directory = file.parent_path().string();
    VarnelBase::ReplacePrivateFile(directory.empty() ? "." : directory, file.filename().string(),
                                   bytes);
}

void AwaitStop(const Emulator& emulator, const CommandLine& line) {
    const std::string& key = emulator.GetLocalKey();
    if (!line.readyFile.empty()) {
        WriteFile(line.readyFile, emulator.GetUrl() + "\n" + (key.empty() ? "" : key + "\n"));
    }
    // In one piece, for readers that close after the first line.
    std::cout << emulator.GetUrl() << (key.empty() ? "" : "\nkey of /_local: " + key) << std::endl;
    const sigset_t signals = MakeStopSignals();
    int number = 0;
    sigwait(&signals, &number);
    // A second signal ends the program at once.
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    if (!line.readyFile.empty()) { std::filesystem::remove(line.readyFile); }
}

/// Ends before there is anything to lose when a file cannot be written later. Others than regular
/// ones, /dev/stdout say, would be replaced.
void RequireWritable(const std::string& option, const std::string& path) {
    if (path.empty()) { return; }
    const std::filesystem::path file(path);
    const std::string directory = file.parent_path().string();
    if (std::filesystem::exists(file) && !std::filesystem::is_regular_file(file)) {
        throw std::runtime_error(option + " " + path + ": not a regular file");
    }
    if (access(directory.empty() ? "." : directory.c_str(), W_OK | X_OK) != 0) {
        throw std::runtime_error(option + " " + path +
                                 ": its directory cannot be written: " + std::strerror(errno));
    }
}

/// As many clients at once as the system lets this process have.
void RaiseDescriptorLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

int WriteSeed(const CommandLine& line) {
    const auto seed = VarnelBase::Emulation::MakeSeedFromRecord(
        VarnelBase::Emulation::ReadHarFile(line.seedSource));
    const VarnelBase::Redaction redaction(line.emulator.secretMembers);
    std::cout << VarnelBase::JsonView(redaction.RedactBody(seed.dump())).Format(2) << '\n';
    return 0;
}

int Run(const CommandLine& line) {
    RequireWritable("--export-on-exit", line.exportFile);
    RequireWritable("--ready-file", line.readyFile);
    if (!line.seedSource.empty()) { return WriteSeed(line); }
    // The emulator's threads inherit this, so that the signals wait for whoever awaits them.
    if (line.command.empty()) {
        const sigset_t signals = MakeStopSignals();
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        RaiseDescriptorLimit();
    } else {
        VarnelBase::BlockChildSignals();
    }
    const std::unique_ptr<Emulator> emulator = std::make_unique<Emulator>(line.emulator);
    if (!VarnelBase::IsLoopback(line.emulator.address)) {
        std::cerr << "varnel-emulator: warning: everyone who can reach " << emulator->GetUrl()
                  << " can read and change its state\n";
    }
    for (const auto& rule : emulator->GetFaults()) {
        for (const auto& warning : rule.value("warnings", nlohmann::json::array())) {
            std::cerr << "varnel-emulator: warning: rule " << rule.at("id") << ": "
                      << warning.get<std::string>() << '\n';
        }
    }
    int status = 0;
    if (line.command.empty()) {
        AwaitStop(*emulator, line);
    } else {
        status = VarnelBase::Emulation::RunCommandWith(*emulator, line.emulator, line.command);
        VarnelBase::UnblockChildSignals();
        const std::string problems = emulator->CheckFaults();
        std::cerr << problems;
        if (status == 0 && !problems.empty()) { status = FailureStatus; }
    }
    emulator->Stop();
    if (!line.exportFile.empty()) { WriteFile(line.exportFile, emulator->Export().dump(2) + "\n"); }
    return status;
}

} // namespace

int main(int argc, char* argv[]) {
    try {
        const CommandLine line = VarnelBase::Emulation::ParseCommandLine(argc, argv);
        const int status = line.exitStatus ? *line.exitStatus : Run(line);
        // Its command was interrupted: the shell that waits for this program ends its loop only if
        // a signal ends this one too.
        if (status == InterruptedStatus) { std::raise(SIGINT); }
        return status;
    } catch (const std::exception& error) {
        std::cerr << "varnel-emulator: " << error.what() << '\n';
        return FailureStatus;
    }
}
