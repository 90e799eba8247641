#include "TemporaryHome.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

TemporaryHome::TemporaryHome() {
    if (mkdtemp(path.data()) == nullptr || setenv("HOME", path.c_str(), 1) != 0) { std::abort(); }
}

TemporaryHome::~TemporaryHome() {
    std::filesystem::remove_all(path);
}

void TemporaryHome::Write(const std::string& file, const std::uint8_t* bytes, std::size_t size) {
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (write(descriptor, bytes, size) != static_cast<ssize_t>(size)) { std::abort(); }
    close(descriptor);
}
