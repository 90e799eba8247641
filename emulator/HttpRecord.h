#pragma once

#include <string>
#include <vector>

#include "Messages.h"

namespace VarnelBase::Emulation {

/// A request of a record with its answer.
struct RecordedExchange {
    Request request; ///< with a target that begins with the path
    Answer answer;
};

/// Reads the exchanges of a HAR document, version 1.2, that can be answered again: those that were
/// answered, with 200 to 599 but not 304. Headers that say how an answer was sent are left out.
///
/// @throws std::runtime_error naming the member that cannot be used
std::vector<RecordedExchange> ReadHar(const json& document);

/// Reads a HAR file. A file that does not exist holds nothing if it may be missing.
///
/// @throws std::runtime_error naming the file
std::vector<RecordedExchange> ReadHarFile(const std::string& path, bool isOptional = false);

/// An exchange as an entry of a HAR document.
///
/// @param origin    "http://host:port" of the service
/// @param startedAt machine time in milliseconds
json WriteHarEntry(const RecordedExchange& exchange, const std::string& origin,
                   std::int64_t startedAt, double durationMs);

} // namespace VarnelBase::Emulation
