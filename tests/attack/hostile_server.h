// SPDX-License-Identifier: Apache-2.0
//
// An LDAP server (RFC 4511) that lets everybody in and answers a search with whatever a test makes up.
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

// Messages as they go over the wire. `id` is the number of the request.
std::string EntryMessage(int id, std::string_view dn,
                         const std::vector<HostileAttribute> &attributes);
std::string ReferenceMessage(int id, std::string_view uri);
std::string EndMessage(int id, unsigned char code, std::string_view words = "",
                       std::string_view referral = "");

// Sends to one client; false when it has gone.
using Send = std::function<bool(std::string_view bytes)>;

// An entry with one value of that many bytes, sent piece by piece: nobody here holds it.
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

    // How many clients have come.
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
