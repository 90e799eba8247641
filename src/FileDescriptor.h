#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace VarnelBase {

/// Closes a file, directory or socket at the end of its life.
class FileDescriptor {
public:
    explicit FileDescriptor(int opened) : number(opened) {}
    ~FileDescriptor() {
        if (number >= 0) { close(number); }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int Get() const { return number; }
    bool IsOpen() const { return number >= 0; }

private:
    int number;
};

/// Writes all bytes; false when that fails, with the reason in errno.
inline bool WriteAll(int file, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t count = write(file, bytes, size);
        if (count < 0 && errno != EINTR) { return false; }
        if (count > 0) {
            bytes += count;
            size -= static_cast<std::size_t>(count);
        }
    }
    return true;
}

} // namespace VarnelBase
