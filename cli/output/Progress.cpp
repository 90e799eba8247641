#include "output/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iostream>

#include "EnvironmentVariable.h"
#include "output/Terminal.h"
#include "output/Utf8Text.h"

namespace VarnelBase {

namespace {

constexpr int BarColumns = 20;

bool IsOverwritable() {
    return IsTerminal(STDERR_FILENO) && ReadVariable("TERM") != "dumb";
}

std::string DrawBar(double fraction) {
    const auto filled = static_cast<std::size_t>(std::lround(fraction * BarColumns));
    return "[" + std::string(filled, '#') + std::string(BarColumns - filled, '-') + "] ";
}

} // namespace

Progress::~Progress() {
    if (!last.empty() && IsOverwritable()) { std::cerr << std::endl; }
}

void Progress::Show(const std::string& text, std::optional<double> fraction) {
    std::string line = MakePrintable(text);
    if (fraction) {
        const double known = std::clamp(*fraction, 0.0, 1.0);
        if (IsOverwritable()) { line = DrawBar(known) + line; }
        line += " " + std::to_string(std::lround(known * 100)) + " %";
    }
    if (isSilent || line == last) { return; }
    last = line;
    if (IsOverwritable()) {
        const std::size_t columns = FindTerminalWidth(STDERR_FILENO);
        std::cerr << "\r\033[K" << CutToWidth(line, columns - 1) << std::flush;
    } else {
        std::cerr << line << std::endl;
    }
}

} // namespace VarnelBase
