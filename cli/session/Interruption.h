#pragma once

#include <string>

namespace VarnelBase {

/// From now on SIGINT, SIGTERM and SIGHUP, unless this process was started with them ignored, end
/// the program after what the guards below ask for. The program dies of the signal itself, so that
/// whoever waits for it, a shell with a loop, ends too.
void HandleInterruptions();

/// While it lives, a signal that ends the program removes the file.
class UnfinishedFile {
public:
    explicit UnfinishedFile(std::string path);
    ~UnfinishedFile();
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

private:
    std::string path;
};

/// While it lives, a signal that ends the program tells that a change may have been made.
class ChangeInFlight {
public:
    /// @param request for people: "POST /users"
    explicit ChangeInFlight(const std::string& request);
    ~ChangeInFlight();
    ChangeInFlight(const ChangeInFlight&) = delete;
    ChangeInFlight& operator=(const ChangeInFlight&) = delete;

private:
    std::string message;
};

/// While it lives, the first signal that would end the program is kept: its owner comes to an
/// orderly end and calls `Deliver`. A second signal ends the program at once.
class DeferredInterruption {
public:
    DeferredInterruption();
    ~DeferredInterruption();
    DeferredInterruption(const DeferredInterruption&) = delete;
    DeferredInterruption& operator=(const DeferredInterruption&) = delete;

    bool IsRequested() const;

    /// Ends the program by the signal that was kept.
    [[noreturn]] void Deliver() const;
};

} // namespace VarnelBase
