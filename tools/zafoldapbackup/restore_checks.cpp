// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapbackup/restore_checks.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include <fmt/format.h>

#include "base/dn.h"
#include "tools/backup/job_error.h"
#include "tools/restore/database_folder.h"
#include "tools/restore/durable_file.h"
#include "tools/restore/staging.h"
#include "tools/zafoldapbackup/slapd_version.h"
#include "zafoldap/server.h"

namespace zafo::backup {

namespace {

constexpr double kMebibyte = 1U << 20;
constexpr const char *kSlapdName = "slapd";

std::pair<int, int> NumbersOf(std::string_view version) {
    std::pair<int, int> numbers{0, 0};
    if (std::sscanf(std::string(version).c_str(), "%d.%d", &numbers.first, &numbers.second) != 2)
        return {0, 0};
    return numbers;
}

// A mount point cannot be renamed.
bool IsMountPoint(const Places &places) {
    struct stat inner {};
    struct stat outer {};
    if (stat(places.data.c_str(), &inner) != 0 || stat(places.folder.c_str(), &outer) != 0)
        return false;
    return inner.st_dev != outer.st_dev;
}

}  // namespace

bool IsNewerSlapd(std::string_view version, std::string_view than) {
    const std::pair<int, int> known = NumbersOf(than);
    return known != std::pair(0, 0) && NumbersOf(version) > known;
}

void CheckManifest(const Manifest &manifest, const std::string &suffix) {
    if (!SameDn(manifest.suffix, suffix))
        throw JobError(Exit::kNotOurs, fmt::format("the backup is for {}, the server is for {}",
                                                   manifest.suffix, suffix));
    const std::string own = SlapdVersion();
    if (IsNewerSlapd(manifest.slapd_version, own))
        throw JobError(Exit::kOtherSlapd,
                       fmt::format("the backup was made with slapd {}, the machine has {}",
                                   manifest.slapd_version, own));
}

bool CheckServer(const Places &places) {
    const FolderId folder = IdOf(places.data);
    if (folder != 0 && IsMountPoint(places))
        throw JobError(
            Exit::kSystem,
            fmt::format("{} is a separate file system and cannot be exchanged for another folder",
                        places.data));
    if (ZAFOLDAPServerIsStarted(nullptr) == 1) return true;
    const auto user = UserOf(places.data);
    if (user && user->program == kSlapdName)
        throw JobError(Exit::kServer,
                       fmt::format("a server is running ({}) whose service is not enabled: once "
                                   "stopped, it could not be started again",
                                   user->Words()));
    return false;
}

void CheckRoom(const Places &places, const Manifest &manifest) {
    struct statvfs space {};
    if (statvfs(places.folder.c_str(), &space) != 0)
        throw RootError("cannot examine " + places.folder, errno);
    const std::uint64_t needed = RoomFor(manifest.ldif_bytes);
    const std::uint64_t left = std::uint64_t{space.f_bavail} * space.f_frsize;
    if (left < needed)
        throw JobError(Exit::kRootFull,
                       fmt::format("the entries need {:.1f} MiB beside the database, {} has {:.1f}",
                                   static_cast<double>(needed) / kMebibyte, places.folder,
                                   static_cast<double>(left) / kMebibyte));
}

}  // namespace zafo::backup
