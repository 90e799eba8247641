#include "output/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include "EnvironmentVariable.h"

namespace VarnelBase {

namespace {

constexpr std::size_t UsualWidth = 80;

} // namespace

bool IsTerminal(int descriptor) {
    return isatty(descriptor) == 1;
}

std::size_t ReadTerminalWidth(int descriptor) {
    winsize size{};
    const bool isKnown = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : UsualWidth;
}

std::string Emphasise(int descriptor, const std::string& text) {
    const bool isPlain = !IsTerminal(descriptor) || !ReadVariable("NO_COLOR").empty() ||
                         ReadVariable("TERM") == "dumb";
    return isPlain ? text : "\033[1m" + text + "\033[0m";
}

} // namespace VarnelBase
