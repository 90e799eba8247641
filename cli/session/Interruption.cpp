#include "session/Interruption.h"

#include <Utf8Text.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace VarnelBase {

namespace {

// Read by the handler, which may call only what is safe in it.
std::atomic<const char*> unfinishedFile{nullptr};
std::atomic<const char*> changeMessage{nullptr};
std::atomic<bool> isDeferring{false};
std::atomic<int> keptSignal{0};

void EndProgram(int number) {
    int none = 0;
    if (isDeferring && keptSignal.compare_exchange_strong(none, number)) { return; }
    const char* path = unfinishedFile;
    if (path != nullptr) { unlink(path); }
    const char* message = changeMessage;
    if (message != nullptr) {
        [[maybe_unused]] const ssize_t written =
            write(STDERR_FILENO, message, std::strlen(message));
    }
    std::signal(number, SIG_DFL);
    std::raise(number);
}

} // namespace

void HandleInterruptions() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction current {};
        sigaction(number, nullptr, &current);
        if (current.sa_handler != SIG_IGN) { std::signal(number, EndProgram); }
    }
}

UnfinishedFile::UnfinishedFile(std::string chosen) : path(std::move(chosen)) {
    unfinishedFile = path.c_str();
}

UnfinishedFile::~UnfinishedFile() {
    unfinishedFile = nullptr;
}

ChangeInFlight::ChangeInFlight(const std::string& request)
    : message("varnel: interrupted: " + MakePrintable(request) +
              " may have been made; check before you send it again\n") {
    changeMessage = message.c_str();
}

ChangeInFlight::~ChangeInFlight() {
    changeMessage = nullptr;
}

DeferredInterruption::DeferredInterruption() {
    keptSignal = 0;
    isDeferring = true;
}

DeferredInterruption::~DeferredInterruption() {
    isDeferring = false;
}

bool DeferredInterruption::IsRequested() const {
    return keptSignal != 0;
}

void DeferredInterruption::Deliver() const {
    EndProgram(keptSignal);
    std::abort(); // only if the signal is blocked
}

} // namespace VarnelBase
