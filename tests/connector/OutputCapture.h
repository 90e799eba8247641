#pragma once

#include <string>

/// Collects what goes to a file descriptor while it lives, and passes on what nobody took.
class OutputCapture {
public:
    explicit OutputCapture(int captured);
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    /// What has reached the descriptor since the last call; not what still waits in a buffer.
    std::string Take() const;

private:
    int descriptor;
    int file;
    int saved;
};
