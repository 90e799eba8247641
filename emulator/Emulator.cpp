#include "Emulator.h"

#include <PrivateFile.h>
#include <UtcTime.h>

#include <filesystem>
#include <mutex>
#include <stdexcept>

#include "AccessRules.h"
#include "EmbeddedDocuments.h"
#include "HttpServer.h"
#include "LocalRoutes.h"
#include "MemberReader.h"
#include "PageRoutes.h"
#include "RecordingRelay.h"
#include "ServiceRoutes.h"

namespace VarnelBase {

namespace {

using Emulation::Answer;
using Emulation::Fault;
using Emulation::Request;
using nlohmann::json;

// 2025-01-01T00:00:00Z, so that a seed without a clock gives the same times every day.
constexpr std::int64_t SeededStart = 1735689600000;

constexpr std::size_t MaxSeedBytes = std::size_t{1} << 30U;

constexpr int MaxPort = 65535;
constexpr double MaxSpeed = 1e6;

void CheckOptions(const EmulatorOptions& options) {
    if (options.port < 0 || options.port > MaxPort) {
        throw std::invalid_argument("port " + std::to_string(options.port) +
                                    ": must be from 0 to 65535");
    }
    if (!(options.speed >= 0 && options.speed <= MaxSpeed)) { // so that NaN is none
        throw std::invalid_argument("speed " + std::to_string(options.speed) +
                                    ": must be from 0 to 1,000,000");
    }
    if (options.tlsCertificateFile.empty() != options.tlsKeyFile.empty()) {
        throw std::invalid_argument("TLS needs both a certificate and its key");
    }
}

Emulation::Seed ReadStart(const EmulatorOptions& options) {
    if (options.seed) { return {options.seed->dump(), SeededStart}; }
    if (!options.seedFile.empty()) {
        FileReading file = ReadRegularFile(options.seedFile, MaxSeedBytes, SymbolicLinks::Follow);
        if (!file.problem.empty()) {
            throw std::runtime_error(options.seedFile + ": " + file.problem);
        }
        return {std::move(file.bytes), SeededStart};
    }
    return {Emulation::ExampleSeed, GetMachineTime()};
}

std::unique_ptr<Emulation::ServiceState> OpenState(const EmulatorOptions& options,
                                                   const Emulation::Seed& start) {
    if (options.dataDirectory.empty()) {
        return std::make_unique<Emulation::ServiceState>(":memory:", start, options.speed);
    }
    try {
        std::filesystem::create_directories(options.dataDirectory);
        const std::filesystem::path file =
            std::filesystem::path(options.dataDirectory) / "emulator.db";
        return std::make_unique<Emulation::ServiceState>(file.string(), start, options.speed);
    } catch (const std::exception& error) {
        const auto* refusal = dynamic_cast<const Emulation::Refusal*>(&error);
        if (refusal != nullptr && refusal->GetStatus() != 507) { throw; } // about the seed
        throw std::runtime_error("data directory " + options.dataDirectory + ": " + error.what());
    }
}

/// The state that the options ask for; messages name the file of its seed.
std::unique_ptr<Emulation::ServiceState> MakeState(const EmulatorOptions& options) {
    const std::string prefix =
        options.seed || options.seedFile.empty() ? "" : options.seedFile + ": ";
    try {
        return OpenState(options, ReadStart(options));
    } catch (const Emulation::Refusal& refusal) {
        throw std::runtime_error(prefix + refusal.what());
    }
}

} // namespace

struct Emulator::Implementation {
    explicit Implementation(const EmulatorOptions& options)
        : access(options),
          state(MakeState(options)),
          faults(options.filesDirectory),
          requests(options.log, feed) {
        if (options.rules) { faults.Add(*options.rules); }
        const Redaction secrets(options.secretMembers);
        if (!options.upstream.empty()) {
            relay.emplace(options.recordFile, options.upstream, secrets);
        } else if (!options.recordFile.empty()) {
            replay.emplace(Emulation::ReadHarFile(options.recordFile), secrets);
        }
        emulatesUnrecorded = options.emulatesUnrecorded;
        AddServiceRoutes(router, *state);
        AddPageRoutes(router, *state, feed);
        AddLocalRoutes(router, *state, faults, requests, [this] { Restart(); });

        Emulation::ServerCallbacks callbacks;
        callbacks.chooseFault = [this](const Request& request) {
            return IsLocal(request) || access.CheckOrigin(request)
                       ? std::nullopt
                       : faults.Choose(request.method, request.GetPath());
        };
        callbacks.answer = [this](const Request& request, const std::optional<Fault>& fault) {
            Answer answer = AnswerRequest(request, fault);
            if (request.method != "GET" || fault) { feed.Publish("change", json()); }
            return answer;
        };
        callbacks.complete = [this](const Request& request, Answer& answer) {
            access.AddOriginHeaders(request, answer);
        };
        callbacks.record = [this](Emulation::Exchange exchange) {
            if (!IsLocal(exchange.request)) { requests.Add(std::move(exchange)); }
        };
        server = Emulation::StartHttpServer(
            Emulation::ServerAddress{options.address, options.port, options.tlsCertificateFile,
                                     options.tlsKeyFile},
            std::move(callbacks));
        port = server->GetPort();
        const bool isIpv6 = options.address.find(':') != std::string::npos;
        url = (options.tlsCertificateFile.empty() ? "http://" : "https://") +
              (isIpv6 ? "[" + options.address + "]" : options.address) + ":" + std::to_string(port);
    }

    Answer AnswerRequest(const Request& request, const std::optional<Fault>& fault) {
        if (auto answer = access.CheckOrigin(request)) { return *answer; }
        if (fault && fault->action == Emulation::FaultAction::Status) {
            return Emulation::MakeErrorAnswer(fault->status, "fault",
                                              "a fault rule wants this answer");
        }
        if (fault && fault->answer != nullptr) { return *fault->answer; }
        if (auto refusal = access.CheckCredentials(request)) { return *refusal; }
        if (relay && !IsLocal(request)) { return relay->Ask(request); }
        const std::lock_guard<std::mutex> lock(mutex);
        if (replay && !IsLocal(request)) {
            auto recorded = replay->Take(request);
            if (!recorded) { recorded = replay->GetLast(request); }
            if (recorded) { return *std::move(recorded); }
            if (!emulatesUnrecorded) { return MakeUnrecordedAnswer(*replay, request); }
        }
        return router.Dispatch(request);
    }

    /// Locks the state for a change from this process. Pages read it again once it is unlocked.
    std::unique_lock<std::mutex> BeginChange() {
        std::unique_lock<std::mutex> lock(mutex);
        feed.Publish("change", json());
        return lock;
    }

    /// Begins again, with the state locked.
    void Restart() {
        state->Reset();
        if (replay) { replay->Restart(); }
        if (relay) { relay->Restart(); }
        faults.Clear();
        requests.Clear();
    }

    Emulation::AccessRules access;
    std::mutex mutex; ///< of the state and the replay
    std::optional<Emulation::Replay> replay;
    std::optional<Emulation::RecordingRelay> relay;
    bool emulatesUnrecorded = false;
    std::unique_ptr<Emulation::ServiceState> state;
    Emulation::FaultRules faults;
    Emulation::EventFeed feed;
    Emulation::RequestLog requests;
    Emulation::Router router;
    std::string url;
    int port = 0;
    std::unique_ptr<Emulation::HttpServer> server; ///< last: it uses the others
};

Emulator::Emulator(const EmulatorOptions& options) {
    CheckOptions(options);
    implementation = std::make_unique<Implementation>(options);
}

Emulator::~Emulator() = default;

int Emulator::GetPort() const {
    return implementation->port;
}

const std::string& Emulator::GetUrl() const {
    return implementation->url;
}

const std::string& Emulator::GetLocalKey() const {
    return implementation->access.GetLocalKey();
}

json Emulator::AddFault(const json& rule) {
    const auto lock = implementation->BeginChange();
    return implementation->faults.Add(rule);
}

json Emulator::GetFaults() const {
    return implementation->faults.List()["items"];
}

void Emulator::RemoveFault(const std::string& name) {
    const auto lock = implementation->BeginChange();
    implementation->faults.Remove(name);
}

std::string Emulator::CheckFaults() const {
    return implementation->faults.Check();
}

void Emulator::ClearFaults() {
    const auto lock = implementation->BeginChange();
    implementation->faults.Clear();
}

json Emulator::GetRequests(const json& pattern) const {
    Emulation::MemberReader members(pattern, "");
    const auto read = Emulation::RequestPattern::ReadDetails(members);
    members.RefuseOthers();
    return implementation->requests.List(read)["items"];
}

std::string Emulator::CheckRequests(const json& expectation) const {
    return implementation->requests.Check(expectation);
}

void Emulator::ClearRequests() {
    implementation->requests.Clear();
}

void Emulator::AdvanceClock(double seconds) {
    const auto lock = implementation->BeginChange();
    implementation->state->AdvanceClock(seconds);
}

json Emulator::CreateSimulation(const json& simulation) {
    const auto lock = implementation->BeginChange();
    return implementation->state->CreateSimulation(simulation);
}

json Emulator::FinishExecution(const std::string& simulationId, const std::string& executionId,
                               const json& members) {
    const auto lock = implementation->BeginChange();
    return implementation->state->EndExecution(simulationId, executionId, false, members);
}

json Emulator::FailExecution(const std::string& simulationId, const std::string& executionId,
                             const json& members) {
    const auto lock = implementation->BeginChange();
    return implementation->state->EndExecution(simulationId, executionId, true, members);
}

void Emulator::LoadSeed(const json& seed) {
    const auto lock = implementation->BeginChange();
    implementation->state->Load({seed.dump(), SeededStart});
}

void Emulator::Reset() {
    const auto lock = implementation->BeginChange();
    implementation->Restart();
}

json Emulator::Export() {
    const std::lock_guard<std::mutex> lock(implementation->mutex);
    return implementation->state->Export();
}

void Emulator::Stop() {
    implementation->server->Stop();
}

} // namespace VarnelBase
