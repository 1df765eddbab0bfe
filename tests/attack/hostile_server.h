// SPDX-License-Identifier: Apache-2.0
//
// An LDAP server (RFC 4511) that accepts any bind and answers searches with whatever a test
// supplies.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace zafo::test {

struct HostileAttribute {
    std::string name;
    std::vector<std::string> values;
};

// Messages in wire format. `id` is the number of the request.
std::string EntryMessage(int id, std::string_view dn,
                         const std::vector<HostileAttribute> &attributes);
std::string ReferenceMessage(int id, std::string_view uri);
std::string EndMessage(int id, unsigned char code, std::string_view words = "",
                       std::string_view referral = "");

// Sends to one client; false once it has disconnected.
using Send = std::function<bool(std::string_view bytes)>;

// An entry with one value of that many bytes, sent in pieces so that it is never held in memory.
void SendLargeEntry(int id, size_t size, const Send &send);

class HostileServer {
  public:
    // Answers one search.
    using Answer = std::function<void(int id, const Send &send)>;

    explicit HostileServer(Answer answer);
    ~HostileServer();
    HostileServer(const HostileServer &) = delete;
    HostileServer &operator=(const HostileServer &) = delete;

    // "127.0.0.1:PORT".
    std::string Uri() const;

    // The number of clients so far.
    int Clients() const { return clients_; }

  private:
    void Listen();
    void Serve(int client) const;

    Answer answer_;
    int listener_;
    std::atomic<int> clients_ = 0;
    std::atomic<bool> ended_ = false;
    std::thread thread_;
};

}  // namespace zafo::test
