#include "output/Progress.h"

#include <Utf8Text.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iostream>

#include "EnvironmentVariable.h"
#include "output/Terminal.h"

namespace VarnelBase {

namespace {

constexpr int BarColumns = 20;

std::string DrawBar(double fraction) {
    const auto filled = static_cast<std::size_t>(std::lround(fraction * BarColumns));
    return "[" + std::string(filled, '#') + std::string(BarColumns - filled, '-') + "] ";
}

} // namespace

Progress::Progress(bool isQuiet)
    : isShown(!isQuiet && IsTerminal(STDERR_FILENO) && ReadVariable("TERM") != "dumb") {}

Progress::~Progress() {
    if (!last.empty()) { std::cerr << std::endl; }
}

void Progress::Clear() {
    if (!last.empty()) { std::cerr << "\r\033[K"; }
    last.clear();
}

void Progress::Show(const std::string& text, std::optional<double> fraction) {
    std::string line = MakePrintable(text);
    if (fraction) {
        const double known = std::clamp(*fraction, 0.0, 1.0);
        line = DrawBar(known) + line + " " + std::to_string(std::lround(known * 100)) + " %";
    }
    if (!isShown || line == last) { return; }
    last = line;
    const std::size_t columns = ReadTerminalWidth(STDERR_FILENO);
    std::cerr << "\r\033[K" << CutToWidth(line, columns - 1) << std::flush;
}

} // namespace VarnelBase
