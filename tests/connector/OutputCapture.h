#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <string>

/// What an action sends to the descriptor of standard output, without what it leaves in a buffer.
/// It must send nothing to standard error.
inline std::string CaptureOutput(const std::function<void()>& action) {
    std::fflush(stdout);
    struct Stream {
        int descriptor, saved = dup(descriptor), file = memfd_create("output", 0);
        std::string text{};
    };
    std::array<Stream, 2> streams{Stream{STDOUT_FILENO}, Stream{STDERR_FILENO}};
    for (const Stream& stream : streams) { dup2(stream.file, stream.descriptor); }
    EXPECT_NO_THROW(action());
    for (Stream& stream : streams) {
        dup2(stream.saved, stream.descriptor);
        stream.text.resize(static_cast<std::size_t>(lseek(stream.file, 0, SEEK_END)));
        EXPECT_GE(pread(stream.file, stream.text.data(), stream.text.size(), 0), 0);
        close(stream.saved);
        close(stream.file);
    }
    EXPECT_EQ(streams[1].text, "");
    return streams[0].text;
}
