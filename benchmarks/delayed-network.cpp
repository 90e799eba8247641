// Runs a command in a network of its own, in which every packet is late:
//
//   delayed-network MILLISECONDS COMMAND...
//
// What listens on 10.0.0.1 is reached at 10.0.0.2. The two are one tunnel device: the relay behind
// it swaps both addresses of each packet and hands it back after that many milliseconds, so that a
// round trip takes twice as long.
#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct LatePacket {
    Clock::time_point due;
    std::vector<char> bytes;
};

void Require(bool isFine, const char* what) {
    if (isFine) { return; }
    std::perror(("delayed-network: " + std::string(what)).c_str());
    std::exit(1);
}

void EnterNetwork() {
    const uid_t user = getuid();
    if (unshare(CLONE_NEWNET) == 0) { return; }
    Require(unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0, "no network namespace");
    std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
}

int OpenTunnel() {
    ifreq device{};
    std::strcpy(device.ifr_name, "late");
    device.ifr_flags = IFF_TUN | IFF_NO_PI;
    const int tunnel = open("/dev/net/tun", O_RDWR | O_CLOEXEC);
    Require(tunnel >= 0 && ioctl(tunnel, TUNSETIFF, &device) == 0, "no tunnel device");

    const int control = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    const auto set = [&](unsigned long what, const char* text) {
        inet_pton(AF_INET, text, &address.sin_addr);
        std::memcpy(&device.ifr_addr, &address, sizeof address);
        Require(ioctl(control, what, &device) == 0, text);
    };
    set(SIOCSIFADDR, "10.0.0.1");
    set(SIOCSIFNETMASK, "255.255.255.0");
    device.ifr_flags = IFF_UP | IFF_RUNNING;
    Require(ioctl(control, SIOCSIFFLAGS, &device) == 0, "the tunnel stays down");
    close(control);
    return tunnel;
}

[[noreturn]] void Relay(int tunnel, std::chrono::milliseconds delay) {
    std::deque<LatePacket> packets;
    std::array<char, 1 << 16> buffer{};
    while (true) {
        timespec wait{};
        if (!packets.empty()) {
            const auto left = std::max(packets.front().due - Clock::now(), Clock::duration(0));
            wait.tv_nsec = std::chrono::nanoseconds(left).count(); // less than a second
        }
        pollfd readable{tunnel, POLLIN, 0};
        if (ppoll(&readable, 1, packets.empty() ? nullptr : &wait, nullptr) > 0) {
            const ssize_t size = read(tunnel, buffer.data(), buffer.size());
            const bool isIpv4 = size >= 20 && (buffer[0] & 0xf0) == 0x40;
            if (isIpv4) {
                std::swap_ranges(&buffer[12], &buffer[16], &buffer[16]);
                packets.push_back({Clock::now() + delay, {buffer.data(), buffer.data() + size}});
            }
        }
        while (!packets.empty() && packets.front().due <= Clock::now()) {
            const std::vector<char>& bytes = packets.front().bytes;
            Require(write(tunnel, bytes.data(), bytes.size()) > 0, "a packet is lost");
            packets.pop_front();
        }
    }
}

} // namespace

int main(int argc, char* argv[]) {
    const int delay = argc > 2 ? std::atoi(argv[1]) : 0;
    if (delay < 1 || delay > 999) { return 2; }
    EnterNetwork();
    const int tunnel = OpenTunnel();
    const pid_t command = getpid();
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // it ends with the command
        if (getppid() != command) { return 1; }
        Relay(tunnel, std::chrono::milliseconds(delay));
    }
    execvp(argv[2], argv + 2);
    Require(false, argv[2]);
}
