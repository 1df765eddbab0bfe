// SPDX-License-Identifier: Apache-2.0
#include "tests/integration/packet_capture.h"

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace zafo::test {

namespace {

constexpr int kQuietMilliseconds = 100;
constexpr int kBuffer = 16 << 20;

int Open() {
    const int fd = socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, htons(ETH_P_ALL));
    if (fd < 0) return -1;
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = static_cast<int>(if_nametoindex("lo"));
    setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &kBuffer, sizeof kBuffer);
    if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) return fd;
    close(fd);
    return -1;
}

}  // namespace

std::string PacketCapture::Missing() {
    const int fd = Open();
    if (fd < 0) return std::string("no packet capture: ") + std::strerror(errno);
    close(fd);
    return {};
}

PacketCapture::PacketCapture() : socket_(Open()) {
    if (socket_ < 0) throw std::runtime_error("cannot capture packets");
    thread_ = std::thread([this] { Listen(); });
}

PacketCapture::~PacketCapture() {
    Finish();
}

std::string PacketCapture::Finish() {
    if (thread_.joinable()) {
        stop_ = true;
        thread_.join();
        close(socket_);
    }
    return seen_;
}

void PacketCapture::Listen() {
    std::vector<char> packet(1 << 17);
    pollfd event{socket_, POLLIN, 0};
    while (poll(&event, 1, kQuietMilliseconds) > 0 || !stop_) {
        const ssize_t n = recv(socket_, packet.data(), packet.size(), MSG_DONTWAIT);
        if (n > 0) seen_.append(packet.data(), static_cast<size_t>(n));
    }
}

}  // namespace zafo::test
