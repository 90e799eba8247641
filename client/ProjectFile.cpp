#include "ProjectFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "FileDescriptor.h"
#include "FreeName.h"

namespace VarnelBase {

namespace {

constexpr int MostNumbers = 10'000;

} // namespace

ProjectFile::~ProjectFile() {
    if (descriptor < 0) { return; }
    close(descriptor);
    unlink(temporary.c_str());
}

bool ProjectFile::Open() {
    std::error_code ignored;
    const auto there = std::filesystem::status(target, ignored);
    isInDirectory = std::filesystem::is_directory(there);
    if (!isInDirectory && std::filesystem::exists(there) &&
        !std::filesystem::is_regular_file(there)) {
        errno = ENOTSUP; // A device must not be replaced by a file.
        return Fail();
    }
    temporary = (isInDirectory ? target + "/" : target.substr(0, target.find_last_of('/') + 1)) +
                MakeUnfinishedName();
    descriptor =
        open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    return descriptor >= 0 || Fail();
}

bool ProjectFile::Write(const char* bytes, std::size_t size) {
    return WriteAll(descriptor, bytes, size) || Fail();
}

bool ProjectFile::Finish(const std::string& nameInDirectory) {
    if (isInDirectory) { target = std::filesystem::path(target) / nameInDirectory; }
    if (fsync(descriptor) != 0) { return Fail(); }
    const bool isPlaced =
        isInDirectory ? TakeNumberedName() : std::rename(temporary.c_str(), target.c_str()) == 0;
    if (!isPlaced) { return Fail(); }
    close(descriptor);
    descriptor = -1;
    return true;
}

bool ProjectFile::TakeNumberedName() {
    const std::filesystem::path wanted = target;
    for (int number = 2; number < MostNumbers; ++number) {
        if (TakeFreeName(temporary, target)) { return true; }
        if (errno != EEXIST) { return false; }
        target = wanted.parent_path() / (wanted.stem().string() + "-" + std::to_string(number) +
                                         wanted.extension().string());
    }
    return false;
}

std::string ProjectFile::DescribeError() const {
    return target + ": " + std::generic_category().message(error);
}

bool ProjectFile::Fail() {
    error = errno;
    return false;
}

} // namespace VarnelBase
