// For 32-bit systems: a file whose number needs 64 bits can be opened and listed there too. The
// name is the C library's own.
#define _FILE_OFFSET_BITS 64 // NOLINT(bugprone-reserved-identifier,readability-identifier-naming)

#include "PrivateFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <memory>
#include <system_error>

#include "HexText.h"

namespace VarnelBase {

namespace {

constexpr mode_t PrivateFileMode = 0600;
constexpr mode_t PrivateDirectoryMode = 0700;
constexpr mode_t OthersMode = 0077;
constexpr std::time_t LeftoverSeconds = 60;
constexpr const char* TemporarySuffix = ".tmp";

std::string DescribeError(int error) {
    return std::generic_category().message(error);
}

[[noreturn]] void ThrowError(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

bool IsPrivate(const struct stat& status) {
    return status.st_uid == geteuid() && (status.st_mode & OthersMode) == 0;
}

std::string MakeRandomName(const std::string& name) {
    std::array<unsigned char, 8> random{};
    if (RAND_bytes(random.data(), static_cast<int>(random.size())) != 1) {
        throw std::system_error(EIO, std::generic_category(), "random numbers");
    }
    std::string result = name + ".";
    for (const unsigned char byte : random) { result += FormatHex(byte); }
    return result + TemporarySuffix;
}

/// Removes the temporary files that a writer left behind when it was killed.
void RemoveLeftovers(const std::string& directory, const std::string& name) {
    // Not with std::filesystem: its iterator ends the program when memory runs out.
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(directory.c_str()), closedir);
    const std::string suffix = TemporarySuffix;
    while (const dirent* entry = entries ? readdir(entries.get()) : nullptr) {
        const std::string found = entry->d_name;
        struct stat status {};
        if (found.rfind(name + ".", 0) == 0 &&
            found.rfind(suffix) == found.size() - suffix.size() &&
            fstatat(dirfd(entries.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            status.st_mtime < std::time(nullptr) - LeftoverSeconds) {
            unlinkat(dirfd(entries.get()), entry->d_name, 0);
        }
    }
}

/// Leftovers are removed before the new file exists: where the file system's clock is behind this
/// machine's, that one looks like a leftover too.
std::string MakeTemporaryName(const std::string& directory, const std::string& name) {
    RemoveLeftovers(directory, name);
    return MakeRandomName(name);
}

/// Refuses root a directory below another user's, who could no longer use what root leaves there.
void RequireOwnHome(const struct stat& existing, const std::string& path) {
    if (geteuid() != 0 || existing.st_uid == 0) { return; }
    throw std::system_error(EPERM, std::generic_category(),
                            path + " belongs to another user: run this as that user, or set HOME");
}

} // namespace

FileReading ReadRegularFile(const std::string& path, std::size_t maxBytes, SymbolicLinks links) {
    FileReading reading;
    const int refusal = links == SymbolicLinks::Refuse ? O_NOFOLLOW : 0;
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | refusal));
    if (!file.IsOpen()) {
        reading.isMissing = errno == ENOENT || errno == ENOTDIR;
        reading.lacksDescriptor = errno == EMFILE || errno == ENFILE;
        reading.problem = DescribeError(errno);
        return reading;
    }
    struct stat status {};
    if (fstat(file.Get(), &status) != 0) {
        reading.problem = DescribeError(errno);
        return reading;
    }
    if (!S_ISREG(status.st_mode)) {
        reading.problem = "not a regular file";
        return reading;
    }
    reading.isPrivate = IsPrivate(status);

    std::array<char, 4096> chunk{};
    while (true) {
        const ssize_t count = read(file.Get(), chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR) { continue; }
        if (count < 0) {
            reading.problem = DescribeError(errno);
            return reading;
        }
        if (count == 0) { return reading; }
        reading.bytes.append(chunk.data(), static_cast<std::size_t>(count));
        if (reading.bytes.size() > maxBytes) {
            reading.problem = "larger than " + std::to_string(maxBytes) + " bytes";
            return reading;
        }
    }
}

void CreatePrivateDirectory(const std::string& path) {
    struct stat status {};
    std::string nearest; // of those that exist
    for (std::size_t end = path.find('/', 1); true; end = path.find('/', end + 1)) {
        const std::string part = path.substr(0, end);
        struct stat found {};
        if (stat(part.c_str(), &found) == 0) {
            nearest = part;
            status = found;
        } else if (errno != ENOENT) {
            ThrowError(part);
        } else {
            RequireOwnHome(status, nearest);
            // Whatever the umask takes away.
            const bool isMade = mkdir(part.c_str(), PrivateDirectoryMode) == 0;
            if (isMade ? chmod(part.c_str(), PrivateDirectoryMode) != 0 : errno != EEXIST) {
                ThrowError(part);
            }
        }
        if (end == std::string::npos) { break; }
    }
    RequireOwnHome(status, nearest);
    const FileDescriptor directory(
        open(path.c_str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY | O_NOFOLLOW));
    if (!directory.IsOpen() || fstat(directory.Get(), &status) != 0) {
        struct stat link {};
        const int error = errno;
        const bool isLink = lstat(path.c_str(), &link) == 0 && S_ISLNK(link.st_mode);
        errno = error;
        ThrowError(isLink ? path + " must not be a symbolic link" : path);
    }
    if (!IsPrivate(status) && fchmod(directory.Get(), PrivateDirectoryMode) != 0) {
        ThrowError(path);
    }
}

FileReplacement::FileReplacement(const std::string& directory, const std::string& fileName,
                                 std::size_t size)
    : path(directory + "/" + fileName),
      name(fileName),
      temporary(MakeTemporaryName(directory, fileName)),
      parent(open(directory.c_str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY)),
      file(parent.IsOpen()
               ? openat(parent.Get(), temporary.c_str(),
                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, PrivateFileMode)
               : -1) {
    if (!parent.IsOpen()) { ThrowError(directory); }
    if (!file.IsOpen()) { ThrowError(path); }
    int error = fchmod(file.Get(), PrivateFileMode) == 0 ? 0 : errno;
    if (error == 0 && size > 0) {
        error = posix_fallocate(file.Get(), 0, static_cast<off_t>(size));
        if (error == EOPNOTSUPP || error == EINVAL) { error = 0; } // Writing will tell.
    }
    if (error != 0) {
        unlinkat(parent.Get(), temporary.c_str(), 0);
        throw std::system_error(error, std::generic_category(), path);
    }
}

FileReplacement::~FileReplacement() {
    if (!isDone) { unlinkat(parent.Get(), temporary.c_str(), 0); }
}

void FileReplacement::Finish(const std::string& bytes) {
    if (!WriteAll(file.Get(), bytes.data(), bytes.size())) { ThrowError(path); }
    if (ftruncate(file.Get(), static_cast<off_t>(bytes.size())) != 0) { ThrowError(path); }
    if (fsync(file.Get()) != 0) { ThrowError(path); }
    if (renameat(parent.Get(), temporary.c_str(), parent.Get(), name.c_str()) != 0) {
        ThrowError(path);
    }
    isDone = true;
    // A file system that cannot do this for a directory says EINVAL.
    if (fsync(parent.Get()) != 0 && errno != EINVAL) { ThrowError(path); }
}

void ReplacePrivateFile(const std::string& directory, const std::string& name,
                        const std::string& bytes) {
    FileReplacement(directory, name, 0).Finish(bytes);
}

void RemovePrivateFile(const std::string& directory, const std::string& name) {
    RemoveLeftovers(directory, name);
    const std::string path = directory + "/" + name;
    if (unlink(path.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR) { ThrowError(path); }
}

} // namespace VarnelBase
