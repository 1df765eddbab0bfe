// SPDX-License-Identifier: Apache-2.0
//
// Backups of a real server with altered members, correctly sealed by an attacker who knows the
// format.
#pragma once

#include <fcntl.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/attack/stranger.h"
#include "tests/backup/sealed_archive.h"
#include "tests/tools/account_fixture.h"
#include "tests/tools/backup_fixture.h"
#include "tools/backup/archive_format.h"
#include "tools/backup/archive_reader.h"
#include "tools/backup/entry_scan.h"

namespace zafo::test {

inline constexpr const char *kBackupTool = "/usr/zafo/bin/zafoldapbackup";
inline constexpr const char *kEntriesMember = "data/000001.ldif";

inline std::vector<Member> MembersIn(const std::string &path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string entries;
    const backup::Contents contents = backup::ReadArchive(
        file.Get(), path, [&](std::string_view block) { entries.append(block); });
    std::vector<Member> members{{std::string(backup::kFormatMember), "zafoldap-backup 1\n"}};
    for (const backup::ConfigFile &config : contents.config)
        members.push_back({config.name, config.bytes});
    members.push_back({kEntriesMember, entries});
    members.push_back({std::string(backup::kManifestMember), backup::ToJson(contents.manifest)});
    return members;
}

// Packs the members into a complete backup with a matching manifest.
inline std::string Sealing(std::vector<Member> members) {
    backup::Manifest manifest = backup::ManifestFrom(members.back().bytes);
    const std::string &entries = Named(members, kEntriesMember).bytes;
    backup::EntryScan scan;
    scan.Add(entries);
    manifest.entries = scan.Entries();
    manifest.ldif_bytes = entries.size();
    manifest.sha256 = backup::Sha256Of(entries);
    manifest.config.clear();
    for (const Member &member : members) {
        if (member.name.starts_with(backup::kConfigFolder))
            manifest.config.push_back({member.name, backup::Sha256Of(member.bytes)});
    }
    members.back().bytes = backup::ToJson(manifest);
    return Sealed(Packed(members));
}

// A copy of a backup with other members, outside the backup folder.
inline std::string Crafted(const std::string &backup,
                           const std::function<void(std::vector<Member> &)> &change) {
    std::vector<Member> members = MembersIn(backup);
    change(members);
    const std::string path = "/root/crafted.tar.zst";
    rig::WriteFile(path, Sealing(std::move(members)));
    return path;
}

inline std::string WithEntries(const std::string &backup, const std::string &more) {
    return Crafted(backup, [&](auto &members) { Named(members, kEntriesMember).bytes += more; });
}

inline std::string Database() {
    return rig::RunProgram({"/usr/zafo/bin/slapcat", "-o", "ldif-wrap=no"}).out;
}

class BackupAttack : public rig::Backup {
  protected:
    void SetUp() override {
        rig::Backup::SetUp();
        SetDestination();
    }
};

}  // namespace zafo::test
