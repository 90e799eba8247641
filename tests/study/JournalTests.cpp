#include "Journal.h"

#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Plot.h"
#include "Results.h"
#include "StudyFixture.h"

namespace VarnelBase::Studies {
namespace {

constexpr auto ThreePoints = R"({"simulation": "s", "collect": [{"pointer": "/r"}],
    "parameters": [{"pointer": "/a", "values": [1, 2, 3]}]})";

class JournalTest : public StudyFixture {
protected:
    Journal Open(const std::string& study) {
        definition = ReadStudy(study);
        return OpenJournal();
    }

    std::vector<std::string> Describe(Journal& journal) {
        std::vector<std::string> points;
        journal.VisitPoints(std::nullopt, [&](const PointRecord& record) {
            points.push_back(record.parameters.dump() + " " + NameState(record.state));
        });
        return points;
    }
};

using Texts = std::vector<std::string>;

TEST_F(JournalTest, FindsInterruptedSendsUnknownAndNeverPlanned) {
    const pid_t killed = StartChild([this] {
        Journal journal = Open(ThreePoints);
        journal.SettleInterruptedSends();
        journal.NoteSending(journal.Reserve(2).at(0).id);
        return kill(getpid(), SIGKILL);
    });
    ASSERT_EQ(AwaitChild(killed), -SIGKILL);

    Journal journal = Open(ThreePoints);
    journal.SettleInterruptedSends();
    EXPECT_EQ(Describe(journal), (Texts{"[1] unknown", "[2] planned", "[3] planned"}));
    EXPECT_EQ(journal.Reserve(9).size(), 2U);
    EXPECT_EQ(journal.Reserve(9).size(), 0U);
    EXPECT_EQ(journal.PlanUnknownAgain(), 1);
    EXPECT_EQ(journal.Reserve(9).size(), 1U);
}

/// A journal of another start of the machine may have lost its last notes.
TEST_F(JournalTest, FindsReservedPointsUnknownAfterTheMachineStopped) {
    Open(ThreePoints).Reserve(1);
    Journal journal = Open(ThreePoints);
    journal.SettleInterruptedSends();
    EXPECT_EQ(Describe(journal), (Texts{"[1] unknown", "[2] planned", "[3] planned"}));
}

TEST_F(JournalTest, KeepsWhatIsDoneWhenTheStudyGrowsOrIsReordered) {
    {
        Journal journal = Open(ThreePoints);
        const std::vector<PointRecord> taken = journal.Reserve(2);
        journal.NoteRunning(taken.at(0).id, "exe-1", "2025");
        journal.NoteFinished(taken.at(0).id, json::array({1.5}));
        journal.NoteFailed(taken.at(1).id, "a \"reason\", with a comma");
    }
    Journal journal = Open(R"({"simulation": "s", "collect": [{"pointer": "/r"}],
        "parameters": [{"pointer": "/a", "values": [4, 3, 4, 1]}]})");
    EXPECT_EQ(Describe(journal), (Texts{"[4] planned", "[3] planned", "[1] finished"}));
    EXPECT_TRUE(journal.HasExecution("exe-1"));

    Journal back = Open(ThreePoints);
    std::ostringstream results;
    WriteCsv(back, results);
    EXPECT_EQ(results.str(),
              "point,state,execution,/a,/r,reason\r\n"
              "1,finished,exe-1,1,1.5,\r\n"
              "2,failed,,2,,\"a \"\"reason\"\", with a comma\"\r\n"
              "3,planned,,3,,\r\n");
}

TEST_F(JournalTest, KeepsResultsUnderTheirNamesWhenOthersAreCollected) {
    const struct {
        const char* collect;
        const char* problem;
        const char* results;
    } cases[] = {
        {R"([{"pointer": "/new"}])", "collect: the journal has results of /r: keep it",
         "/r,reason\r\n1,finished,exe-1,1,1.5,"},
        {R"([{"pointer": "/r", "unit": "mm"}])", "", "/r,reason\r\n1,finished,exe-1,1,1.5,"},
        {R"([{"pointer": "/new"}, {"pointer": "/r"}])", "",
         "/new,/r,reason\r\n1,running,exe-1,1,,1.5,"},
        {R"([{"pointer": "/r"}])", "", "/r,reason\r\n1,running,exe-1,1,1.5,"},
    };
    const auto study = [](const std::string& collect) {
        return R"({"simulation": "s", "parameters": [{"pointer": "/a", "values": [1]}], "collect": )" +
               collect + "}";
    };
    Open(study(R"([{"pointer": "/new"}])")); // nothing has finished: all may change
    Journal journal = Open(study(R"([{"pointer": "/r"}])"));
    const std::string point = journal.Reserve(1).at(0).id;
    journal.NoteRunning(point, "exe-1", "");
    journal.NoteFinished(point, json::array({1.5}));
    for (const auto& item : cases) {
        SCOPED_TRACE(item.collect);
        EXPECT_PRED2(Has, CatchMessage([&] { Open(study(item.collect)); }), item.problem);
        std::ostringstream results;
        WriteCsv(journal, results);
        EXPECT_PRED2(Has, results.str(), item.results);
    }
    journal.NoteFinished(point, json::array({nullptr}));
    EXPECT_PRED2(Has, CatchMessage([&] {
                     DrawPlot(journal, {"/a", "/r", "", "", ""});
                 }),
                 "point 1 has no number at /r but null");
}

TEST_F(JournalTest, RefusesAnotherStudyASecondRunAndToReadWhatIsNotThere) {
    const auto refuse = [](const std::string& reason, const std::function<void()>& act) {
        EXPECT_PRED2(Has, CatchMessage(act), reason);
    };
    const std::string file = GetPath("study.journal");
    refuse("has not been run", [&] { Journal::OpenToRead(file); });
    Open(ThreePoints);
    refuse("another simulation", [&] {
        Open(R"({"simulation": "t", "parameters": [{"pointer": "/a", "values": [1]}]})");
    });
    refuse("another list of parameters", [&] {
        Open(R"({"simulation": "s", "parameters": [{"pointer": "/b", "values": [1]}]})");
    });
    const RunLock lock(file);
    refuse("another run", [&] { const RunLock second(file); });
}

TEST_F(JournalTest, TakesOverOnlyPointsThatNoRunHasTaken) {
    const struct {
        const char* parameter;
        bool isTaken;
    } cases[] = {{"[1]", false}, {"[2]", false}, {"[3]", true}, {"[3]", false}};
    Journal journal = Open(ThreePoints);
    journal.NoteFinished(journal.Reserve(2).at(0).id, json::array({1.5}));
    for (const auto& item : cases) {
        SCOPED_TRACE(item.parameter);
        journal.VisitPoints(std::nullopt, [&](PointRecord record) {
            if (record.parameters.dump() != item.parameter) { return; }
            record.state = PointState::Failed;
            record.execution = "exe-9";
            EXPECT_EQ(journal.TakeOver(record), item.isTaken);
        });
    }
    EXPECT_EQ(Describe(journal), (Texts{"[1] finished", "[2] planned", "[3] failed"}));
    EXPECT_TRUE(journal.HasExecution("exe-9"));
}

TEST_F(JournalTest, KnowsTheLatestCreationBeforeASend) {
    Journal journal = Open(ThreePoints);
    const std::vector<PointRecord> taken = journal.Reserve(2);
    journal.NoteRunning(taken.at(0).id, "exe-1", "2025-01-01T00:00:05Z");
    EXPECT_EQ(journal.FindLatestCreation(taken.at(0).sentAt + 1), "2025-01-01T00:00:05Z");
    EXPECT_EQ(journal.FindLatestCreation(taken.at(0).sentAt), "");
}

} // namespace
} // namespace VarnelBase::Studies
