#include "OutputCapture.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

OutputCapture::OutputCapture(int captured)
    : descriptor(captured), file(memfd_create("output", MFD_CLOEXEC)), saved(dup(captured)) {
    (void)std::fflush(stdout);
    dup2(file, descriptor);
}

OutputCapture::~OutputCapture() {
    (void)std::fflush(stdout);
    dup2(saved, descriptor);
    const std::string rest = Take(); // such as a failed test's messages
    if (write(descriptor, rest.data(), rest.size()) < 0) { std::perror("write"); }
    close(saved);
    close(file);
}

std::string OutputCapture::Take() const {
    // The descriptor shares this file's offset, so that seeking takes it along.
    const off_t end = lseek(file, 0, SEEK_END);
    std::string text(static_cast<std::size_t>(end), '\0');
    const ssize_t count = pread(file, text.data(), text.size(), 0);
    if (count != end || ftruncate(file, 0) != 0) { text = "(cannot be read)"; }
    lseek(file, 0, SEEK_SET);
    return text;
}
