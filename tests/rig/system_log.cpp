// SPDX-License-Identifier: Apache-2.0
#include "tests/rig/system_log.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace zafo::rig {

namespace {

constexpr const char *kPath = "/dev/log";
constexpr const char *kFlushMark = "\1flush";
constexpr const char *kStopMark = "\1stop";

sockaddr_un Address() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, kPath);
    return address;
}

void Send(int from, const char *text) {
    const sockaddr_un address = Address();
    sendto(from, text, std::strlen(text), 0, reinterpret_cast<const sockaddr *>(&address),
           sizeof address);
}

// "<11>Nov 21 10:00:00 TAG: MESSAGE", as glibc writes it; TAG is set by openlog below.
std::string MessageOf(const std::string &datagram) {
    static const std::string kTag = " zafotest: ";
    const size_t at = datagram.find(kTag);
    return at == std::string::npos ? datagram : datagram.substr(at + kTag.size());
}

}  // namespace

SystemLog &SystemLog::Get() {
    static SystemLog log;
    return log;
}

SystemLog::SystemLog() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    unlink(kPath);
    const sockaddr_un address = Address();
    if (socket_ < 0 ||
        bind(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        throw std::runtime_error(
            "cannot own /dev/log: run the tests in a private appliance root (./dev test)");
    }
    const int cbBuffer = 4 << 20;
    setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &cbBuffer, sizeof cbBuffer);
    closelog();
    openlog("zafotest", LOG_NDELAY, LOG_USER);
    drain_ = std::thread([this] { Drain(); });
}

SystemLog::~SystemLog() {
    Send(socket_, kStopMark);
    drain_.join();
    close(socket_);
}

void SystemLog::Drain() {
    std::vector<char> buffer(1 << 20);
    for (;;) {
        const ssize_t n = recv(socket_, buffer.data(), buffer.size(), 0);
        if (n <= 0) continue;
        std::string text(buffer.data(), static_cast<size_t>(n));
        if (text == kStopMark) return;
        if (text == kFlushMark) {
            ++flushed_;
            flushed_.notify_all();
            continue;
        }
        const int priority = text[0] == '<' ? std::atoi(text.c_str() + 1) : -1;
        const std::lock_guard lock(mutex_);
        lines_.push_back({priority, MessageOf(text)});
    }
}

// Everything logged before is in lines_ when this returns: datagrams keep their order.
void SystemLog::Flush() {
    const int wanted = ++flushes_;
    Send(socket_, kFlushMark);
    for (int seen = flushed_; seen < wanted; seen = flushed_)
        flushed_.wait(seen);
}

void SystemLog::Clear() {
    Flush();
    const std::lock_guard lock(mutex_);
    lines_.clear();
}

std::vector<std::string> SystemLog::Messages() {
    Flush();
    const std::lock_guard lock(mutex_);
    std::vector<std::string> texts;
    for (const Line &line : lines_)
        texts.push_back(line.text);
    return texts;
}

std::vector<int> SystemLog::Priorities() {
    Flush();
    const std::lock_guard lock(mutex_);
    std::vector<int> priorities;
    for (const Line &line : lines_)
        priorities.push_back(line.priority);
    return priorities;
}

}  // namespace zafo::rig
