// SPDX-License-Identifier: Apache-2.0
//
// What the database holds, from one pass over it with slapcat(8): works with the server up or down,
// and needs no password. Nothing is kept but counts, numbers and the names that were asked for.
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

struct DatabaseCensus {
    std::uint64_t users = 0;
    std::uint64_t groups = 0;
    NumberCensus uids = {};
    NumberCensus gids = {};
    std::uint64_t clear_passwords = 0;              // values of userPassword that are no hash
    std::set<std::string> server_ids = {};          // that wrote entries: "000"
    std::set<std::string, std::less<>> found = {};  // of the DNs that were asked for
};

// Counts while it is handed the lines of LDIF (RFC 2849). Of a long value only the beginning is kept.
class CensusTaker {
  public:
    static constexpr size_t kLongestLine = 64U << 10;

    explicit CensusTaker(std::set<std::string, std::less<>> wanted = {})
        : wanted_(std::move(wanted)) {}

    void Line(std::string_view line);  // without its line break
    DatabaseCensus Finish();

  private:
    void Take(std::string_view logical_line);
    void EndEntry();

    std::set<std::string, std::less<>> wanted_;
    DatabaseCensus census_;
    std::string folded_;
    bool user_ = false, group_ = false, pool_ = false;
    std::string name_;
    std::optional<std::uint64_t> uid_, gid_;
};

// Nothing when the database cannot be read.
std::optional<DatabaseCensus> TakeCensus(std::set<std::string, std::less<>> wanted = {});

}  // namespace zafo::cli
