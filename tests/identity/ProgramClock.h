#pragma once

#include <chrono>
#include <functional>

namespace VarnelBase {

/// The program's time and what it waits for, in a test's hands, in place of the C library's calls.
/// The clocks stand still but for what the program waits: a sleep, and a wait for a socket that
/// nothing comes of, take no time but on these clocks.
struct ProgramClock {
    std::chrono::milliseconds passed{0};  ///< since the program began
    bool isPeerSilent = false;            ///< no wait for bytes ever ends well
    std::chrono::milliseconds perWait{0}; ///< what every wait for a socket takes besides
    std::function<void()> atSleep;        ///< done whenever the program sleeps
    std::function<void()> atWait;         ///< done when it waits for a socket the next time
    std::function<void(int)> atListen;    ///< done with a socket that it listens at

    /// The one that the calls go by.
    static ProgramClock& Get();
};

} // namespace VarnelBase
