#include "Peer.h"

#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

Peer::Peer(int status, const std::string& kind, std::size_t size, const std::string& address) {
    const std::string program =
        std::filesystem::read_symlink("/proc/self/exe").parent_path() / "peer";
    const std::string statusText = std::to_string(status);
    const std::string sizeText = std::to_string(size);
    const char* const arguments[] = {program.c_str(),  statusText.c_str(), kind.c_str(),
                                     sizeText.c_str(), address.c_str(),    nullptr};
    Start(arguments);
}

Peer::Peer(const std::string& program, const std::string& seed) {
    const char* const seedFlag = seed.empty() ? nullptr : "--seed";
    const char* const arguments[] = {program.c_str(), "--port",     "0",
                                     seedFlag,        seed.c_str(), nullptr};
    Start(arguments);
}

Peer::~Peer() {
    kill(process, SIGTERM);
    waitpid(process, nullptr, 0);
}

double Peer::ReadResidentMebibytes() const {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) { return std::atof(line.c_str() + 6) / 1024; }
    }
    return -1;
}

void Peer::Start(const char* const* arguments) {
    int ends[2];
    if (pipe(ends) != 0) { throw std::runtime_error("no pipe"); }
    process = fork();
    if (process == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execv(arguments[0], const_cast<char* const*>(arguments));
        _exit(127);
    }
    close(ends[1]);
    FILE* output = fdopen(ends[0], "r");
    const bool isReady = std::fscanf(output, "http://%*[0-9.]:%d", &port) == 1;
    std::fclose(output);
    if (!isReady) { throw std::runtime_error(std::string(arguments[0]) + " did not start"); }
}

void UsePeer(const Peer& peer) {
    setenv("VARNEL_API_PORT", std::to_string(peer.GetPort()).c_str(), 1);
}
