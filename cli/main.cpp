#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "CommandTree.h"
#include "output/ExitStatus.h"
#include "output/Output.h"
#include "session/Interruption.h"
#include "session/Session.h"
#include "shell/Suggestion.h"

namespace {

using VarnelBase::CommandError;
using VarnelBase::ExitStatus;
using VarnelBase::Session;

/// Takes the numbers of standard streams that are closed, so that no file gets one of them. Writing
/// to a standard output that is closed fails all the same.
void FillStandardStreams() {
    for (int number = open("/dev/null", O_RDONLY); number >= 0; number = dup(number)) {
        if (number <= STDERR_FILENO) { continue; }
        close(number);
        break;
    }
}

/// The words of the command line, the last one first. "--to=", which an unset variable leaves
/// behind, becomes an option with an empty value: the parser would take the next word for the
/// value.
std::vector<std::string> ListWordsBackwards(int argc, char** argv) {
    std::vector<std::string> words;
    bool isProgram = false;
    for (const std::string& word : std::vector<std::string>(argv + 1, argv + argc)) {
        isProgram = isProgram || word == "--";
        const bool isEmptied =
            !isProgram && word.rfind("--", 0) == 0 && word.find('=') + 1 == word.size();
        words.push_back(isEmptied ? word.substr(0, word.size() - 1) : word);
        if (isEmptied) { words.emplace_back(); }
    }
    std::reverse(words.begin(), words.end());
    return words;
}

/// Parses the command line; whether there is a command to run.
bool Parse(CLI::App& tree, int argc, char** argv) {
    try {
        tree.parse(ListWordsBackwards(argc, argv));
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

void Run(Session& session, int argc, char** argv) {
    const auto tree = VarnelBase::BuildCommandTree(session);
    if (!Parse(*tree, argc, argv)) { return; }
    VarnelBase::ApplyEnvironmentOptions(session.options);
    session.run(session);
}

int Fail(ExitStatus status, const std::string& message) {
    if (!message.empty()) { VarnelBase::WriteMessage(message); }
    return static_cast<int>(status);
}

} // namespace

int main(int argc, char** argv) {
    // Results are UTF-8 whatever the user's language; the locale says how wide characters are.
    std::setlocale(LC_CTYPE, "C.UTF-8");
    std::signal(SIGPIPE, SIG_IGN);
    FillStandardStreams();
    VarnelBase::HandleInterruptions();
    Session session;
    try {
        Run(session, argc, argv);
        return static_cast<int>(ExitStatus::Done);
    } catch (const CommandError& error) {
        // A traced program has ended so: the shell that waits for this one ends its loop only then.
        if (error.GetStatus() == ExitStatus::Interrupted) { std::raise(SIGINT); }
        return Fail(error.GetStatus(), error.what());
    } catch (const std::system_error& error) {
        return Fail(ExitStatus::Refused, error.what());
    } catch (const std::exception& error) {
        // What the library says of settings that cannot be used, unless something was sent already.
        return Fail(session.HasSent() ? ExitStatus::Refused : ExitStatus::Usage, error.what());
    }
}
