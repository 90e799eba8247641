#include "PrivateConfigFile.h"

#include <EnvironmentVariable.h>
#include <PrivateFile.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <system_error>

namespace VarnelBase {

namespace {

constexpr const char* ConfigName = "config.json";
constexpr const char* Prefix = "varnel-config-";
constexpr std::time_t LeftoverSeconds = 60;

int OpenDirectory(const std::string& directory) {
    return open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

/// Whether a directory is this user's and has been there for longer than it takes to lock it.
bool IsOld(int directory) {
    struct stat status {};
    return fstat(directory, &status) == 0 && status.st_uid == geteuid() &&
           std::time(nullptr) - status.st_mtime > LeftoverSeconds;
}

void RemoveDirectory(const std::string& directory) {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

/// Removes directories whose owners have gone without doing so.
void SweepLeftovers(const std::string& parent) {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(parent, ignored)) {
        if (entry.path().filename().string().rfind(Prefix, 0) != 0) { continue; }
        const FileDescriptor directory(OpenDirectory(entry.path()));
        if (!directory.IsOpen() || !IsOld(directory.Get())) { continue; }
        if (flock(directory.Get(), LOCK_EX | LOCK_NB) == 0) { RemoveDirectory(entry.path()); }
    }
}

} // namespace

std::string LocateRuntimeDirectory() {
    const std::string runtime = ReadVariable("XDG_RUNTIME_DIR");
    return runtime.empty() ? std::filesystem::temp_directory_path().string() : runtime;
}

PrivateConfigFile::PrivateConfigFile(const std::string& parent, const std::string& text)
    : directory(parent + "/" + Prefix + "XXXXXX") {
    SweepLeftovers(parent);
    if (mkdtemp(directory.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), directory);
    }
    lock.emplace(OpenDirectory(directory));
    flock(lock->Get(), LOCK_EX);
    try {
        ReplacePrivateFile(directory, ConfigName, text);
    } catch (const std::exception&) {
        RemoveDirectory(directory);
        throw;
    }
}

PrivateConfigFile::~PrivateConfigFile() {
    RemoveDirectory(directory);
}

std::string PrivateConfigFile::GetPath() const {
    return directory + "/" + ConfigName;
}

} // namespace VarnelBase
