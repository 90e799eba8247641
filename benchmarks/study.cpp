// Measures `varnel study` with 100,000 points, and how full a run keeps its window:
// bench-study VARNEL
#include <Emulator.h>
#include <Runner.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Measure.h"

namespace {

using namespace VarnelBase::Studies;
using std::chrono::duration;
using std::chrono::steady_clock;

constexpr std::size_t Window = 64;

/// Writes a study of a bridge with so many points.
std::string WriteStudy(std::size_t points) {
    const std::string file = "bridge" + std::to_string(points) + ".study.json";
    std::ofstream(file)
        << R"({"simulation": "sim-bridge", "collect": [{"pointer": "/results/peak"}],
        "parameters": [{"pointer": "/span", "from": 1, "step": 1, "to": )"
        << points << "}]}";
    return file;
}

pid_t StartStudyCommand(const std::string& varnel, const std::string& verb,
                        const std::string& file) {
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        const std::string window = std::to_string(Window);
        std::vector<const char*> arguments{varnel.c_str(), "study", verb.c_str(), file.c_str()};
        if (verb == "run") { arguments.insert(arguments.end(), {"--concurrent", window.c_str()}); }
        arguments.push_back(nullptr);
        execv(arguments[0], const_cast<char* const*>(arguments.data()));
        _exit(127);
    }
    return child;
}

/// The highest resident size of a command, in MiB, when it has ended; none while it has not.
std::optional<double> FindPeak(pid_t child, int options) {
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, options, &usage) != child) { return std::nullopt; }
    if (status != 0) { throw std::runtime_error("varnel study failed"); }
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

double Measure(const std::function<void()>& measured) {
    return MedianSeconds(1, measured);
}

/// The notes that a run makes of its points, without the run.
void KeepJournal(const std::string& file, const std::string& journalFile) {
    const Definition definition = ReadDefinition(file);
    const PointSet points(definition);
    Journal journal = Journal::OpenToWrite(journalFile);
    journal.TakePoints(definition, points);
    journal.SettleInterruptedSends();
    for (auto reserved = journal.Reserve(256); !reserved.empty(); reserved = journal.Reserve(256)) {
        for (const PointRecord& point : reserved) {
            journal.NoteSending(point.id);
            journal.NoteRunning(point.id, "exe-" + std::to_string(point.number),
                                "2025-01-01T00:00:00.000Z");
            journal.NoteFinished(point.id, VarnelBase::json::array({1.5}));
        }
    }
}

VarnelBase::EmulatorOptions MakeServiceOptions(double speed) {
    VarnelBase::EmulatorOptions options;
    options.speed = speed;
    return options;
}

void MeasureManyPoints(const std::string& varnel) {
    const std::string file = WriteStudy(100'000);
    const std::string of = ", study of 100,000 points";
    const auto finish = [&](const std::string& verb) {
        FindPeak(StartStudyCommand(varnel, verb, file), 0);
    };
    Report("varnel study plan, seconds" + of, MedianSeconds(5, [&] { finish("plan"); }), "<= 2");

    const VarnelBase::Emulator emulator(MakeServiceOptions(100'000));
    setenv("VARNEL_API_PORT", std::to_string(emulator.GetPort()).c_str(), 1);
    std::vector<double> status;
    std::optional<double> peak;
    const double run = Measure([&] {
        const pid_t runner = StartStudyCommand(varnel, "run", file);
        while (!std::filesystem::exists(NameJournal(file))) { usleep(1000); }
        while (!(peak = FindPeak(runner, WNOHANG))) {
            sleep(1);
            status.push_back(Measure([&] { finish("status"); }));
        }
    });
    std::sort(status.begin(), status.end());
    Report("varnel study status while it runs, seconds" + of, status.at(status.size() / 2),
           "<= 0.1");
    Report("varnel study run, peak memory, MiB" + of, *peak, "<= 100");
    Report("points a second" + of + ", of executions that take no time", 100'000 / run, "");
}

/// How much of the window is taken by executions, from when it was full first until the last point
/// is started.
class WindowMeter {
public:
    void Note(const StateCounts& counts) {
        const auto now = steady_clock::now();
        if (isMeasuring) {
            const double seconds = duration<double>(now - last).count();
            taken += seconds * static_cast<double>(running);
            passed += seconds;
        }
        last = now;
        running = counts[PointState::Running];
        isMeasuring = (isMeasuring || running == Window) && counts[PointState::Planned] > 0;
    }

    double GetShare() const { return taken / passed / Window; }

private:
    bool isMeasuring = false;
    std::size_t running = 0;
    steady_clock::time_point last;
    double taken = 0;
    double passed = 0;
};

void MeasureWindow() {
    const VarnelBase::Emulator emulator(MakeServiceOptions(100));
    VarnelBase::ClientOptions access;
    access.host = "127.0.0.1";
    access.port = static_cast<unsigned int>(emulator.GetPort());
    access.tokenSource = [] { return ""; };
    VarnelBase::ServiceClient client(access);

    const Definition definition = ReadDefinition(WriteStudy(3'000));
    const PointSet points(definition);
    Journal journal = Journal::OpenToWrite(NameJournal(definition.file));
    journal.TakePoints(definition, points);
    WindowMeter meter;
    RunOptions options;
    options.concurrent = Window;
    options.progress = [&](const RunProgress& progress) { meter.Note(progress.counts); };
    const double run = Measure([&] { Runner(definition, points, journal, client, options).Run(); });
    Report("journal of a study over its run, emulator at speed 100",
           Measure([&] { KeepJournal(definition.file, "copy.journal"); }) / run, "<= 0.05");
    Report("share of a window of 64 executions that is taken, emulator at speed 100",
           meter.GetShare(), ">= 0.95");
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 2) { return 2; }
    // Studies lie in a directory that goes with their journals.
    const std::string varnel = std::filesystem::absolute(argv[1]);
    std::string folder = std::filesystem::temp_directory_path() / "varnel-bench-XXXXXX";
    std::filesystem::current_path(mkdtemp(folder.data()));
    MeasureManyPoints(varnel);
    MeasureWindow();
    std::filesystem::remove_all(folder);
}
