#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Messages.h"

namespace VarnelBase::Emulation {

/// Tells open pages what happens, as server-sent events. For several threads at a time.
class EventFeed {
public:
    /// An answer that lasts until its reader has gone.
    Answer Subscribe();

    bool HasReaders() const;
    void Publish(const std::string& event, const json& data);

private:
    mutable std::mutex mutex;
    std::vector<std::shared_ptr<BodyStream>> readers;
};

} // namespace VarnelBase::Emulation
