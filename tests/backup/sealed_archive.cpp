// SPDX-License-Identifier: Apache-2.0
#include "tests/backup/sealed_archive.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include <archive.h>
#include <archive_entry.h>

#include "tools/backup/archive_format.h"

namespace zafo::test {

using namespace zafo::backup;

namespace {

constexpr std::string_view kEntries =
    "dn: dc=example,dc=com\nobjectClass: domain\ndc: example\n\n"
    "dn: cn=one,dc=example,dc=com\ncn: one\n\n"
    "dn:: Y249dHfDtixkYz1leGFtcGxlLGRjPWNvbQ==\ncn:: dHfDtg==\n\n";

void Need(bool holds) {
    if (!holds) throw std::runtime_error("the archive cannot be made");
}

void Add(archive *writer, const Member &member) {
    archive_entry *entry = archive_entry_new();
    archive_entry_set_pathname(entry, member.name.c_str());
    archive_entry_set_perm(entry, 0600);
    if (member.is_link) {
        archive_entry_set_filetype(entry, AE_IFLNK);
        archive_entry_set_symlink(entry, "/etc/passwd");
    } else {
        archive_entry_set_filetype(entry, AE_IFREG);
        archive_entry_set_size(entry, static_cast<la_int64_t>(member.bytes.size()));
    }
    Need(archive_write_header(writer, entry) == ARCHIVE_OK);
    archive_entry_free(entry);
    if (!member.is_link && !member.bytes.empty())
        Need(archive_write_data(writer, member.bytes.data(), member.bytes.size()) ==
             static_cast<la_ssize_t>(member.bytes.size()));
}

std::string Written(int (*set_format)(archive *), const std::vector<Member> &members, int level,
                    std::size_t most) {
    std::string bytes(most + (1U << 20), '\0');
    std::size_t used = 0;
    archive *writer = archive_write_new();
    Need(set_format(writer) == ARCHIVE_OK);
    Need(archive_write_add_filter_zstd(writer) == ARCHIVE_OK);
    Need(archive_write_set_filter_option(writer, "zstd", "compression-level",
                                         std::to_string(level).c_str()) == ARCHIVE_OK);
    Need(archive_write_set_bytes_in_last_block(writer, 1) == ARCHIVE_OK);
    Need(archive_write_open_memory(writer, bytes.data(), bytes.size(), &used) == ARCHIVE_OK);
    for (const Member &member : members)
        Add(writer, member);
    Need(archive_write_close(writer) == ARCHIVE_OK);
    archive_write_free(writer);
    bytes.resize(used);
    return bytes;
}

}  // namespace

std::string Packed(const std::vector<Member> &members, int level) {
    std::size_t bytes = 0;
    for (const Member &member : members)
        bytes += member.bytes.size() + 2048;
    return Written(archive_write_set_format_ustar, members, level, bytes);
}

std::string Compressed(std::string_view bytes) {
    return Written(archive_write_set_format_raw, {{"raw", std::string(bytes)}}, 1, bytes.size());
}

std::string Sealed(std::string bytes) {
    Sha256 sha;
    sha.Add(bytes);
    const Digest digest = sha.Take();
    bytes.append(kSealHead.begin(), kSealHead.end());
    bytes.append(digest.begin(), digest.end());
    return bytes;
}

Manifest GoodManifest() {
    return {.product_version = "5.0.0",
            .task = "backup",
            .number = 7,
            .created = "2027-02-28T14:03:00Z",
            .suffix = "dc=example,dc=com",
            .slapd_version = "2.5.13+dfsg-5",
            .entries = 3,
            .ldif_bytes = kEntries.size(),
            .sha256 = Sha256Of(kEntries),
            .config = {{"config/slapd.conf", Sha256Of("suffix dc=example,dc=com\n")}}};
}

std::vector<Member> WithManifest(const Manifest &manifest) {
    return {{"format", "zafoldap-backup 1\n"},
            {"config/slapd.conf", "suffix dc=example,dc=com\n"},
            {"data/000001.ldif", std::string(kEntries)},
            {"manifest.json", ToJson(manifest)}};
}

std::vector<Member> GoodMembers() {
    return WithManifest(GoodManifest());
}

Member &Named(std::vector<Member> &members, std::string_view name) {
    const auto found = std::ranges::find(members, name, &Member::name);
    if (found == members.end()) throw std::runtime_error("no such member");
    return *found;
}

UniqueFd InMemory(std::string_view bytes) {
    UniqueFd fd(memfd_create("backup", MFD_CLOEXEC));
    Need(write(fd.Get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    return fd;
}

}  // namespace zafo::test
