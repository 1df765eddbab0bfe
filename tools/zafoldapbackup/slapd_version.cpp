// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapbackup/slapd_version.h"

#include "tools/backup/child.h"
#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

constexpr const char *kSlapdPath = "/usr/sbin/slapd";

}  // namespace

std::string VersionIn(std::string_view words) {
    constexpr std::string_view kBefore = "$OpenLDAP: slapd ";
    const std::size_t begin = words.find(kBefore);
    if (begin == std::string_view::npos) return {};
    words.remove_prefix(begin + kBefore.size());
    const std::string_view version = words.substr(0, words.find_first_of(" \n"));
    return !version.empty() && version.front() >= '0' && version.front() <= '9'
               ? std::string(version)
               : std::string();
}

std::string SlapdVersion() {
    try {
        Child slapd({.argv = {kSlapdPath, "-VV"}});
        slapd.Wait();
        return VersionIn(slapd.Words());
    } catch (const JobError &) {
        return {};
    }
}

}  // namespace zafo::backup
