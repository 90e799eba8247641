#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// A directory in memory that serves as the home directory and is removed at the end.
class TemporaryHome {
public:
    TemporaryHome();
    ~TemporaryHome();
    TemporaryHome(const TemporaryHome&) = delete;
    TemporaryHome& operator=(const TemporaryHome&) = delete;

    const std::string& GetPath() const { return path; }

    /// Gives a file (0600) these bytes.
    static void Write(const std::string& file, const std::uint8_t* bytes, std::size_t size);

private:
    std::string path = "/dev/shm/fuzz-XXXXXX";
};
