#include "ChildProgram.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <system_error>

namespace VarnelBase {

namespace {

sigset_t MakeSet(std::initializer_list<int> numbers) {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : numbers) { sigaddset(&set, number); }
    return set;
}

sigset_t MakeChildSignals() {
    return MakeSet({SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGCHLD});
}

std::vector<char*> MakePointers(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts) { pointers.push_back(const_cast<char*>(text.c_str())); }
    pointers.push_back(nullptr);
    return pointers;
}

/// Starts the program with signals as it expects them.
pid_t Spawn(const std::vector<std::string>& command, const std::vector<std::string>& environment) {
    const sigset_t none = MakeSet({});
    const sigset_t defaults = MakeSet({SIGPIPE}); // this process ignores it
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t child = 0;
    const int error = posix_spawnp(&child, command[0].c_str(), nullptr, &attributes,
                                   MakePointers(command).data(), MakePointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    if (error != 0) { throw ChildNotStarted(command[0], error); }
    return child;
}

std::vector<int> TakePending(const sigset_t& signals) {
    std::vector<int> taken;
    const timespec atOnce{};
    for (int number = 0; (number = sigtimedwait(&signals, nullptr, &atOnce)) > 0;) {
        taken.push_back(number);
    }
    return taken;
}

/// Passes signals on until the program ends; its status.
int AwaitEnd(pid_t child, const sigset_t& signals) {
    while (true) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) { return status; }
        siginfo_t facts{};
        const int number = sigwaitinfo(&signals, &facts);
        // A terminal that closes tells only this process.
        const bool isTyped = facts.si_code == SI_KERNEL && number != SIGHUP;
        if (number > 0 && number != SIGCHLD && !isTyped) { kill(child, number); }
    }
}

} // namespace

ChildNotStarted::ChildNotStarted(const std::string& program, int error)
    : std::runtime_error(program + ": " + std::generic_category().message(error)),
      status(error == ENOENT ? 127 : 126) {}

void BlockChildSignals() {
    // Where the caller's caller ignores it, the system reports no child's end.
    std::signal(SIGCHLD, SIG_DFL);
    const sigset_t signals = MakeChildSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void UnblockChildSignals() {
    const sigset_t signals = MakeChildSignals();
    TakePending(signals);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

int RunChild(const std::vector<std::string>& command, const std::vector<std::string>& environment) {
    const sigset_t signals = MakeChildSignals();
    const std::vector<int> earlier = TakePending(signals);
    const pid_t child = Spawn(command, environment);
    for (const int number : earlier) { kill(child, number); }
    const int status = AwaitEnd(child, signals);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace VarnelBase
