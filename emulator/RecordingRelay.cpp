#include "RecordingRelay.h"

#include <HarDocument.h>
#include <PrivateFile.h>
#include <RequestTarget.h>
#include <UtcTime.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace VarnelBase::Emulation {

namespace {

void RedactExchange(const Redaction& redaction, RecordedExchange& exchange) {
    auto& [request, answer] = exchange;
    redaction.Redact(
        {&request.headers, &answer.headers, {&request.target}, {&request.body, &answer.body}});
    // A cookie that was redacted serves nobody.
    answer.headers.erase(std::remove_if(answer.headers.begin(), answer.headers.end(),
                                        [&redaction](const HeaderLine& line) {
                                            return redaction.IsSecretName(line.first);
                                        }),
                         answer.headers.end());
}

} // namespace

RecordingRelay::RecordingRelay(std::string path, const std::string& upstream,
                               const Redaction& redaction)
    : file(std::move(path)), service(upstream), secrets(redaction), replay({}, redaction) {
    std::string text = BeginHar("varnel-emulator");
    for (RecordedExchange& exchange : ReadHarFile(file, true)) {
        RedactExchange(secrets, exchange);
        replay.Add(exchange);
        text += (hasEntries ? ",\n" : "\n") +
                WriteJson(WriteHarEntry(exchange, service.GetAddress(), GetMachineTime(), 0));
        hasEntries = true;
    }
    const std::filesystem::path target(file);
    const std::string directory = target.parent_path().string();
    ReplacePrivateFile(directory.empty() ? "." : directory, target.filename().string(),
                       text + HarEnd);
    record.emplace(open(file.c_str(), O_WRONLY | O_CLOEXEC));
    if (!record->IsOpen()) {
        throw std::runtime_error(file + ": cannot be written: " + std::strerror(errno));
    }
}

Answer RecordingRelay::Ask(const Request& request) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (auto known = replay.Take(request)) { return *std::move(known); }
    Answer answer;
    answer.later = [this, request](const std::atomic<bool>& isStopping) {
        return Learn(request, isStopping);
    };
    return answer;
}

void RecordingRelay::Restart() {
    const std::lock_guard<std::mutex> lock(mutex);
    replay.Restart();
}

Answer RecordingRelay::Learn(const Request& request, const std::atomic<bool>& isStopping) {
    constexpr int badGateway = 502;
    const std::int64_t startedAt = GetMachineTime();
    Answer answer;
    try {
        answer = service.Ask(request, isStopping);
    } catch (const std::runtime_error& error) {
        return MakeErrorAnswer(badGateway, "upstream", error.what());
    }
    RecordedExchange learnt{request, answer};
    learnt.request.target = TakeOriginForm(request.target);
    RedactExchange(secrets, learnt);
    const auto durationMs = static_cast<double>(GetMachineTime() - startedAt);
    const std::lock_guard<std::mutex> lock(mutex);
    replay.Add(learnt);
    replay.Take(request);
    Append(WriteHarEntry(learnt, service.GetAddress(), startedAt, durationMs));
    return answer;
}

/// Writes over the end of the document with another entry and the end, in one call, so that a
/// killed process leaves a whole one.
void RecordingRelay::Append(const json& entry) {
    const std::string text = (hasEntries ? ",\n" : "\n") + WriteJson(entry) + HarEnd;
    const auto endSize = static_cast<ssize_t>(std::strlen(HarEnd));
    const off_t end = lseek(record->Get(), 0, SEEK_END) - endSize;
    const ssize_t written = pwrite(record->Get(), text.data(), text.size(), end);
    if (written != static_cast<ssize_t>(text.size())) {
        const std::string problem = std::strerror(written < 0 ? errno : ENOSPC);
        const bool isWhole = pwrite(record->Get(), HarEnd, std::strlen(HarEnd), end) == endSize &&
                             ftruncate(record->Get(), end + endSize) == 0;
        throw std::runtime_error(file + (isWhole ? ": cannot be written: " : ": is damaged: ") +
                                 problem);
    }
    hasEntries = true;
}

} // namespace VarnelBase::Emulation
