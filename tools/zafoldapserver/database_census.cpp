// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/database_census.h"

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/ascii.h"
#include "base/dn.h"
#include "platform/process.h"
#include "tools/backup/entry_scan.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldapserver/stored_password.h"

namespace zafo::cli {

namespace {

// "20271121113111.123456Z#000000#001#000000": time, count, server, modification.
std::string ServerIdIn(std::string_view csn) {
    for (int field = 0; field < 2; ++field) {
        const size_t hash = csn.find('#');
        if (hash == std::string_view::npos) return {};
        csn.remove_prefix(hash + 1);
    }
    return std::string(csn.substr(0, csn.find('#')));
}

}  // namespace

std::uint64_t NumberCensus::UsedInPool() const {
    if (!lowest || !highest || *highest < *lowest) return 0;
    const auto begin = std::ranges::lower_bound(used, *lowest);
    const auto end = std::ranges::upper_bound(used, *highest);
    std::uint64_t count = 0;
    for (auto at = begin; at < end; ++at)
        count += at == begin || *at != *(at - 1) ? 1 : 0;
    return count;
}

void EntriesFound::Add(const std::string &dn) {
    if (count++ == 0) first = dn;
}

CensusTaker::CensusTaker(CensusQuestion question) : question_(std::move(question)) {
    if (!question_.administrator.empty())
        question_.administrator = ComparableDn(question_.administrator);
}

void CensusTaker::Add(std::string_view block) {
    while (!block.empty()) {
        const size_t size = block.find('\n');
        const std::string_view part = block.substr(0, size);
        if (begun_.size() < kLongestLine) begun_ += part.substr(0, kLongestLine);
        if (size == block.npos) return;
        Line(begun_);
        begun_.clear();
        block.remove_prefix(size + 1);
    }
}

void CensusTaker::Line(std::string_view line) {
    if (line.starts_with(' ')) {
        if (folded_.size() < kLongestLine) folded_ += line.substr(1, kLongestLine);
        return;
    }
    if (!folded_.empty()) Take(folded_);
    folded_ = line.substr(0, kLongestLine);
    if (line.empty()) EndEntry();
}

void CensusTaker::Take(std::string_view line) {
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos || line.starts_with('#')) return;
    const std::string_view name = line.substr(0, colon);
    std::string_view text = line.substr(colon + 1);
    const bool encoded = text.starts_with(':');
    text.remove_prefix(std::min(text.find_first_not_of(": "), text.size()));
    const std::string value = encoded ? backup::DecodedBase64(text) : std::string(text);
    if (EqualIgnoringCase(name, "dn")) {
        TakeDn(value);
    } else if (EqualIgnoringCase(name, "objectClass")) {
        user_ = user_ || EqualIgnoringCase(value, "posixAccount");
        group_ = group_ || EqualIgnoringCase(value, "posixGroup");
        pool_ = pool_ || EqualIgnoringCase(value, "sambaUnixIdPool");
    } else if (EqualIgnoringCase(name, "cn")) {
        name_ = value;
    } else if (EqualIgnoringCase(name, "userPassword")) {
        TakePassword(value);
    } else if (EqualIgnoringCase(name, "uidNumber")) {
        uid_ = WholeNumber<std::uint64_t>(value);
    } else if (EqualIgnoringCase(name, "gidNumber")) {
        gid_ = WholeNumber<std::uint64_t>(value);
    } else if (EqualIgnoringCase(name, "entryCSN")) {
        if (std::string id = ServerIdIn(value); !id.empty())
            census_.server_ids.insert(std::move(id));
    }
}

void CensusTaker::TakeDn(const std::string &dn) {
    dn_ = dn;
    if (question_.dns.contains(dn)) census_.found.insert(dn);
    if (!question_.administrator.empty() && ComparableDn(dn) == question_.administrator)
        census_.administrators.Add(dn);
}

void CensusTaker::TakePassword(std::string_view value) {
    ++passwords_;
    clear_ = clear_ || KindOf(value) == StoredPassword::kClear;
    costly_ = costly_ || KindOf(value) == StoredPassword::kCostly;
}

void CensusTaker::EndEntry() {
    if (clear_) census_.clear_passwords.Add(dn_);
    if (costly_) census_.costly_passwords.Add(dn_);
    if (passwords_ > 1) census_.several_passwords.Add(dn_);
    passwords_ = 0;
    clear_ = costly_ = false;
    dn_.clear();
    if (user_) ++census_.users;
    if (group_) ++census_.groups;
    if (user_ && uid_) census_.uids.used.push_back(*uid_);
    if (group_ && gid_) census_.gids.used.push_back(*gid_);
    if (pool_ && EqualIgnoringCase(name_, "MinID")) {
        census_.uids.lowest = uid_;
        census_.gids.lowest = gid_;
    } else if (pool_ && EqualIgnoringCase(name_, "MaxID")) {
        census_.uids.highest = uid_;
        census_.gids.highest = gid_;
    }
    user_ = group_ = pool_ = false;
    name_.clear();
    uid_.reset();
    gid_.reset();
}

DatabaseCensus CensusTaker::Finish() {
    if (!begun_.empty()) Line(begun_);
    Line("");
    std::ranges::sort(census_.uids.used);
    std::ranges::sort(census_.gids.used);
    return std::move(census_);
}

std::string DirectoryInWords(const LocalServer &server,
                             const std::optional<DatabaseCensus> &census) {
    const std::string accounts =
        census ? Counted(census->users, "user") + " and " + Counted(census->groups, "group")
               : "users and groups that cannot be counted";
    return fmt::format("the directory {} with {}",
                       OneLine(server.suffix.empty() ? "of an unknown suffix" : server.suffix),
                       accounts);
}

std::optional<DatabaseCensus> TakeCensus(CensusQuestion question) {
    FILE *stream = QLIBCPopen(kSlapcat, "r", static_cast<char *>(nullptr));
    if (stream == nullptr) return std::nullopt;
    CensusTaker taker(std::move(question));
    std::vector<char> block(CensusTaker::kLongestLine);
    for (size_t n = 0; (n = fread(block.data(), 1, block.size(), stream)) > 0;)
        taker.Add({block.data(), n});
    if (QLIBCPclose(stream) != 0) return std::nullopt;
    return taker.Finish();
}

}  // namespace zafo::cli
