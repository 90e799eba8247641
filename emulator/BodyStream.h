#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace VarnelBase::Emulation {

/// A body that is sent while it is written. One side writes, from any thread; the server's side
/// sends.
class BodyStream {
public:
    /// Adds bytes. False: the stream has ended, since the client has gone, reads too slowly, or the
    /// server stops. Nothing more will be sent.
    bool Write(std::string_view bytes);

    /// Ends the body: what was written before is still sent.
    void Close();

    /// For the server: what to call, from the writer's thread, when there is something to take.
    void SetWakeUp(std::function<void()> function);

    /// For the server: what was written since the last call.
    ///
    /// @param hasEnded becomes true when nothing will follow
    std::string Take(bool& hasEnded);

private:
    void WakeUp() const;

    std::mutex mutex;
    std::string pending;
    bool isClosed = false;
    std::function<void()> wakeUp;
};

} // namespace VarnelBase::Emulation
