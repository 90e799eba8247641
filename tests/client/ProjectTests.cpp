#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>

#include "ClientFixture.h"
#include "ContentDisposition.h"
#include "Limits.h"

namespace {

bool isWithoutNoReplace = false; ///< as file systems such as NFS are

} // namespace

extern "C" int renameat2(int oldDirectory, const char* oldName, int newDirectory,
                         const char* newName, unsigned int flags) noexcept {
    if (isWithoutNoReplace) { return errno = EINVAL, -1; }
    return static_cast<int>(
        syscall(SYS_renameat2, oldDirectory, oldName, newDirectory, newName, flags));
}

namespace VarnelBase {

namespace {

namespace fs = std::filesystem;

class ClientProjects : public ClientFixture {
protected:
    std::size_t CountFiles() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(home), {}));
    }

    const std::string bytes = std::string("PK\0\xff", 4) + std::string(100'000, 'x');
    const std::string named = "Content-Disposition: attachment; filename=\"a.b.zip\"\r\n";
};

} // namespace

TEST_F(ClientProjects, AreFilesWhenTheyAreWhole) {
    ServiceClient client(Options());
    server.Answer(MakeAnswer(200, bytes, named));
    std::uint64_t last = 0;
    const auto progress = [&](std::uint64_t received, std::optional<std::uint64_t> total) {
        EXPECT_GT(received, last);
        EXPECT_EQ(total, bytes.size());
        last = received;
    };
    const char* const names[] = {"a.b.zip", "a.b-2.zip", "a.b-3.zip"};
    for (const char* name : names) {
        last = 0;
        isWithoutNoReplace = name != names[0];
        const ProjectOutcome outcome = client.SaveProject({}, home, progress);
        EXPECT_TRUE(outcome) << outcome.message;
        EXPECT_EQ(outcome.path, home / name);
        EXPECT_EQ(outcome.fileName, "a.b.zip");
        EXPECT_EQ(outcome.size, bytes.size());
        EXPECT_EQ(last, bytes.size());
        EXPECT_EQ(Read(outcome.path), bytes);
    }
    isWithoutNoReplace = false;
    const std::string path = home / "mine";
    Write(path, "old");
    EXPECT_EQ(client.SaveProject({}, path).path, path);
    EXPECT_EQ(Read(path), bytes);
    server.Answer(MakeAnswer(200, ""));
    EXPECT_EQ(client.SaveProject({}, home).path, home / "project");
    EXPECT_EQ(CountFiles(), 5U);

    server.Answer(MakeAnswer(200, bytes, named));
    EXPECT_EQ(client.GenerateProject({}).text, bytes);
    std::ostringstream output;
    EXPECT_EQ(client.StreamProject({}, output).size, bytes.size());
    EXPECT_EQ(output.str(), bytes);
}

TEST_F(ClientProjects, LeaveNothingBehindWhenTheyFail) {
    ServiceClient client(Options());
    const std::string path = home / "mine";
    Write(path, "old");
    const std::pair<std::string, Failure> answers[] = {
        {MakeAnswer(404, "{}"), Failure::NotFound},
        {"HTTP/1.1 200 OK\r\nContent-Length: 999999\r\n\r\n" + bytes, Failure::Interrupted},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nab\r\n", Failure::Interrupted},
    };
    for (const auto& [answer, failure] : answers) {
        server.Answer(answer);
        EXPECT_EQ(client.SaveProject({}, path).failure, failure);
        EXPECT_EQ(client.SaveProject({}, home).failure, failure);
    }
    (void)server.TakeRequests();
    server.Answer(MakeAnswer(200, bytes));
    const ProjectOutcome nowhere = client.SaveProject({}, home / "none/file");
    EXPECT_EQ(nowhere.failure, Failure::NotSaved);
    EXPECT_EQ(nowhere.message, (home / "none/file").string() + ": No such file or directory");
    const std::string pipe = home / "pipe";
    EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(client.SaveProject({}, pipe).failure, Failure::NotSaved);
    fs::remove(pipe);
    std::ofstream unopened(home / "none/file");
    EXPECT_EQ(client.StreamProject({}, unopened).failure, Failure::NotSaved);
    EXPECT_EQ(server.TakeRequests(), Log()); // without keeping the service busy
    DoWithin(RLIMIT_FSIZE, 1000,
             [&] { EXPECT_EQ(client.SaveProject({}, path).message, path + ": File too large"); });
    EXPECT_THROW(
        (void)client.SaveProject({}, path, [](auto, auto) { throw std::logic_error("mine"); }),
        std::logic_error);
    EXPECT_EQ(client.StreamProject({}, [](const char*, std::size_t) { return false; }).failure,
              Failure::NotSaved);
    ClientOptions small = Options();
    small.maxDocumentBytes = 1000;
    EXPECT_EQ(ServiceClient(small).GenerateProject({}).failure, Failure::TooLarge);
    server.Answer(MakeAnswer(200, "fits into the stream's buffer"));
    std::ofstream full("/dev/full");
    EXPECT_EQ(client.StreamProject({}, full).failure, Failure::NotSaved);
    EXPECT_EQ(CountFiles(), 1U);
    EXPECT_EQ(Read(path), "old");
}

TEST(ClientFileNames, AreSafe) {
    const std::pair<const char*, const char*> names[] = {
        {"attachment; filename=\"bridge.zip\"", "bridge.zip"},
        {"attachment;FileName = bridge.zip ; size=3", "bridge.zip"},
        {"attachment; filename=\"a \\\"b\\\"; c.zip\"", "a _b_; c.zip"},
        {"attachment; filename=plain.zip; filename*=UTF-8''br%C3%BCcke%20%e2%82%ac.zip",
         "br\xc3\xbc"
         "cke \xe2\x82\xac.zip"},
        {"attachment; filename*=iso-8859-1'en'%A3.zip; filename=plain.zip", "\xc2\xa3.zip"},
        {"attachment; filename=plain.zip; filename*=UTF-8''%zz", "plain.zip"},
        {"attachment; filename=plain.zip; filename*=UTF-8''%4", "plain.zip"},
        {"attachment; filename=plain.zip; filename*=KOI8-R''a", "plain.zip"},
        {"attachment; filename*=UTF-8''..%2F..%2Fetc%2Fpasswd", "passwd"},
        {"attachment; filename=\"C:\\\\windows\\\\win.ini\"", "win.ini"},
        {"attachment; filename=\"/\"", ""},
        {"attachment; filename=\"..\"", ""},
        {"attachment; filename=\". .bashrc. \"", "bashrc"},
        {"attachment; filename*=UTF-8''a%00b%0A.zip", "a_b_.zip"},
        {"attachment; filename=\"a\x1b[2J.zip\"", "a_[2J.zip"},
        {"attachment; filename=\"a\xff\xc0\xaf.zip\"", "a___.zip"},
        {"attachment; filename*=UTF-8''a%E2%80%AEpiz.exe", "a_piz.exe"},
        {"attachment; filename=first; filename=second", "first"},
        {"attachment; filename=", ""},
        {"attachment; filename", ""},
        {"", ""},
    };
    for (const auto& [header, name] : names) { EXPECT_EQ(ReadFileName(header), name) << header; }
    EXPECT_EQ(ReadFileName("a; filename=" + std::string(500, 'x')).size(), 200U);
}

} // namespace VarnelBase
