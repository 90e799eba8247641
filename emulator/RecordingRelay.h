#pragma once

#include <FileDescriptor.h>
#include <Redaction.h>

#include <mutex>
#include <optional>
#include <string>

#include "Replay.h"
#include "Upstream.h"

namespace VarnelBase::Emulation {

/// Answers from a record, asks the real service what is not in it, and adds that to the record's
/// file at once. For several threads at a time.
class RecordingRelay {
public:
    /// @param path the record; a file that exists is read, and written anew without secrets
    /// @throws std::runtime_error naming the file or address that cannot be used
    RecordingRelay(std::string path, const std::string& upstream, const Redaction& redaction);

    /// The answer, which is made later where the real service has to be asked.
    Answer Ask(const Request& request);

    /// Begins again with the first recorded answers.
    void Restart();

private:
    Answer Learn(const Request& request, const std::atomic<bool>& isStopping);
    void Append(const json& entry);

    std::string file;
    Upstream service;
    Redaction secrets;
    std::mutex mutex;
    Replay replay;
    std::optional<FileDescriptor> record; ///< the file, open to append
    bool hasEntries = false;
};

} // namespace VarnelBase::Emulation
