// Compares the emulator that holds 100,000 simulations, executions and users with one that holds
// 100 of each, and measures a start: bench-emulator-sizes EMULATOR
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>

#include "Measure.h"
#include "Peer.h"
#include "RawRequest.h"

namespace {

constexpr int Few = 100;
constexpr int Many = 100000;

/// A seed with so many simulations, and as many executions of the first one and users.
class SeedFile {
public:
    SeedFile(int simulations, int others)
        : path(std::filesystem::temp_directory_path() /
               ("varnel-seed-" + std::to_string(getpid()) + "-" + std::to_string(simulations) +
                "-" + std::to_string(others))) {
        std::ofstream seed(path);
        seed << R"({"version": "1")";
        Write(seed, "simulations", simulations, [](const std::string& n) {
            return R"({"id": "sim-)" + n + R"(", "name": "Bridge )" + n +
                   R"(", "scope": "user", "createdAt": "2025-01-01T00:00:00Z"})";
        });
        Write(seed, "executions", others, [](const std::string& n) {
            return R"({"id": "exe-)" + n + R"(", "simulationId": "sim-0", "data": {"span": 40}})";
        });
        Write(seed, "users", others, [](const std::string& n) {
            return R"({"id": "usr-)" + n + R"(", "email": "a)" + n + R"(@b", "role": "viewer"})";
        });
        seed << "}";
    }
    ~SeedFile() { std::filesystem::remove(path); }
    SeedFile(const SeedFile&) = delete;
    SeedFile& operator=(const SeedFile&) = delete;

    std::string GetPath() const { return path.string(); }

private:
    static void Write(std::ostream& seed, const char* list, int count,
                      const std::function<std::string(const std::string&)>& describe) {
        seed << ", \"" << list << "\": [";
        for (int i = 0; i < count; ++i) {
            seed << (i == 0 ? "" : ",") << describe(std::to_string(i));
        }
        seed << "]";
    }

    std::filesystem::path path;
};

/// A connection to an emulator that is kept, so that a request costs little beside its work.
class KeptConnection {
public:
    explicit KeptConnection(int port) : connection(ConnectToLoopback(port)) {
        if (connection < 0) { throw std::runtime_error("no connection to the emulator"); }
    }
    ~KeptConnection() { close(connection); }
    KeptConnection(const KeptConnection&) = delete;
    KeptConnection& operator=(const KeptConnection&) = delete;

    void Ask(const std::string& request, const std::string& body, const std::string& status) {
        const std::string bytes = request + " HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
                                  std::to_string(body.size()) + "\r\n\r\n" + body;
        send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        std::string answer;
        std::size_t end = std::string::npos;
        while (answer.size() < end) {
            std::array<char, 16384> part{};
            const ssize_t count = recv(connection, part.data(), part.size(), 0);
            if (count <= 0) { throw std::runtime_error(request + " is not answered"); }
            answer.append(part.data(), static_cast<std::size_t>(count));
            const std::size_t head = answer.find("\r\n\r\n");
            const std::size_t length = answer.find("Content-Length: ");
            if (head != std::string::npos && length < head) {
                end = head + 4 + std::strtoul(answer.c_str() + length + 16, nullptr, 10);
            }
        }
        if (answer.compare(9, 3, status) != 0) { throw std::runtime_error(request + answer); }
    }

private:
    int connection;
};

void CompareSizes(const std::string& program) {
    const SeedFile fewEntries(Few, Few);
    const SeedFile manyEntries(Many, Many);
    const Peer small(program, fewEntries.GetPath());
    const Peer large(program, manyEntries.GetPath());
    KeptConnection toSmall(small.GetPort());
    KeptConnection toLarge(large.GetPort());
    const auto compare = [&](const std::string& name, auto ask) {
        constexpr int Calls = 1000;
        Report(name + " with 100,000 simulations, executions and users over 100 of each",
               Compare(
                   Calls, [&] { ask(toLarge, Many); }, [&] { ask(toSmall, Few); })
                   .wall,
               "<= 1.3");
    };
    compare("list page", [](KeptConnection& to, int entries) {
        to.Ask("GET /simulations?scope=user&limit=50&offset=" + std::to_string(entries - 50), "",
               "200");
    });
    compare("POST execution", [](KeptConnection& to, int /*entries*/) {
        to.Ask("POST /simulations/sim-0/executions", R"({"span": 40})", "201");
    });
    compare("POST user", [made = 0](KeptConnection& to, int /*entries*/) mutable {
        to.Ask("POST /users",
               R"({"email": "new)" + std::to_string(++made) + R"(@b", "role": "viewer"})", "201");
    });
    compare("advancing the clock", [](KeptConnection& to, int /*entries*/) {
        to.Ask("POST /_local/clock", R"({"advance": 1})", "200");
    });
}

void MeasureStart(const std::string& program) {
    const SeedFile entries(Many, 0);
    const auto begin = std::chrono::steady_clock::now();
    const Peer started(program, entries.GetPath());
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    Report("start of the emulator with 100,000 simulations, seconds", time.count(), "<= 2");
    Report("resident memory of the emulator with 100,000 simulations, MiB",
           started.ReadResidentMebibytes(), "<= 150");
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 2) { return 2; }
    CompareSizes(argv[1]);
    MeasureStart(argv[1]);
}
