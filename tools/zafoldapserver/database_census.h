// SPDX-License-Identifier: Apache-2.0
//
// What the database holds, from one pass over it with slapcat(8): works with the server up or down,
// and needs no password. Nothing is kept but counts, numbers and a few names.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

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
    std::set<std::string> server_ids = {};          // that wrote entries: "000"
    std::set<std::string, std::less<>> found = {};  // of the DNs that were asked for
    EntriesFound administrators = {};               // at the administrator's DN, however written
    EntriesFound clear_passwords = {};
    EntriesFound costly_passwords = {};
    EntriesFound several_passwords = {};
};

// What to look for besides.
struct CensusQuestion {
    std::set<std::string, std::less<>> dns = {};  // as they are written in the database
    std::string administrator = {};               // a DN in any form; empty: none
};

// Counts while it is handed the lines of LDIF (RFC 2849). Of a long value only the beginning is kept.
class CensusTaker {
  public:
    static constexpr size_t kLongestLine = 64U << 10;

    explicit CensusTaker(CensusQuestion question = {});

    void Line(std::string_view line);  // without its line break
    DatabaseCensus Finish();

  private:
    void Take(std::string_view logical_line);
    void EndEntry();

    void TakeDn(const std::string &dn);
    void TakePassword(std::string_view value);

    CensusQuestion question_;
    DatabaseCensus census_;
    std::string folded_;
    bool user_ = false, group_ = false, pool_ = false;
    std::string dn_;
    std::string name_;
    int passwords_ = 0;
    bool clear_ = false, costly_ = false;
    std::optional<std::uint64_t> uid_, gid_;
};

// Nothing when the database cannot be read.
std::optional<DatabaseCensus> TakeCensus(CensusQuestion question = {});

}  // namespace zafo::cli
