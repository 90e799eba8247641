#pragma once

#include <sstream>
#include <string>

namespace VarnelBase {

/// Takes over what the library writes to std::cout and passes it on to standard error, so that
/// standard output holds results alone.
class OutputCapture : private std::stringbuf {
public:
    OutputCapture();
    ~OutputCapture() override;
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    /// From now on nothing is passed on.
    void Silence() { isSilent = true; }

    /// Whether the library has written the link that tells of an execution that was accepted (201).
    bool HasLink() const { return hasLink; }

private:
    int sync() override;

    std::streambuf* original;
    bool isSilent = false;
    bool hasLink = false;
};

} // namespace VarnelBase
