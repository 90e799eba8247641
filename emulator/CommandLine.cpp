#include "CommandLine.h"

#include <AccessTokenClaims.h>
#include <PrivateFile.h>
#include <VersionFlags.h>
#include <sqlite3.h>
#include <zip.h>
#include <CLI/CLI.hpp>

#include <iostream>
#include <map>
#include <stdexcept>

#include "ExecCommand.h"
#include "Messages.h"

namespace VarnelBase::Emulation {

namespace {

constexpr int UsageStatus = 2;
constexpr int DefaultPort = 8080;
constexpr std::size_t MaxFileBytes = std::size_t{64} << 20U;
constexpr const char* LoopbackAddress = "127.0.0.1";

const std::map<std::string, EmulatorAccess> AccessNames{
    {"off", EmulatorAccess::Off}, {"any", EmulatorAccess::Any}, {"groups", EmulatorAccess::Groups}};

json ReadJsonFile(const std::string& path) {
    const FileReading file = ReadRegularFile(path, MaxFileBytes, SymbolicLinks::Follow);
    if (!file.problem.empty()) { throw std::runtime_error(path + ": " + file.problem); }
    json document = json::parse(file.bytes, nullptr, false);
    if (document.is_discarded()) {
        throw std::runtime_error(path + ": not one JSON value in UTF-8");
    }
    return document;
}

/// Makes the options those of an emulator for one command.
void PrepareExec(CommandLine& line) {
    EmulatorOptions& options = line.emulator;
    if (options.address != LoopbackAddress) {
        throw CLI::ValidationError("--listen", "exec listens only on 127.0.0.1");
    }
    if (!options.tlsCertificateFile.empty()) {
        throw CLI::ValidationError("--tls-cert", "exec serves plain HTTP to its command");
    }
    if (options.token.empty()) { options.token = MakeExecToken(options.access); }
    if (options.access == EmulatorAccess::Groups &&
        ReadFirstGroup(options.token, "groups") != ExecGroup) {
        throw CLI::ValidationError("--token",
                                   std::string("exec needs one whose first group is ") + ExecGroup);
    }
}

} // namespace

CommandLine ParseCommandLine(int argc, char* argv[]) {
    CommandLine line;
    CLI::App app("The simulation service on your own machine.", "varnel-emulator");
    app.fallthrough();
    AddVersionFlags(app, std::string("SQLite ") + sqlite3_libversion() + "\nlibzip " +
                             zip_libzip_version() + "\n");
    auto* port = app.add_option("--port", line.emulator.port, "Port; 0: a free one (default 8080)");
    app.add_option("--listen", line.emulator.address, "Address to listen on")
        ->capture_default_str();
    app.add_option("--data", line.emulator.dataDirectory,
                   "Directory to keep the state in (default: memory only)");
    app.add_option("--seed", line.emulator.seedFile, "File with the initial state");
    std::string rulesFile;
    app.add_option("--rules", rulesFile, "File with the initial rules");
    app.add_option("--files", line.emulator.filesDirectory,
                   "Directory of the files that rules answer with");
    std::string replayFile;
    auto* replay = app.add_option("--replay", replayFile, "Answer from this record (HAR)");
    std::string unrecorded = "refuse";
    app.add_option("--unrecorded", unrecorded,
                   "Refuse or emulate requests that are not in the record")
        ->check(CLI::IsMember({"refuse", "emulate"}))
        ->needs(replay)
        ->capture_default_str();
    auto* record = app.add_option("--record", line.emulator.recordFile,
                                  "Answer from this record, and add what --upstream answers")
                       ->excludes(replay);
    auto* upstream = app.add_option("--upstream", line.emulator.upstream,
                                    "URL of the service that answers what the record lacks")
                         ->needs(record);
    record->needs(upstream);
    app.add_option("--redact", line.emulator.secretMembers,
                   "Name of a member whose value is kept out of every file (repeatable)")
        ->allow_extra_args(false);
    app.add_option("--export-on-exit", line.exportFile, "File to write the state to at the end");
    app.add_option("--speed", line.emulator.speed, "Emulated seconds per real second; 0 stops time")
        ->capture_default_str();
    std::string access = "off";
    app.add_option("--auth", access,
                   "Require a token: not at all, any, or one of the host name's group")
        ->check(CLI::IsMember(AccessNames))
        ->capture_default_str();
    app.add_option("--token", line.emulator.token, "Accept only this token");
    app.add_option("--allow-host", line.emulator.allowedHosts,
                   "Also accept requests to this host name (repeatable)")
        ->allow_extra_args(false);
    app.add_option(
           "--allow-origin", line.emulator.allowedOrigins,
           "Let pages of this origin, such as http://localhost:5173, use the emulator (repeatable)")
        ->allow_extra_args(false);
    auto* certificate = app.add_option("--tls-cert", line.emulator.tlsCertificateFile,
                                       "Serve HTTPS with this certificate chain (PEM)");
    app.add_option("--tls-key", line.emulator.tlsKeyFile, "Private key (PEM) of --tls-cert")
        ->needs(certificate);
    bool hasLog = false;
    app.add_flag("--log", hasLog, "Write each request as a line of JSON to standard error");
    app.add_option("--ready-file", line.readyFile, "File to write the address to once it serves");
    auto* exec = app.add_subcommand("exec", "Run a command against an emulator on a free port");
    exec->add_option("command", line.command, "The command and its arguments, after --")
        ->required();
    auto* seedFrom = app.add_subcommand("seed-from", "Write a seed from a record");
    seedFrom->add_option("record", line.seedSource, "The record (HAR)")->required();
    app.require_subcommand(0, 1);
    try {
        app.parse(argc, argv);
        line.emulator.access = AccessNames.at(access);
        if (port->count() == 0 && line.command.empty()) { line.emulator.port = DefaultPort; }
        if (!line.command.empty()) {
            PrepareExec(line);
        } else if (!line.emulator.token.empty() && access == "off") {
            throw CLI::ValidationError("--token", "needs --auth any or groups");
        }
    } catch (const CLI::ParseError& error) {
        line.exitStatus = app.exit(error) == 0 ? 0 : UsageStatus;
        return line;
    }
    if (!replayFile.empty()) { line.emulator.recordFile = replayFile; }
    line.emulator.emulatesUnrecorded = unrecorded == "emulate";
    if (!rulesFile.empty()) { line.emulator.rules = ReadJsonFile(rulesFile); }
    if (hasLog) { line.emulator.log = &std::cerr; }
    return line;
}

} // namespace VarnelBase::Emulation
