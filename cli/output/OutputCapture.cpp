#include "output/OutputCapture.h"

#include <iostream>

namespace VarnelBase {

OutputCapture::OutputCapture() : original(std::cout.rdbuf(this)) {}

OutputCapture::~OutputCapture() {
    // The line was begun, but finding the host for its rest failed.
    if (!str().empty()) { std::cout << std::endl; }
    std::cout.rdbuf(original);
}

int OutputCapture::sync() {
    const std::string text = str();
    // Writing to std::cerr flushes std::cout, which leads here again.
    if (text.empty()) { return 0; }
    str("");
    hasLink = hasLink || text.rfind("UI: ", 0) == 0;
    if (!isSilent) { std::cerr << text << std::flush; }
    return 0;
}

} // namespace VarnelBase
