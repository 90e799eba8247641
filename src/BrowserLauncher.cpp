#include "BrowserLauncher.h"

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

#include "EnvironmentVariable.h"
#include "KnownSettings.h"

extern char** environ; // NOLINT(readability-redundant-declaration): POSIX leaves it to the program

namespace VarnelBase {

namespace {

using Words = std::vector<std::string>;

constexpr std::chrono::seconds FailureWindow(1);
constexpr std::chrono::milliseconds LaunchPollInterval(10);
constexpr int FirstInheritedDescriptor = 3;

Words Split(const std::string& text, char separator) {
    Words parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        if (!part.empty()) { parts.push_back(part); }
    }
    return parts;
}

std::vector<Words> ListCommands() {
    std::vector<Words> commands;
    for (const std::string& command : Split(ReadVariable("BROWSER"), ':')) {
        commands.push_back(Split(command, ' '));
    }
    if (!commands.empty()) { return commands; }
#ifdef __APPLE__
    return {{"open"}};
#else
    if (!ReadVariable("WSL_DISTRO_NAME").empty()) { return {{"wslview"}, {"xdg-open"}}; }
    // Without a screen it would start a browser in the terminal, which has no terminal here.
    const bool hasScreen =
        !ReadVariable("DISPLAY").empty() || !ReadVariable("WAYLAND_DISPLAY").empty();
    return hasScreen ? std::vector<Words>{{"xdg-open"}} : std::vector<Words>();
#endif
}

Words PutInto(Words command, const std::string& url) {
    bool isIn = false;
    for (std::string& word : command) {
        const std::size_t place = word.find("%s");
        if (place == std::string::npos) { continue; }
        word.replace(place, 2, url);
        isIn = true;
    }
    if (!isIn) { command.push_back(url); }
    return command;
}

/// The process environment without the secrets in it.
Words FilterEnvironment() {
    Words kept;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('='));
        const bool isSecret =
            name == TokenVariable ||
            std::any_of(KnownSettings.begin(), KnownSettings.end(), [&name](const auto& setting) {
                return setting.kind == SettingKind::Secret && name == setting.variable;
            });
        if (!isSecret) { kept.push_back(text); }
    }
    return kept;
}

std::vector<char*> PointToWords(Words& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) { pointers.push_back(word.data()); }
    pointers.push_back(nullptr);
    return pointers;
}

/// Makes a child begin with only its standard streams.
void CloseInherited([[maybe_unused]] posix_spawn_file_actions_t& actions) {
#ifndef __APPLE__ // where a flag does it
#if __GLIBC__ * 100 + __GLIBC_MINOR__ >= 234
    posix_spawn_file_actions_addclosefrom_np(&actions, FirstInheritedDescriptor);
#else
    // Those that are open now: all that another libc can be told.
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir("/proc/self/fd"), closedir);
    while (const dirent* entry = entries ? readdir(entries.get()) : nullptr) {
        const int descriptor = std::atoi(entry->d_name);
        if (descriptor >= FirstInheritedDescriptor) {
            posix_spawn_file_actions_addclose(&actions, descriptor);
        }
    }
#endif
#endif
}

/// How a child begins: standard streams on the null device, no other descriptors, signals as at the
/// start of a program.
class SpawnSettings {
public:
    SpawnSettings() {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
        }
        short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
#ifdef __APPLE__
        flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
#endif
        CloseInherited(actions);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes, &signals);
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&attributes, &signals);
        posix_spawnattr_setflags(&attributes, flags);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    pid_t Spawn(Words command) const {
        Words environment = FilterEnvironment();
        pid_t child = -1;
        const int error =
            posix_spawnp(&child, command.front().c_str(), &actions, &attributes,
                         PointToWords(command).data(), PointToWords(environment).data());
        return error == 0 ? child : -1;
    }

private:
    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

/// Whether a child has ended; then `status` says how, 0 when that cannot be told.
bool HasEnded(pid_t child, int& status) {
    status = 0;
    const pid_t ended = waitpid(child, &status, WNOHANG);
    return ended == child || (ended < 0 && errno == ECHILD);
}

/// A browser that is still running and that has not been reaped.
std::atomic<pid_t> runningBrowser{-1};

bool HasStarted(pid_t child) {
    const auto deadline = std::chrono::steady_clock::now() + FailureWindow;
    while (std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        if (HasEnded(child, status)) { return status == 0; }
        std::this_thread::sleep_for(LaunchPollInterval);
    }
    runningBrowser = child;
    return true;
}

} // namespace

bool LaunchBrowser(const std::string& url) {
    const pid_t earlier = runningBrowser.exchange(-1);
    int ignored = 0;
    if (earlier > 0) { HasEnded(earlier, ignored); }

    const SpawnSettings settings;
    const std::vector<Words> commands = ListCommands();
    return std::any_of(commands.begin(), commands.end(), [&](const Words& command) {
        if (command.empty()) { return false; }
        const pid_t child = settings.Spawn(PutInto(command, url));
        return child > 0 && HasStarted(child);
    });
}

} // namespace VarnelBase
