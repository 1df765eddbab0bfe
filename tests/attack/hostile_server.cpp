// SPDX-License-Identifier: Apache-2.0
#include "tests/attack/hostile_server.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace zafo::test {

namespace {

// The tags of RFC 4511 needed here.
constexpr unsigned char kBind = 0x60, kBindAnswer = 0x61, kSearch = 0x63, kEntry = 0x64,
                        kEnd = 0x65, kReference = 0x73, kReferral = 0xA3;
constexpr unsigned char kInteger = 0x02, kOctets = 0x04, kEnumerated = 0x0A, kSequence = 0x30,
                        kSet = 0x31;

std::string Head(unsigned char tag, size_t size) {
    std::string head(1, static_cast<char>(tag));
    if (size < 0x80) return head += static_cast<char>(size);
    head += '\x84';
    for (int shift = 24; shift >= 0; shift -= 8)
        head += static_cast<char>(size >> shift & 0xFF);
    return head;
}

std::string Element(unsigned char tag, std::string_view content) {
    return Head(tag, content.size()).append(content);
}

std::string Message(int id, const std::string &operation) {
    return Element(kSequence, Element(kInteger, std::string(1, static_cast<char>(id))) + operation);
}

std::string Result(unsigned char code, std::string_view words) {
    return Element(kEnumerated, std::string(1, static_cast<char>(code))) + Element(kOctets, "") +
           Element(kOctets, words);
}

bool ReadBytes(int fd, std::string &bytes, size_t size) {
    bytes.resize(size);
    return recv(fd, bytes.data(), size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

// The next request's id and tag; false at the end. The ids are small.
bool ReadRequest(int fd, int &id, unsigned char &tag) {
    std::string head, rest;
    if (!ReadBytes(fd, head, 2)) return false;
    size_t size = static_cast<unsigned char>(head[1]);
    if (size > 0x80) {
        std::string length;
        if (!ReadBytes(fd, length, size - 0x80)) return false;
        size = 0;
        for (const char c : length)
            size = size << 8 | static_cast<unsigned char>(c);
    }
    if (!ReadBytes(fd, rest, size) || size < 4) return false;
    id = rest[2];
    tag = static_cast<unsigned char>(rest[3]);
    return true;
}

bool SendAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

}  // namespace

std::string EntryMessage(int id, std::string_view dn,
                         const std::vector<HostileAttribute> &attributes) {
    std::string list;
    for (const HostileAttribute &attribute : attributes) {
        std::string values;
        for (const std::string &value : attribute.values)
            values += Element(kOctets, value);
        list += Element(kSequence, Element(kOctets, attribute.name) + Element(kSet, values));
    }
    return Message(id, Element(kEntry, Element(kOctets, dn) + Element(kSequence, list)));
}

std::string ReferenceMessage(int id, std::string_view uri) {
    return Message(id, Element(kReference, Element(kOctets, uri)));
}

std::string EndMessage(int id, unsigned char code, std::string_view words,
                       std::string_view referral) {
    std::string result = Result(code, words);
    if (!referral.empty()) result += Element(kReferral, Element(kOctets, referral));
    return Message(id, Element(kEnd, result));
}

void SendLargeEntry(int id, size_t size, const Send &send) {
    constexpr size_t kBlock = 65536;
    // Only the lengths before the value differ from those for an empty one.
    const std::string number = Element(kInteger, std::string(1, static_cast<char>(id)));
    std::string head = Head(kOctets, size);
    head = Head(kSet, head.size() + size) + head;
    head = Element(kOctets, "uid") + head;
    head = Head(kSequence, head.size() + size) + head;
    head = Head(kSequence, head.size() + size) + head;
    head = Element(kOctets, "uid=a,dc=x") + head;
    head = Head(kEntry, head.size() + size) + head;
    head = number + head;
    if (!send(Head(kSequence, head.size() + size) + head)) return;
    const std::string block(kBlock, 'x');
    for (size_t left = size; left > 0;) {
        const size_t part = std::min(left, kBlock);
        if (!send(std::string_view(block).substr(0, part))) return;
        left -= part;
    }
    send(EndMessage(id, 0));
}

HostileServer::HostileServer(Answer answer)
    : answer_(std::move(answer)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener_, 16) != 0)
        throw std::runtime_error("no port for the server");
    thread_ = std::thread([this] { Listen(); });
}

HostileServer::~HostileServer() {
    ended_ = true;
    thread_.join();
    close(listener_);
}

std::string HostileServer::Uri() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(listener_, reinterpret_cast<sockaddr *>(&address), &size);
    return "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

void HostileServer::Listen() {
    while (!ended_) {
        pollfd ready{listener_, POLLIN, 0};
        if (poll(&ready, 1, 20) <= 0) continue;
        const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) continue;
        ++clients_;
        Serve(client);
        close(client);
    }
}

void HostileServer::Serve(int client) const {
    int id = 0;
    unsigned char tag = 0;
    while (!ended_ && ReadRequest(client, id, tag)) {
        if (tag == kBind) SendAll(client, Message(id, Element(kBindAnswer, Result(0, ""))));
        if (tag == kSearch)
            answer_(id, [&](std::string_view bytes) { return !ended_ && SendAll(client, bytes); });
    }
}

}  // namespace zafo::test
