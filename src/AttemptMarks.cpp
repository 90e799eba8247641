#include "AttemptMarks.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <map>
#include <mutex>

#include "CryptoText.h"
#include "PrivateFile.h"

namespace VarnelBase {

namespace {

constexpr const char* PasswordSuffix = ".refused";
constexpr const char* PauseSuffix = ".pause";
constexpr std::time_t PasswordPauseSeconds = 60;
constexpr std::chrono::seconds MaxPause(3600);
constexpr std::size_t MaxMarkBytes = 64;

/// Until when this process knows that a mark holds, where none could be left.
class UnmarkedTimes {
public:
    void Set(const std::string& name, std::time_t until) {
        const std::lock_guard lock(mutex);
        times[name] = until;
    }
    std::time_t Find(const std::string& name) {
        const std::lock_guard lock(mutex);
        const auto found = times.find(name);
        return found == times.end() ? 0 : found->second;
    }

private:
    std::mutex mutex;
    std::map<std::string, std::time_t> times;
};

UnmarkedTimes& GetUnmarkedTimes() {
    static UnmarkedTimes times;
    return times;
}

/// Leaves a mark that holds until then.
void LeaveMark(const TokenFile& mark, std::time_t until) {
    try {
        RequireTokenDirectory(mark);
        CreatePrivateDirectory(mark.directory);
        ReplacePrivateFile(mark.directory, mark.name, std::to_string(until));
    } catch (const std::runtime_error&) { GetUnmarkedTimes().Set(mark.name, until); }
}

/// How long a mark holds; a clock that was set back meanwhile makes it hold no longer than `max`.
std::time_t ReadMark(const TokenFile& mark, std::time_t max) {
    const FileReading reading =
        ReadRegularFile(mark.GetPath(), MaxMarkBytes, SymbolicLinks::Refuse);
    const std::time_t noted = std::strtol(reading.bytes.c_str(), nullptr, 10);
    const std::time_t until = std::max(noted, GetUnmarkedTimes().Find(mark.name));
    const std::time_t left = until - std::time(nullptr);
    return left > max ? 0 : std::max<std::time_t>(left, 0);
}

TokenFile LocatePasswordMark(const TokenFile& tokenFile) {
    return {tokenFile.directory, tokenFile.name + PasswordSuffix};
}

TokenFile LocatePauseMark(const std::string& server) {
    return {LocateTokenDirectory(), HashToBase64Url(server) + PauseSuffix};
}

} // namespace

void MarkPasswordRefused(const TokenFile& tokenFile) {
    LeaveMark(LocatePasswordMark(tokenFile), std::time(nullptr) + PasswordPauseSeconds);
}

bool WasPasswordJustRefused(const TokenFile& tokenFile) {
    return ReadMark(LocatePasswordMark(tokenFile), PasswordPauseSeconds) > 0;
}

void MarkServerPause(const std::string& server, std::chrono::seconds pause) {
    LeaveMark(LocatePauseMark(server), std::time(nullptr) + std::min(pause, MaxPause).count());
}

std::chrono::seconds ReadServerPause(const std::string& server) {
    return std::chrono::seconds(ReadMark(LocatePauseMark(server), MaxPause.count()));
}

} // namespace VarnelBase
