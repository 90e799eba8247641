#include <sys/stat.h>

#include "CommandFixture.h"
#include "ScriptedServer.h"
#include "SilentPeer.h"

namespace VarnelBase {
namespace {

class FileTest : public CommandFixture {};

std::string Disposition(const std::string& name, const std::string& body = "bytes") {
    return "HTTP/1.1 200 OK\r\nContent-Disposition: attachment; filename=\"" + name +
           "\"\r\nConnection: close\r\nContent-Length: 5\r\n\r\n" + body;
}

struct DownloadCase {
    const char* options;
    std::string answer;
    int status;
    const char* file; ///< that holds "bytes" afterwards; empty: none does
    const char* err;
};

TEST_F(FileTest, ProjectFilesReplaceNothingUnaskedAndLeaveNothingHalf) {
    ScriptedServer server;
    WriteConfig("", server.port);
    const std::string longName(300, 'n');
    for (const DownloadCase& given : {
             DownloadCase{"", Disposition("bridge.zip"), 0, "bridge.zip", ""},
             {"-O other.zip", Disposition("bridge.zip"), 0, "other.zip", ""},
             {"-O sub", Disposition("../../bridge.zip"), 0, "sub/bridge.zip", ""},
             {"-O link --force", Disposition("x"), 0, "precious", ""},
             {"", Disposition(longName + ".zip"), 0, nullptr, ""},
             {"-O precious", Disposition("x"), 1, "", "exists (--force"},
             {"", Disposition("precious"), 1, "", "exists (--force"},
             {"-O precious --force", Disposition("x"), 0, "precious", ""},
             {"-O missing/a.zip", Disposition("x"), 1, "", "missing"},
             {"-O /dev/null", Disposition("x"), 0, "", ""},
             {"-O /dev/full", Disposition("x"), 1, "", "/dev/full: No space"},
             {"-O - | cat >piped", Disposition("x"), 0, "piped", ""},
             {"-O fifo & head -c 5 fifo >read; wait $!", Disposition("x"), 0, "read", ""},
             {"", "HTTP/1.1 503 No\r\nContent-Length: 2\r\n\r\n{}", 5, "", "503"},
             {"-O - ", "HTTP/1.1 403 No\r\nContent-Length: 2\r\n\r\n{}", 1, "", "403"},
             {"", Disposition("bridge.zip", "byt"), 5, "", "/generateProject"},
             {"-O precious --force", Disposition("bridge.zip", "byt"), 5, "", "/generateProject"},
         }) {
        Run("rm -rf work && mkdir -p work/sub && cd work && mkfifo fifo && echo old >precious && "
            "ln -s precious link");
        server.Answer(given.answer);
        const Outcome outcome = Run("cd work; varnel project generate -o jsonl --data '{}' " +
                                    std::string(given.options));
        SCOPED_TRACE(std::string(given.options) + outcome.out + outcome.err);
        EXPECT_EQ(outcome.status, given.status);
        EXPECT_PRED2(Has, outcome.err, given.err);
        EXPECT_EQ(Run("find work -name '*.part'").out, "");
        if (given.file == nullptr) {
            EXPECT_EQ(Run("cat work/nnn*").out, "bytes");
        } else if (*given.file != '\0') {
            EXPECT_EQ(Read("work/" + std::string(given.file)), "bytes");
        } else {
            EXPECT_EQ(Read("work/precious"), "old\n");
            EXPECT_EQ(outcome.out, "");
        }
    }
    server.Answer(Disposition("bridge.zip"));
    const char* sameNumber =
        "cd work; touch .varnel-$$.part; exec varnel project generate --data {}";
    EXPECT_EQ(Run(sameNumber).status, 0) << "a killed one had this process number in its container";
    if (!HasTerminal()) { GTEST_SKIP(); }
    server.Answer(Disposition("bridge.zip"));
    const std::string shown = RunOnTerminal("varnel project generate --data {}", 70);
    EXPECT_PRED2(Has, shown, "[####################] 5 B of 5 B");
}

struct SignalCase {
    const char* command;
    int signal;
    const char* err;
};

TEST_F(FileTest, SignalsEndTheProgramAndLeaveNothingHalf) {
    for (const SignalCase& given : {
             SignalCase{"user create a@b --role x", SIGINT, "POST /users may have been made"},
             {"user delete usr-1 --yes --retries 0", SIGINT, ""},
             {"project generate --data {}", SIGINT, "POST /generateProject may have been made"},
             {"trace -- varnel version", SIGINT, ""},
             {"project generate --data {}", SIGTERM, ""},
             {"project generate --data {}", SIGHUP, ""},
         }) {
        SCOPED_TRACE(std::string(given.command) + " " + strsignal(given.signal));
        SilentPeer peer;
        WriteConfig("", peer.port);
        // A loop in a shell goes on unless the program dies of the signal itself.
        const pid_t shell = Start("for i in 1 2; do varnel " + std::string(given.command) +
                                  " 2>err; echo again >>looped; done");
        peer.Receive();
        kill(-shell, given.signal);
        EXPECT_EQ(AwaitChild(shell), -given.signal);
        peer.AwaitEnd();
        EXPECT_EQ(Read("looped"), "");
        EXPECT_PRED2(Has, Read("err"), given.err);
        EXPECT_EQ(Run("find . -name '*.part'").out, "");
    }
    SilentPeer peer;
    WriteConfig("", peer.port);
    const pid_t ignoring = Start("trap '' INT; exec varnel version --timeout 0.2 --retries 0");
    peer.Receive();
    kill(-ignoring, SIGINT);
    EXPECT_EQ(AwaitChild(ignoring), 3);
}

TEST_F(FileTest, RecordedPointsHaveTheColumnsOfTheirJournal) {
    const auto write = [this](const char* collect) {
        Write(
            "a.study.json",
            R"({"simulation": "s", "parameters": [{"pointer": "/a", "values": [1]}], "collect": )" +
                std::string(collect) + "}");
    };
    write(R"([{"pointer": "/r"}])");
    Run("varnel study points a.study.json");
    write(R"([{"pointer": "/new"}, {"pointer": "/r"}])");
    const Outcome outcome = Run(
        R"(varnel study record a.study.json 1 --data '{"id":"e","state":"finished","r":7,"new":8}')");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(Run("varnel study results a.study.json").out,
              "point,state,execution,/a,/r,reason\r\n1,finished,e,1,7,\r\n");
}

struct ConfigCase {
    const char* before;
    const char* command;
    const char* after;
};

TEST_F(FileTest, SettingsChangeAndCommentsStay) {
    for (const ConfigCase& given : {
             ConfigCase{"{\n}\n", "set apiPort 80", "{\n  \"apiPort\": 80\n}\n"},
             {"{}", "set offline yes", "{ \"offline\": true }"},
             {"{ \"apiPort\": 99999 }", "set apiHost h",
              "{ \"apiHost\": \"h\", \"apiPort\": 99999 }"},
             {"{ \"apiPort\": 1 /* old */ } // end", "set apiPort 2",
              "{ \"apiPort\": 2 /* old */ } // end"},
             {"{ // first\n  \"apiPort\": 1\n}\n", "set apiHost h",
              "{ // first\n  \"apiHost\": \"h\",\n  \"apiPort\": 1\n}\n"},
             {"{\n}\n", "set apiHost \"a\\\"b\" --environment staging",
              "{\n  \"environments\": { \"staging\": { \"apiHost\": \"a\\\"b\" } }\n}\n"},
             {"{ \"environments\": {\n  // mine\n  \"local\": { \"apiHost\": \"}\" } } }",
              "set apiHost h --environment local",
              "{ \"environments\": {\n  // mine\n  \"local\": { \"apiHost\": \"h\" } } }"},
             {"{ /* a */ \"apiPort\": 1, // b\n \"offline\": true }", "unset apiPort",
              "{ /* a */  // b\n \"offline\": true }"},
             {"{\n  \"apiPort\": 1, // b\n  \"offline\": true\n}\n", "unset offline",
              "{\n  \"apiPort\": 1 // b\n}\n"},
             {"{\n  \"apiPort\": 1\n}\n", "unset offline", "{\n  \"apiPort\": 1\n}\n"},
             {"\xEF\xBB\xBF{}", "set offline yes", "\xEF\xBB\xBF{ \"offline\": true }"},
             {"{\n}\n", "set password - <secret", "{\n  \"password\": \"word\"\n}\n"},
         }) {
        Write("config.json", given.before);
        Write("secret", "word\n");
        const Outcome outcome = Run("varnel config " + std::string(given.command));
        EXPECT_EQ(outcome.status, 0) << given.command << outcome.err;
        EXPECT_EQ(Read("config.json"), given.after) << given.command;
        EXPECT_PRED2(Lacks, outcome.err, "word\n");
    }
    EXPECT_EQ(Run("VARNEL_CONFIG=bare.json varnel config init").status, 0);
    EXPECT_EQ(Run("VARNEL_CONFIG=new/config.json varnel config init").status, 0);
    EXPECT_EQ(Run("VARNEL_CONFIG=new/config.json varnel config init").status, 1);
    Write("new/config.json", "{}");
    EXPECT_EQ(Run("VARNEL_CONFIG=new/config.json varnel config init --force").status, 0);
    const std::string starting = Read("new/config.json");
    Run("VARNEL_CONFIG=new/config.json varnel config set authHost https://id.example.com; "
        "VARNEL_CONFIG=new/config.json varnel config unset authHost");
    EXPECT_EQ(Read("new/config.json"), starting);
    const Outcome shown = Run("VARNEL_CONFIG=new/config.json varnel config");
    EXPECT_PRED2(Has, shown.out, "new/config.json: environments.local.apiPort");
}

} // namespace
} // namespace VarnelBase
