#include "PeerOwner.h"

#include <fstream>
#include <sstream>
#include <string>

namespace VarnelBase {

namespace {

/// The port at the end of "0100007F:1F90"; 0 if there is no port.
int ParseTablePort(const std::string& address) {
    int port = 0;
    std::istringstream stream(address.substr(address.find(':') + 1));
    stream >> std::hex >> port;
    return stream.fail() ? 0 : port;
}

} // namespace

std::optional<uid_t> FindPeerOwner(int fromPort, int toPort) {
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::ifstream lines(table);
        for (std::string line; std::getline(lines, line);) {
            // Number, local and remote address, state, queues, timer, retransmissions, user.
            std::istringstream columns(line);
            std::string number;
            std::string local;
            std::string remote;
            std::string skipped;
            uid_t owner = 0;
            columns >> number >> local >> remote >> skipped >> skipped >> skipped >> skipped >>
                owner;
            if (columns && ParseTablePort(local) == fromPort && ParseTablePort(remote) == toPort) {
                return owner;
            }
        }
    }
    return std::nullopt;
}

} // namespace VarnelBase
