#include "commands/DownloadTarget.h"

#include <FreeName.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "output/ExitStatus.h"

namespace VarnelBase {

namespace {

constexpr const char* UnnamedProject = "project";

[[noreturn]] void ThrowFileError(const std::string& path, int error) {
    throw CommandError(ExitStatus::Refused, path + ": " + std::generic_category().message(error));
}

void RequireFree(const std::string& path, bool isReplacing) {
    struct stat status {};
    const bool exists = lstat(path.c_str(), &status) == 0;
    if (!exists && errno != ENOENT) { ThrowFileError(path, errno); }
    if (exists && !isReplacing) {
        throw CommandError(ExitStatus::Refused, path + ": exists (--force replaces it)");
    }
}

/// Puts the complete temporary file in its place; 0, or the number of the error.
int MoveIntoPlace(const std::string& temporary, const std::string& path, bool isReplacing) {
    const bool isMoved = isReplacing ? std::rename(temporary.c_str(), path.c_str()) == 0
                                     : TakeFreeName(temporary, path);
    return isMoved ? 0 : errno;
}

} // namespace

DownloadTarget::DownloadTarget(const std::string& place, bool mayReplace)
    : isReplacing(mayReplace) {
    struct stat status {};
    const bool exists = stat(place.c_str(), &status) == 0;
    if (place == "-") {
        file.emplace(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
        path = "standard output";
    } else if (exists && !S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode)) {
        path = place;
        file.emplace(open(place.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
    } else if (place.empty() || (exists && S_ISDIR(status.st_mode))) {
        OpenFile(place);
    } else {
        RequireFree(place, isReplacing);
        // What a link leads to is replaced, not the link.
        path = exists ? std::filesystem::canonical(place).string() : place;
        OpenFile(std::filesystem::path(path).parent_path().string());
    }
    if (!file->IsOpen()) { ThrowFileError(path.empty() ? temporary : path, errno); }
}

DownloadTarget::~DownloadTarget() {
    if (unfinished) { unlink(temporary.c_str()); }
}

void DownloadTarget::OpenFile(const std::string& chosen) {
    directory = chosen;
    temporary = (directory.empty() ? "." : directory) + "/" + MakeUnfinishedName();
    unfinished.emplace(temporary);
    file.emplace(
        open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
}

bool DownloadTarget::Write(const char* bytes, std::size_t count) {
    if (error == 0 && !WriteAll(file->Get(), bytes, count)) { error = errno; }
    return error == 0;
}

void DownloadTarget::RequireWritten() const {
    if (error != 0) { ThrowFileError(path.empty() ? temporary : path, error); }
}

std::string DownloadTarget::Finish(const std::string& serviceName) {
    RequireWritten();
    if (IsStream()) { return path; }
    if (path.empty()) {
        const std::string name = serviceName.empty() ? UnnamedProject : serviceName;
        path = directory.empty() ? name : directory + "/" + name;
    }
    if (fsync(file->Get()) != 0) { ThrowFileError(path, errno); }
    const int problem = MoveIntoPlace(temporary, path, isReplacing);
    if (problem == EEXIST) { RequireFree(path, isReplacing); }
    if (problem != 0) { ThrowFileError(path, problem); }
    unfinished.reset();
    return path;
}

} // namespace VarnelBase
