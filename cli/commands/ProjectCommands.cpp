#include <JsonView.h>
#include <OperationTable.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "commands/Commands.h"
#include "commands/DownloadTarget.h"
#include "output/ExitStatus.h"
#include "output/Progress.h"
#include "session/ChangeRequest.h"
#include "session/Interruption.h"
#include "session/Verdict.h"

namespace VarnelBase {

namespace {

struct GenerateOptions {
    std::string data;
    std::string file;
    bool isForced = false;
    bool isDryRun = false;
};

std::string FormatSize(double bytes) {
    constexpr std::array<const char*, 4> units{"B", "KiB", "MiB", "GiB"};
    std::size_t unit = 0;
    for (; bytes >= 1024 && unit + 1 < units.size(); ++unit) { bytes /= 1024; }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.*f %s", unit == 0 ? 0 : 1, bytes, units.at(unit));
    return text.data();
}

/// Tells how much has come, how fast, and how long the rest takes.
class TransferProgress {
public:
    explicit TransferProgress(bool isQuiet) : progress(isQuiet) {}

    void Show(std::uint64_t received, std::optional<std::uint64_t> total) {
        const auto now = std::chrono::steady_clock::now();
        if (now - shown < std::chrono::milliseconds(100) && received != total) { return; }
        shown = now;
        const double seconds = std::chrono::duration<double>(now - start).count();
        const auto bytes = static_cast<double>(received);
        const double rate = seconds > 0 ? bytes / seconds : 0;
        std::string text = FormatSize(bytes);
        if (total) { text += " of " + FormatSize(static_cast<double>(*total)); }
        text += ", " + FormatSize(rate) + "/s";
        if (!total || *total == 0) {
            progress.Show(text, std::nullopt);
            return;
        }
        const auto all = static_cast<double>(*total);
        if (rate > 0) {
            text += ", " + std::to_string(std::lround((all - bytes) / rate)) + " s left";
        }
        progress.Show(text, bytes / all);
    }

private:
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point shown;
    Progress progress;
};

/// The request's document, which goes through the JSON library's own type.
json ReadRequest(const std::string& argument) {
    const std::string text = ReadData(argument);
    json request = json::parse(text);
    if (!IsSameJson(text, request.dump()) || HasDuplicateMembers(text)) {
        throw CommandError(
            ExitStatus::Usage,
            "--data: contains an integer beyond 64 bits or a member twice, which cannot "
            "be sent unchanged");
    }
    return request;
}

void GenerateProject(Session& session, const GenerateOptions& options) {
    const json request = ReadRequest(options.data);
    constexpr const ServiceOperation& operation = FindOperation("GenerateProject");
    const ChangeRequest change{operation.method, operation.target, request.dump()};
    if (options.isDryRun) {
        PrintRequest(session, change);
        return;
    }
    DownloadTarget target(options.file, options.isForced);
    const ChangeInFlight announced(change.Describe());
    std::optional<TransferProgress> progress(session.options.isQuiet);
    const ProjectOutcome outcome = session.GetClient().StreamProject(
        request,
        [&target](const char* bytes, std::size_t count) { return target.Write(bytes, count); },
        [&progress](std::uint64_t received, std::optional<std::uint64_t> total) {
            progress->Show(received, total);
        });
    progress.reset();
    target.RequireWritten();
    if (!outcome.Succeeded()) { throw JudgeFailure(change.Describe(), outcome, Purpose::Change); }
    const bool isFile = !target.IsStream();
    const std::string path = target.Finish(outcome.fileName);
    if (isFile) { session.Print(json::object({{"file", path}, {"bytes", outcome.size}})); }
}

} // namespace

void AddProjectCommands(CLI::App& root, Session& session) {
    CLI::App& project = AddNoun(root, "project", "Project files", "varnel project generate --help");
    const auto generate = AddCommand<GenerateOptions>(
        project, session, "generate", "Generate a project file", GenerateProject,
        {R"(varnel project generate --data '{"name": "bridge"}')",
         "varnel project generate --data @request.json -O bridge.zip --force",
         "varnel project generate --data @request.json -O - | sha256sum"});
    AddDataOption(generate.app, generate.options.data, "What to generate")->required();
    generate.app
        .add_option(
            "-O,--output-file", generate.options.file,
            "File or directory to write to, or - for standard output; by default a file of the "
            "service's name in this directory")
        ->type_name("FILE");
    generate.app.add_flag("--force", generate.options.isForced, "Replace an existing file");
    AddDryRunFlag(generate.app, generate.options.isDryRun);
}

} // namespace VarnelBase
