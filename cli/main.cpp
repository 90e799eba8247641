#include <unistd.h>

#include <clocale>
#include <csignal>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>

#include "CommandTree.h"
#include "output/ExitStatus.h"
#include "output/Output.h"
#include "output/Utf8Text.h"
#include "session/Session.h"
#include "shell/Suggestion.h"

namespace {

using VarnelBase::CommandError;
using VarnelBase::ExitStatus;

[[noreturn]] void EndInterrupted(int /*signal*/) {
    _exit(static_cast<int>(ExitStatus::Interrupted));
}

/// Parses the command line; whether there is a command to run.
bool Parse(CLI::App& tree, int argc, char** argv) {
    try {
        tree.parse(argc, argv);
        return true;
    } catch (const CLI::CallForVersion& version) {
        VarnelBase::WriteOutput(std::string(version.what()) + "\n");
    } catch (const CLI::CallForHelp&) {
        VarnelBase::WriteOutput(tree.help());
    } catch (const CLI::ParseError& error) {
        throw CommandError(ExitStatus::Usage, VarnelBase::DescribeParseError(tree, error));
    }
    return false;
}

void Run(int argc, char** argv) {
    VarnelBase::Session session;
    const auto tree = VarnelBase::BuildCommandTree(session);
    if (!Parse(*tree, argc, argv)) { return; }
    VarnelBase::ApplyEnvironmentOptions(session.arguments);
    session.run(session);
}

int Fail(ExitStatus status, const std::string& message) {
    if (!message.empty()) { std::cerr << "varnel: " << message << std::endl; }
    return static_cast<int>(status);
}

} // namespace

int main(int argc, char** argv) {
    // Results are UTF-8 whatever the user's language; the locale says how wide characters are.
    std::setlocale(LC_CTYPE, "C.UTF-8");
    std::signal(SIGINT, EndInterrupted);
    try {
        Run(argc, argv);
        return static_cast<int>(ExitStatus::Done);
    } catch (const CommandError& error) {
        return Fail(error.GetStatus(), error.what());
    } catch (const std::system_error& error) {
        return Fail(ExitStatus::Refused, error.what());
    } catch (const std::runtime_error& error) {
        // What the library says of settings that cannot be used.
        return Fail(ExitStatus::Usage, error.what());
    } catch (const std::exception& error) { return Fail(ExitStatus::Refused, error.what()); }
}
