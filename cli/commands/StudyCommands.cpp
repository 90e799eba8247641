#include <Definition.h>
#include <ExecutionDocument.h>
#include <FileDescriptor.h>
#include <Journal.h>
#include <Plot.h>
#include <PointSet.h>
#include <Results.h>
#include <Runner.h>
#include <fcntl.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <sstream>
#include <thread>

#include "commands/Commands.h"
#include "output/ExitStatus.h"
#include "output/Progress.h"
#include "session/Interruption.h"
#include "session/Verdict.h"

namespace VarnelBase {

namespace {

using Studies::Definition;
using Studies::Journal;
using Studies::PointRecord;
using Studies::PointSet;
using Studies::PointState;
using Studies::RunEnd;
using Studies::StateCounts;

constexpr std::size_t ShownBodies = 3;
constexpr std::chrono::minutes NoteInterval{1};
constexpr std::chrono::milliseconds WatchInterval{1000};

struct StudyOptions {
    std::string file;
};

struct InitOptions : StudyOptions {
    std::string simulation;
};

struct RunCommandOptions : StudyOptions {
    std::optional<std::size_t> concurrent;
    bool isResendingUnknown = false;
};

struct StatusOptions : StudyOptions {
    bool isWatching = false;
    bool isListingFailed = false;
};

struct PointOptions : StudyOptions {
    bool isJsonLines = false;
};

struct ResultOptions : StudyOptions {
    std::string format = "csv";
};

struct RecordOptions : StudyOptions {
    std::int64_t number = 0;
    std::string data;
};

struct PlotOptions : StudyOptions {
    Studies::PlotRequest request;
};

json DescribeCounts(const StateCounts& counts) {
    json described = json::object();
    for (const PointState state : {PointState::Planned, PointState::Sending, PointState::Unknown,
                                   PointState::Running, PointState::Finished, PointState::Failed}) {
        described[Studies::NameState(state)] = counts[state];
    }
    return described;
}

std::string DescribeTime(std::chrono::seconds time) {
    const auto seconds = time.count();
    if (seconds < 60) { return std::to_string(seconds) + " s"; }
    if (seconds < 3600) { return std::to_string(seconds / 60) + " min"; }
    return std::to_string(seconds / 3600) + " h " + std::to_string(seconds / 60 % 60) + " min";
}

std::string DescribeProgress(const StateCounts& counts) {
    std::string text = std::to_string(counts[PointState::Finished]) + " of " +
                       std::to_string(counts.GetTotal()) + " finished, " +
                       std::to_string(counts[PointState::Running]) + " running";
    for (const PointState state : {PointState::Failed, PointState::Unknown}) {
        if (counts[state] > 0) {
            text += ", " + std::to_string(counts[state]) + " " + Studies::NameState(state);
        }
    }
    return text;
}

double ComputeShareOfEnded(const StateCounts& counts) {
    return static_cast<double>(counts.GetEnded()) /
           static_cast<double>(std::max<std::size_t>(counts.GetTotal(), 1));
}

void InitStudy(Session& session, const InitOptions& options) {
    const std::string text = Studies::WriteExampleDefinition(options.simulation);
    const FileDescriptor file(
        open(options.file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!file.IsOpen() || !WriteAll(file.Get(), text.data(), text.size())) {
        throw std::system_error(errno, std::generic_category(), options.file);
    }
    session.Note("written: " + options.file + "; next: varnel study plan " + options.file);
}

void PlanStudy(Session& session, const StudyOptions& options) {
    const Definition definition = Studies::ReadDefinition(options.file);
    const PointSet points(definition);
    const std::size_t duplicates = points.CountDuplicates();
    json plan = json::object({{"simulation", definition.simulation},
                              {"points", points.GetCount()},
                              {"duplicates", duplicates},
                              {"executions", points.GetCount() - duplicates},
                              {"concurrent", definition.limits.concurrent},
                              {"firstDocuments", json::array()}});
    for (std::size_t number = 0; number < std::min(points.GetCount(), ShownBodies); ++number) {
        plan["firstDocuments"].push_back(points.BuildBody(number));
    }
    if (const auto perMinute = definition.limits.startsPerMinute) {
        plan["secondsToStartAll"] = (points.GetCount() - duplicates) * 60 / *perMinute;
    }
    if (duplicates > 0) {
        session.Note(std::to_string(duplicates) +
                     " points are equal to others and will be executed once");
    }
    session.Print(plan);
}

/// Tells how a run goes on: a line that changes on a terminal, a line a minute elsewhere.
class RunReporter {
public:
    explicit RunReporter(Session& used) : session(used), progress(used.options.isQuiet) {}

    void Report(const Studies::RunProgress& now) {
        std::string text = DescribeProgress(now.counts);
        if (now.timeLeft) {
            std::ostringstream rate;
            rate.precision(3);
            rate << now.endedPerMinute;
            text += ", " + rate.str() + " a minute, " + DescribeTime(*now.timeLeft) + " left";
        }
        if (now.trouble != trouble && !now.trouble.empty()) {
            progress.Clear();
            session.Note(now.trouble + "; trying again");
        }
        trouble = now.trouble;
        progress.Show(text, ComputeShareOfEnded(now.counts));
        const auto time = std::chrono::steady_clock::now();
        if (!progress.IsShown() && time >= nextNote) {
            session.Note(text);
            nextNote = time + NoteInterval;
        }
    }

private:
    Session& session;
    Progress progress;
    std::string trouble;
    std::chrono::steady_clock::time_point nextNote;
};

Studies::RunSummary RunPoints(Session& session, const RunCommandOptions& options,
                              const Definition& definition, Journal& journal,
                              const DeferredInterruption& interruption) {
    const PointSet points(definition);
    journal.TakePoints(definition, points);
    RunReporter reporter(session);
    Studies::RunOptions run;
    run.concurrent = options.concurrent;
    run.resendUnknown = options.isResendingUnknown;
    run.progress = [&](const Studies::RunProgress& now) {
        if (interruption.IsRequested()) { run.cancellation.Cancel(); }
        reporter.Report(now);
    };
    run.now = [] { return std::chrono::steady_clock::now(); };
    run.wait = [&](std::chrono::milliseconds length) {
        // A signal ends the sleep; the run then ends at its next step.
        std::this_thread::sleep_for(std::min(length, std::chrono::milliseconds(50)));
        if (interruption.IsRequested()) { run.cancellation.Cancel(); }
    };
    return Studies::Runner(definition, points, journal, session.GetClient(), run).Run();
}

void RunStudy(Session& session, const RunCommandOptions& options) {
    const Definition definition = Studies::ReadDefinition(options.file);
    const std::string journalFile = Studies::NameJournal(options.file);
    const Studies::RunLock lock(journalFile);
    Journal journal = Journal::OpenToWrite(journalFile);
    const DeferredInterruption interruption;
    const Studies::RunSummary summary =
        RunPoints(session, options, definition, journal, interruption);
    if (summary.end == RunEnd::Cancelled) {
        session.Note(DescribeProgress(summary.counts) + "; go on with: varnel study run " +
                     options.file);
        interruption.Deliver();
    }
    for (const auto& [pointer, count] : summary.absent) {
        session.Note("finished executions without a value at " + pointer + ": " +
                     std::to_string(count) +
                     "; if that is the wrong place, correct \"collect\" in " + options.file +
                     ", and the next run reads them again");
    }
    session.Print(DescribeCounts(summary.counts));
    const std::string advice = "; the reasons: varnel study status " + options.file + " --failed";
    switch (summary.end) {
        case RunEnd::Refused:
            throw JudgeFailure("the run", summary.refusal, Purpose::Read);
        case RunEnd::DeadlineOver:
            throw CommandError(ExitStatus::StillRunning, "the study's deadline is over" + advice);
        case RunEnd::TooManyFailures:
            throw CommandError(ExitStatus::ExecutionFailed,
                               "stopped after as many failures as the study allows" + advice);
        default:
            break;
    }
    if (summary.counts[PointState::Unknown] > 0) {
        throw CommandError(ExitStatus::NotConfirmed,
                           "whether some points were started is not known: look at the "
                           "simulation's executions, then send them again with --resend-unknown" +
                               advice);
    }
    if (summary.counts[PointState::Failed] > 0) {
        throw CommandError(ExitStatus::ExecutionFailed, "some points have failed" + advice);
    }
}

Journal OpenJournal(const StudyOptions& options) {
    return Journal::OpenToRead(Studies::NameJournal(options.file));
}

void WatchStudy(Session& session, Journal& journal) {
    Progress progress(session.options.isQuiet);
    std::string last;
    while (true) {
        const StateCounts counts = journal.CountStates();
        const std::string text = DescribeProgress(counts);
        progress.Show(text, ComputeShareOfEnded(counts));
        if (!progress.IsShown() && text != last) { session.Note(text); }
        last = text;
        if (counts.GetEnded() + counts[PointState::Unknown] == counts.GetTotal()) { return; }
        std::this_thread::sleep_for(WatchInterval);
    }
}

/// The points that have failed or are unknown, and why.
json ListFailedPoints(Journal& journal) {
    json points = json::array();
    for (const PointState state : {PointState::Failed, PointState::Unknown}) {
        journal.VisitPoints(state, [&](const PointRecord& record) {
            points.push_back(json::object({{"point", record.number + 1},
                                           {"state", Studies::NameState(record.state)},
                                           {"reason", record.reason},
                                           {"parameters", record.parameters}}));
        });
    }
    return points;
}

void ShowStatus(Session& session, const StatusOptions& options) {
    Journal journal = OpenJournal(options);
    if (options.isWatching) { WatchStudy(session, journal); }
    if (options.isListingFailed) {
        session.Print(ListFailedPoints(journal));
        return;
    }
    const StateCounts counts = journal.CountStates();
    json status = DescribeCounts(counts);
    status["simulation"] = journal.ReadSimulation();
    session.Print(status);
    if (counts[PointState::Failed] + counts[PointState::Unknown] > 0) {
        session.Note("the reasons: varnel study status " + options.file + " --failed");
    }
}

void ShowResults(Session& /*session*/, const ResultOptions& options) {
    Journal journal = OpenJournal(options);
    std::ostringstream output;
    if (options.format == "csv") {
        Studies::WriteCsv(journal, output);
    } else {
        Studies::WriteJsonLines(journal, output);
    }
    WriteOutput(output.str());
}

void DrawStudy(Session& /*session*/, const PlotOptions& options) {
    Journal journal = OpenJournal(options);
    Studies::DrawPlot(journal, options.request);
}

/// The points that nobody has started yet.
void ListPoints(Session& session, const PointOptions& options) {
    const Definition definition = Studies::ReadDefinition(options.file);
    const PointSet points(definition);
    const std::string journalFile = Studies::NameJournal(options.file);
    const Studies::RunLock lock(journalFile);
    Journal journal = Journal::OpenToWrite(journalFile);
    journal.TakePoints(definition, points);
    OutputOptions output = session.options.output;
    if (options.isJsonLines) { output.format = "jsonl"; }
    const bool isOneByOne = output.format == "jsonl" && output.query.empty();
    json list = json::array();
    journal.VisitPoints(PointState::Planned, [&](const PointRecord& record) {
        json point =
            json::object({{"point", record.number + 1},
                          {"simulation", definition.simulation},
                          {"document", points.BuildBody(static_cast<std::size_t>(record.number))}});
        if (isOneByOne) {
            WriteOutput(point.dump() + "\n");
        } else {
            list.push_back(std::move(point));
        }
    });
    if (!isOneByOne) { PrintDocument(list.dump(), output); }
}

void RecordPoint(Session& session, const RecordOptions& options) {
    Journal journal = OpenJournal(options);
    Definition definition = Studies::ReadDefinition(options.file);
    definition.collected = journal.ReadColumns().collected; // whatever the file says by now
    const json document = json::parse(ReadData(options.data));
    const Studies::Verdict verdict = Studies::JudgeExecution(definition, document);
    const std::string name = "point " + std::to_string(options.number);
    if (verdict.kind == Studies::Verdict::Kind::UnderWay) {
        throw CommandError(ExitStatus::Refused, "the execution of " + name + " has not ended yet");
    }
    auto point = journal.FindPoint(options.number - 1);
    if (!point) { throw CommandError(ExitStatus::Usage, "the study has no " + name); }
    const PointState before = point->state;
    const bool isFinished = verdict.kind == Studies::Verdict::Kind::Finished;
    point->state = isFinished ? PointState::Finished : PointState::Failed;
    point->execution = Studies::FindText(document, definition.execution.id).value_or("");
    point->results = verdict.results;
    point->reason = verdict.reason;
    if (!journal.TakeOver(*point)) {
        throw CommandError(ExitStatus::Refused,
                           name + " cannot be recorded: " +
                               (before == PointState::Reserved
                                    ? "a run is about to send it"
                                    : std::string("it is ") + Studies::NameState(before)));
    }
    session.Note("recorded: " + name);
}

void AddFile(CLI::App& command, std::string& file) {
    command.add_option("FILE", file, "The study's file")->required()->type_name("");
}

} // namespace

void AddStudyCommands(CLI::App& root, Session& session) {
    CLI::App& study = AddNoun(root, "study", "Many executions of one simulation, each once",
                              "varnel study run bridge.study.json");

    const auto init = AddCommand<InitOptions>(
        study, session, "init", "Write a commented file to start from", InitStudy,
        {"varnel study init bridge.study.json --simulation sim-bridge"});
    AddFile(init.app, init.options.file);
    init.app.add_option("--simulation", init.options.simulation, "The simulation to execute")
        ->type_name("ID")
        ->required();

    const auto plan = AddCommand<StudyOptions>(study, session, "plan",
                                               "Show what a run would do, sending nothing",
                                               PlanStudy, {"varnel study plan bridge.study.json"});
    AddFile(plan.app, plan.options.file);

    const auto run = AddCommand<RunCommandOptions>(
        study, session, "run", "Start, wait and collect until every point has ended", RunStudy,
        {"varnel study run bridge.study.json",
         "varnel study run bridge.study.json --concurrent 8"});
    AddFile(run.app, run.options.file);
    run.app
        .add_option("--concurrent", run.options.concurrent,
                    "Executions under way at once, in place of the file's limit")
        ->type_name("N")
        ->check(CLI::Range(1, 10000).description(""));
    run.app.add_flag("--resend-unknown", run.options.isResendingUnknown,
                     "Send unknown points again, although they may have been started");

    const auto status = AddCommand<StatusOptions>(
        study, session, "status", "Show how far a study is, and what failed", ShowStatus,
        {"varnel study status bridge.study.json", "varnel study status bridge.study.json --watch",
         "varnel study status bridge.study.json --failed"});
    AddFile(status.app, status.options.file);
    status.app.add_flag("--watch", status.options.isWatching,
                        "Follow it until every point has ended");
    status.app.add_flag("--failed", status.options.isListingFailed,
                        "List the points that have failed or are unknown, and why");

    const auto results = AddCommand<ResultOptions>(
        study, session, "results", "Print parameters and collected results of every point",
        ShowResults,
        {"varnel study results bridge.study.json > results.csv",
         "varnel study results bridge.study.json -o jsonl"});
    AddFile(results.app, results.options.file);
    results.app.add_option("-o,--output", results.options.format, "Format of the results")
        ->type_name("csv|jsonl")
        ->check(CLI::IsMember({"csv", "jsonl"}).description(""));

    const auto plot = AddCommand<PlotOptions>(
        study, session, "plot", "Draw the finished points with gnuplot", DrawStudy,
        {"varnel study plot bridge.study.json --x /span --y /results/peak -O peak.svg",
         "varnel study plot bridge.study.json --x /span --y /load --color /results/peak"});
    AddFile(plot.app, plot.options.file);
    Studies::PlotRequest& request = plot.options.request;
    AddPointerOption(plot.app, "--x", request.x, "Parameter or result along the x axis")
        ->required();
    AddPointerOption(plot.app, "--y", request.y, "Parameter or result along the y axis")
        ->required();
    AddPointerOption(plot.app, "--by", request.group, "Draw a curve for each of its values");
    AddPointerOption(plot.app, "--color", request.color,
                     "Draw a heat map with its values as colours");
    plot.app
        .add_option("-O,--output-file", request.file,
                    "A file that ends in .svg or .png; without it, text on the terminal")
        ->type_name("FILE");

    const auto points = AddCommand<PointOptions>(
        study, session, "points", "Print the points that are not started, for another scheduler",
        ListPoints, {"varnel study points bridge.study.json --jsonl > points.jsonl"});
    AddFile(points.app, points.options.file);
    points.app.add_flag("--jsonl", points.options.isJsonLines, "One JSON object per line");

    const auto record = AddCommand<RecordOptions>(
        study, session, "record",
        "Store the results of an execution that another scheduler started", RecordPoint,
        {"varnel study record bridge.study.json 3 --data @execution.json"});
    AddFile(record.app, record.options.file);
    record.app.add_option("POINT", record.options.number, "The point's number, from 1")
        ->required()
        ->type_name("");
    AddDataOption(record.app, record.options.data, "The execution's document")->required();
}

} // namespace VarnelBase
