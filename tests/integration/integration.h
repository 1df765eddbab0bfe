// SPDX-License-Identifier: Apache-2.0
//
// The library's public interface in a form convenient for tests against a real server: connections
// and searches that own what they open.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tests/rig/slapd.h"
#include "zafoldap.h"

namespace zafo::test {

using rig::ExampleDirectory;
using rig::LdifEntry;

// A connection record. It starts as the example directory's administrator over plain LDAP.
class Connection {
  public:
    explicit Connection(const std::string &uri = "127.0.0.1:389", int ssl_type = 0,
                        const std::string &base = rig::kExampleBase);
    // As the administrator of another server, with a login suffix; the server's kind and schema
    // have been detected.
    explicit Connection(const ExampleDirectory &directory);
    ~Connection();
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    // NULL for both binds anonymously.
    Connection &BindAs(const char *dn, const char *password);
    operator const ZAFOLDAP_HOST *() const { return &host_; }
    ZAFOLDAP_HOST *Record() { return &host_; }

  private:
    ZAFOLDAP_HOST host_;
};

struct Query {
    std::string base = {};  // a full DN; empty: the connection's base
    std::string filter = {};
    std::string scope = {};
    std::vector<std::string> attributes = {};
    int offset = 0;
    int count = 0;
    int size_limit = 0;
};

// A request filled from a query; it borrows the query's strings.
ZAFOLDAP_SEARCH_REQUEST Request(const Query &query);
ZAFOLDAP_SEARCH_REQUEST Request(Query &&query) = delete;

struct SearchOutcome {
    std::vector<LdifEntry> entries;
    int result;      // of the last ZAFOLDAPSearchGetNext, or of a failed ZAFOLDAPSearchInit
    int ldap_error;  // of this search: the slots are cleared before it
    int platform_error;
    std::chrono::milliseconds time;

    std::vector<std::string> DNs() const;
};

// The current entry of an open search.
LdifEntry EntryOf(const ZAFOLDAP_RESULT &result);

// Reads a search to its end, entry by entry.
SearchOutcome Search(const ZAFOLDAP_HOST *host, const Query &query);

// The values as they appear in the library's text form, which ends at a NUL byte.
LdifEntry AsText(LdifEntry entry);

// A platform string list and its content.
class StringList {
  public:
    StringList();
    ~StringList();
    StringList(const StringList &) = delete;
    StringList &operator=(const StringList &) = delete;

    QLIBSZLIST **Slot() { return &list_; }
    std::vector<std::string> Content() const;

  private:
    QLIBSZLIST *list_;
};

// Empty for a file that cannot be read.
std::string FileContent(const std::string &path);
void WriteFile(const std::string &path, const std::string &content);

// Ids of the processes in the private root whose command line contains `text`.
std::vector<int> ProcessesRunning(const std::string &text);

}  // namespace zafo::test
