#include "Runner.h"

#include <Emulator.h>

#include <map>
#include <optional>
#include <set>
#include <string>

#include "StudyFixture.h"

namespace VarnelBase::Studies {
namespace {

/// A study of twelve points, run against an emulator in which time passes when the run waits.
class RunnerTest : public StudyFixture {
protected:
    RunnerTest() : emulator(MakeEmulatorOptions()), client(MakeClientOptions()) { WriteStudy(""); }

    static EmulatorOptions MakeEmulatorOptions() {
        EmulatorOptions options;
        options.speed = 0;
        return options;
    }

    ClientOptions MakeClientOptions() const {
        ClientOptions options;
        options.host = "127.0.0.1";
        options.port = static_cast<unsigned int>(emulator.GetPort());
        options.tokenSource = [] { return "t0ken"; };
        options.maxAttempts = 1;
        return options;
    }

    void WriteStudy(const std::string& more,
                    const std::string& collect = R"([{"pointer": "/results/peak"}])") {
        definition = ReadStudy(
            R"({"simulation": "sim-bridge", "base": {"load": 2}, "collect": )" + collect + "," +
            more + R"("parameters": [{"pointer": "/span", "from": 1, "to": 12, "step": 1}]})");
    }

    RunOptions MakeRunOptions() {
        RunOptions options;
        options.now = [this] { return now; };
        options.wait = [this](std::chrono::milliseconds length) {
            now += length;
            emulator.AdvanceClock(static_cast<double>(length.count()) / 1000);
        };
        return options;
    }

    RunSummary Run(const RunOptions& options) {
        Journal journal = OpenJournal();
        return Runner(definition, PointSet(definition), journal, client, options).Run();
    }

    /// How many executions of the study's bodies the service has; each body counts once.
    std::pair<std::size_t, std::size_t> CountStarts() {
        std::size_t starts = 0;
        std::set<std::string> bodies;
        const json state = emulator.Export();
        for (const json& execution : state.at("executions")) {
            if (execution.at("id") == "exe-1" || execution.at("id") == "exe-2") { continue; }
            ++starts;
            bodies.insert(execution.at("data").at("span").dump());
        }
        return {starts, bodies.size()};
    }

    Emulator emulator;
    ServiceClient client;
    std::chrono::steady_clock::time_point now{};
};

TEST_F(RunnerTest, StartsEachPointOnceAndCollectsItsResults) {
    RunOptions options = MakeRunOptions();
    std::size_t most = 0;
    options.progress = [&](const RunProgress& progress) {
        most = std::max(most, progress.counts[PointState::Running]);
    };
    const RunSummary summary = Run(options);
    EXPECT_EQ(summary.end, RunEnd::Complete);
    EXPECT_EQ(summary.counts[PointState::Finished], 12U);
    EXPECT_EQ(most, 4U);
    EXPECT_EQ(CountStarts(), std::make_pair(std::size_t{12}, std::size_t{12}));

    Journal journal = Journal::OpenToRead(GetPath("study.journal"));
    journal.VisitPoints(std::nullopt, [](const PointRecord& record) {
        const double span = record.parameters.at(0).get<double>();
        EXPECT_DOUBLE_EQ(record.results.at(0).get<double>(), 0.0025 * span * span * 2);
    });
    Run(options);
    EXPECT_EQ(CountStarts(), std::make_pair(std::size_t{12}, std::size_t{12}));
}

TEST_F(RunnerTest, ReadsFinishedExecutionsAgainForWhatElseIsCollected) {
    using Absent = std::map<std::string, std::size_t>;
    WriteStudy("", R"([{"pointer": "/results/peek"}])");
    EXPECT_EQ(Run(MakeRunOptions()).absent, (Absent{{"/results/peek", 12}}));
    WriteStudy("", R"([{"pointer": "/state"}, {"pointer": "/results/peak"}])");
    EXPECT_EQ(Run(MakeRunOptions()).absent, Absent{});
    EXPECT_EQ(CountStarts(), std::make_pair(std::size_t{12}, std::size_t{12}));

    ASSERT_TRUE(client.DeleteSimulation("sim-bridge"));
    WriteStudy("",
               R"([{"pointer": "/results/peak"}, {"pointer": "/more"}, {"pointer": "/state"}])");
    const RunSummary summary = Run(MakeRunOptions());
    EXPECT_EQ(summary.counts[PointState::Finished], 12U);
    EXPECT_EQ(summary.absent, (Absent{{"/more", 12}}));
    Journal journal = Journal::OpenToRead(GetPath("study.journal"));
    EXPECT_EQ(journal.FindPoint(1)->results, json::array({0.02, nullptr, "finished"}));
}

TEST_F(RunnerTest, SendsNoPointTwiceWhateverTheServiceDoes) {
    const struct {
        const char* fault;
        const char* study;
        const char* ended; ///< finished, failed and unknown points at the end
    } cases[] = {
        {R"({"action": "dropAfterReading"})", "", "12 0 0"},
        {R"({"action": "dropAfterReading"})", R"("mark": "/mark",)", "12 0 0"},
        {R"({"action": "dropBeforeReading"})", "", "11 0 1"},
        {R"({"action": "reset"})", "", "12 0 0"},
        {R"({"action": "truncate"})", "", "12 0 0"},
        {R"({"action": "invalidJson"})", "", "12 0 0"},
        {R"({"action": "status", "status": 503})", "", "11 0 1"},
        {R"({"action": "status", "status": 429})", "", "12 0 0"},
        {R"({"action": "status", "status": 422})", "", "11 1 0"},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(std::string(item.fault) + item.study);
        emulator.Reset();
        std::filesystem::remove(GetPath("study.journal"));
        WriteStudy(item.study);
        json rule = json::parse(item.fault);
        rule["method"] = "POST";
        rule["occurrence"] = 3;
        emulator.AddFault(rule);
        const RunSummary summary = Run(MakeRunOptions());
        EXPECT_EQ(summary.end, RunEnd::Complete);
        EXPECT_EQ(std::to_string(summary.counts[PointState::Finished]) + " " +
                      std::to_string(summary.counts[PointState::Failed]) + " " +
                      std::to_string(summary.counts[PointState::Unknown]),
                  item.ended);
        const auto [starts, bodies] = CountStarts();
        EXPECT_EQ(starts, summary.counts[PointState::Finished]);
        EXPECT_EQ(bodies, starts);
    }
}

TEST_F(RunnerTest, EndsForAReasonAndGoesOnLater) {
    {
        RunOptions options = MakeRunOptions();
        options.progress = [&](const RunProgress& progress) {
            if (progress.counts[PointState::Running] > 0) { options.cancellation.Cancel(); }
        };
        EXPECT_EQ(Run(options).end, RunEnd::Cancelled);
    }
    emulator.AddFault({{"action", "status"}, {"status", 401}});
    const RunSummary refused = Run(MakeRunOptions());
    EXPECT_EQ(refused.end, RunEnd::Refused);
    EXPECT_EQ(refused.refusal.failure, Failure::Unauthorized);

    WriteStudy(R"("limits": {"stopAfterFailures": 1},)");
    emulator.AddFault({{"method", "POST"}, {"action", "status"}, {"status", 422}});
    EXPECT_EQ(Run(MakeRunOptions()).end, RunEnd::TooManyFailures);

    const RunSummary summary = Run(MakeRunOptions());
    EXPECT_EQ(summary.end, RunEnd::Complete);
    EXPECT_EQ(summary.counts[PointState::Finished] + summary.counts[PointState::Unknown], 11U);
    const auto [starts, bodies] = CountStarts();
    EXPECT_EQ(starts, bodies);
}

/// Twelve points, four at once, of 4 to 16 seconds each: a rate of 12 to 60 a minute.
TEST_F(RunnerTest, TellsTheTimeLeftWithoutTheTimeInWhichNothingCouldBeDone) {
    const struct {
        const char* gap;
        std::chrono::hours sleep;
        const char* fault;
    } cases[] = {
        {"none", std::chrono::hours(0), ""},
        {"the machine sleeps", std::chrono::hours(9), ""},
        {"the service is away", std::chrono::hours(0),
         R"({"action": "status", "status": 503, "method": "GET", "occurrence": 40, "times": 20})"},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.gap);
        emulator.Reset();
        std::filesystem::remove(GetPath("study.journal"));
        if (*item.fault != 0) { emulator.AddFault(json::parse(item.fault)); }
        RunOptions options = MakeRunOptions();
        bool hasSlept = false;
        options.progress = [&](const RunProgress& progress) {
            const std::size_t ended = progress.counts.GetEnded();
            if (ended < 6 || ended == 12) { return; }
            if (!hasSlept) { now += item.sleep; }
            hasSlept = true;
            ASSERT_TRUE(progress.timeLeft);
            EXPECT_GT(progress.endedPerMinute, 8);
            EXPECT_LT(progress.endedPerMinute, 80);
            EXPECT_LT(progress.timeLeft->count(), 60);
        };
        EXPECT_EQ(Run(options).end, RunEnd::Complete);
    }
}

TEST_F(RunnerTest, FindsWhatAKilledRunHadSent) {
    {
        Journal journal = OpenJournal();
        journal.SettleInterruptedSends();
        const PointRecord record = journal.Reserve(1).at(0);
        journal.NoteSending(record.id);
        ASSERT_TRUE(client.PostExecution("sim-bridge", PointSet(definition).BuildBody(0)));
    }
    const json missing = {{"method", "GET"}, {"action", "status"}, {"status", 404}};
    emulator.AddFault(missing);
    const RunSummary refused = Run(MakeRunOptions());
    EXPECT_EQ(refused.end, RunEnd::Refused) << "the simulation is gone";
    EXPECT_EQ(refused.refusal.failure, Failure::NotFound);

    const RunSummary summary = Run(MakeRunOptions());
    EXPECT_EQ(summary.counts[PointState::Finished], 12U);
    EXPECT_EQ(CountStarts(), std::make_pair(std::size_t{12}, std::size_t{12}));
}

} // namespace
} // namespace VarnelBase::Studies
