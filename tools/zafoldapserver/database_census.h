// SPDX-License-Identifier: Apache-2.0
//
// What the database holds, from a single slapcat(8) pass: works whether or not the server is
// running, and needs no password. Only counts, numbers and a few names are kept.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zafoldapserver/local_server.h"

namespace zafo::cli {

// One kind of number: "uidNumber" or "gidNumber".
struct NumberCensus {
    std::optional<std::uint64_t> lowest = {};  // of the pool
    std::optional<std::uint64_t> highest = {};
    std::vector<std::uint64_t> used = {};  // ascending; those of accounts

    std::uint64_t UsedInPool() const;
};

// Entries that have something in common.
struct EntriesFound {
    std::uint64_t count = 0;
    std::string first = {};  // the DN of the first one

    void Add(const std::string &dn);
};

struct DatabaseCensus {
    std::uint64_t users = 0;
    std::uint64_t groups = 0;
    NumberCensus uids = {};
    NumberCensus gids = {};
    std::set<std::string> server_ids = {};          // of the writers: "000"
    std::set<std::string, std::less<>> found = {};  // of the requested DNs
    EntriesFound administrators = {};               // at the administrator's DN, however written
    EntriesFound clear_passwords = {};
    EntriesFound costly_passwords = {};
    EntriesFound several_passwords = {};
};

// What else to look for.
struct CensusQuestion {
    std::set<std::string, std::less<>> dns = {};  // as written in the database
    std::string administrator = {};               // a DN in any form; empty: none
};

// Counts while it receives lines of LDIF (RFC 2849). Only the beginning of a long value is kept.
class CensusTaker {
  public:
    static constexpr size_t kLongestLine = 64U << 10;

    explicit CensusTaker(CensusQuestion question = {});

    void Add(std::string_view block);  // which may end anywhere
    void Line(std::string_view line);  // without its line break
    DatabaseCensus Finish();

  private:
    void Take(std::string_view logical_line);
    void EndEntry();

    void TakeDn(const std::string &dn);
    void TakePassword(std::string_view value);

    CensusQuestion question_;
    DatabaseCensus census_;
    std::string begun_;  // a line that is not complete
    std::string folded_;
    bool user_ = false, group_ = false, pool_ = false;
    std::string dn_;
    std::string name_;
    int passwords_ = 0;
    bool clear_ = false, costly_ = false;
    std::optional<std::uint64_t> uid_, gid_;
};

// std::nullopt when the database cannot be read.
std::optional<DatabaseCensus> TakeCensus(CensusQuestion question = {});

// "the directory dc=example,dc=com with 3 users and 4 groups"
std::string DirectoryInWords(const LocalServer &server,
                             const std::optional<DatabaseCensus> &census);

}  // namespace zafo::cli
