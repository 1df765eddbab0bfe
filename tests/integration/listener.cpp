// SPDX-License-Identifier: Apache-2.0
#include "tests/integration/listener.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <vector>

namespace zafo::test {

SilentServer::SilentServer() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (listener_ < 0 ||
        bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener_, 16) != 0 || pipe2(stop_, O_CLOEXEC) != 0) {
        throw std::runtime_error("cannot listen on loopback");
    }
    thread_ = std::thread([this] { Listen(); });
}

SilentServer::~SilentServer() {
    close(stop_[1]);
    thread_.join();
    close(stop_[0]);
    close(listener_);
}

std::string SilentServer::Uri() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(listener_, reinterpret_cast<sockaddr *>(&address), &size);
    return "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

std::string SilentServer::Heard() {
    const std::lock_guard lock(mutex_);
    return heard_;
}

void SilentServer::Listen() {
    std::vector<pollfd> watched = {{stop_[0], POLLIN, 0}, {listener_, POLLIN, 0}};
    while (poll(watched.data(), watched.size(), -1) >= 0 && watched[0].revents == 0) {
        for (size_t at = watched.size() - 1; at > 1; --at) {
            if (watched[at].revents == 0) continue;
            char buffer[4096];
            const ssize_t n = recv(watched[at].fd, buffer, sizeof buffer, 0);
            if (n > 0) {
                const std::lock_guard lock(mutex_);
                heard_.append(buffer, static_cast<size_t>(n));
            } else {
                close(watched[at].fd);
                watched.erase(watched.begin() + static_cast<std::ptrdiff_t>(at));
            }
        }
        if (watched[1].revents == 0) continue;
        const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection >= 0) watched.push_back({connection, POLLIN, 0});
    }
    for (size_t at = 2; at < watched.size(); ++at)
        close(watched[at].fd);
}

}  // namespace zafo::test
