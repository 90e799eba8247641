#include "shell/IdentifierCache.h"

#include <ConfigFile.h>
#include <CryptoText.h>
#include <EnvironmentVariable.h>
#include <JsonView.h>
#include <KnownSettings.h>
#include <PrivateFile.h>
#include <UserDirectory.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <limits>
#include <sstream>

#include "session/Listing.h"

namespace VarnelBase {

namespace {

constexpr double PatienceSeconds = 0.3;
constexpr std::time_t FreshSeconds = 60;

/// Whoever waits for a completion must not wait for a provider that is slow to renew a token.
void LimitTime() {
    std::signal(SIGALRM, [](int /*signal*/) { _exit(0); });
    itimerval timer{};
    timer.it_value.tv_usec = static_cast<suseconds_t>(PatienceSeconds * 1e6);
    setitimer(ITIMER_REAL, &timer, nullptr);
}

/// The directory for what can be asked for again; empty: there is none.
std::string LocateCacheDirectory() {
    const std::string cache = LocateUserDirectory("XDG_CACHE_HOME", ".cache");
    return cache.empty() ? "" : cache + "/varnel";
}

/// What the answer depends on, as a file's name.
std::string NameFile(const std::string& target) {
    std::string facts = target + "\n" + LocateConfigFile();
    for (const char* name : {"VARNEL_ENVIRONMENT", "VARNEL_API_HOST", "VARNEL_API_PORT",
                             TokenVariable, "VARNEL_USERNAME"}) {
        facts += "\n" + ReadVariable(name);
    }
    return "identifiers-" + HashToBase64Url(facts);
}

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) { lines.push_back(line); }
    return lines;
}

} // namespace

std::vector<std::string> FindKnownIdentifiers(Session& session, const std::string& target) {
    try {
        const std::string directory = LocateCacheDirectory();
        const std::string name = NameFile(target);
        const std::string path = directory + "/" + name;
        struct stat status {};
        if (stat(path.c_str(), &status) == 0 &&
            std::time(nullptr) - status.st_mtime < FreshSeconds) {
            return SplitLines(
                ReadRegularFile(path, std::numeric_limits<int>::max(), SymbolicLinks::Refuse)
                    .bytes);
        }
        LimitTime();
        setenv("VARNEL_NONINTERACTIVE", "1", 1);
        session.options.timeoutSeconds = PatienceSeconds;
        session.options.retries = 0;
        std::string lines;
        for (const std::string& identifier : ListIdentifiers(session.Read(target))) {
            // What would be several words, or escape from a line, is left to be typed.
            if (identifier.find_first_of(" \t\n\\'\"$`") == std::string::npos) {
                lines += identifier + "\n";
            }
        }
        if (!directory.empty()) {
            CreatePrivateDirectory(directory);
            ReplacePrivateFile(directory, name, lines);
        }
        return SplitLines(lines);
    } catch (const std::exception&) {
        return {}; // a completion has nowhere to tell of it
    }
}

} // namespace VarnelBase
