#include "AttemptMarks.h"

#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <system_error>

#include "CryptoText.h"
#include "PrivateFile.h"

namespace VarnelBase {

namespace {

constexpr const char* PasswordSuffix = ".refused";
constexpr const char* RefreshSuffix = ".unanswered";
constexpr std::time_t PasswordPauseSeconds = 60;
constexpr std::size_t MaxMarkBytes = 64;

void LeaveMark(const TokenFile& tokenFile, const char* suffix, const std::string& bytes) {
    if (tokenFile.directory.empty()) { return; }
    try {
        CreatePrivateDirectory(tokenFile.directory);
        ReplacePrivateFile(tokenFile.directory, tokenFile.name + suffix, bytes);
    } catch (const std::system_error&) { // A file system that takes no tokens takes no marks.
    }
}

} // namespace

void MarkPasswordRefused(const TokenFile& tokenFile) {
    LeaveMark(tokenFile, PasswordSuffix, "");
}

bool WasPasswordJustRefused(const TokenFile& tokenFile) {
    const std::string path = tokenFile.GetPath() + PasswordSuffix;
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 &&
           std::abs(std::time(nullptr) - status.st_mtime) < PasswordPauseSeconds;
}

void MarkRefreshUnanswered(const TokenFile& tokenFile, const std::string& refreshToken) {
    LeaveMark(tokenFile, RefreshSuffix, HashToBase64Url(refreshToken));
}

bool IsRefreshUnanswered(const TokenFile& tokenFile, const std::string& refreshToken) {
    const FileReading mark =
        ReadRegularFile(tokenFile.GetPath() + RefreshSuffix, MaxMarkBytes, SymbolicLinks::Refuse);
    return mark.problem.empty() && mark.bytes == HashToBase64Url(refreshToken);
}

} // namespace VarnelBase
