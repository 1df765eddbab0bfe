// SPDX-License-Identifier: Apache-2.0
//
// Arbitrary backup files. The input's first byte selects which part of the file it is: the whole
// file, what is compressed, the manifest, or the entries of an otherwise valid file.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/check.h"
#include "tests/backup/sealed_archive.h"
#include "tools/backup/archive_fault.h"
#include "tools/backup/archive_reader.h"
#include "tools/backup/entry_guard.h"
#include "tools/backup/entry_scan.h"
#include "tools/backup/job_error.h"
#include "tools/backup/sha256.h"

namespace {

using namespace zafo;
using namespace zafo::backup;

// The text of a refusal goes into a log line and a progress file.
void CheckWords(const JobError &error) {
    const std::string_view words = error.what();
    CHECK(words.starts_with("backup: ") && words.size() > 8);
    CHECK(std::ranges::none_of(words, [](unsigned char c) { return c < ' ' || c == 0x7F; }));
    CHECK(error.code == Exit::kDamaged || error.code == Exit::kNewerFormat ||
          error.code == Exit::kBadPlace);
}

// The entries of a file that is accepted; nothing if it is refused.
std::optional<std::string> Read(std::string_view bytes) {
    const UniqueFd fd = test::InMemory(bytes);
    std::string entries;
    try {
        const Contents contents =
            ReadArchive(fd.Get(), "backup", [&](std::string_view block) { entries.append(block); });
        CHECK(contents.manifest.ldif_bytes == entries.size());
        CHECK(contents.manifest.sha256 == Sha256Of(entries));
        CHECK(ManifestFrom(ToJson(contents.manifest)) == contents.manifest);
        return entries;
    } catch (const JobError &error) {
        CheckWords(error);
        return std::nullopt;
    }
}

// Whether the guard passes a text; the answer must be the same whole and byte by byte.
bool PassesTheGuard(std::string_view ldif) {
    const auto passes = [&](size_t piece) {
        EntryGuard guard;
        try {
            for (size_t at = 0; at < ldif.size(); at += piece)
                guard.Add(ldif.substr(at, piece));
            return true;
        } catch (const Fault &) {
            return false;
        }
    };
    // Backups have no empty pieces.
    if (ldif.empty()) return false;
    const bool whole = passes(ldif.size());
    CHECK(whole == passes(1));
    return whole;
}

// The entries of a backup are restored unchanged, or the backup is refused.
void CheckEntries(std::string_view ldif) {
    EntryScan whole("dc=example,dc=com"), pieces("dc=example,dc=com");
    whole.Add(ldif);
    for (size_t at = 0; at < ldif.size(); at += 1 + at % 7)
        pieces.Add(ldif.substr(at, 1 + at % 7));
    CHECK(whole.Entries() == pieces.Entries() && whole.IsComplete() == pieces.IsComplete());
    CHECK(whole.HasStrayText() == pieces.HasStrayText());
    CHECK(whole.SawSuffix() == pieces.SawSuffix());
    CHECK(whole.EndOfRecords() == pieces.EndOfRecords() && whole.EndOfRecords() <= ldif.size());

    Manifest manifest = test::GoodManifest();
    manifest.entries = whole.Entries();
    manifest.ldif_bytes = ldif.size();
    manifest.sha256 = Sha256Of(ldif);
    auto members = test::WithManifest(manifest);
    test::Named(members, "data/000001.ldif").bytes = ldif;
    const auto entries = Read(test::Sealed(test::Packed(members, 1)));
    CHECK(entries.has_value() ==
          (PassesTheGuard(ldif) && whole.IsComplete() && !whole.HasStrayText()));
    CHECK(!entries || *entries == ldif);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const std::string_view input(reinterpret_cast<const char *>(data) + 1, size - 1);
    switch (data[0] % 5) {
        case 0:
            Read(input);
            break;
        case 1:
            Read(test::Sealed(std::string(input)));
            break;
        case 2:
            Read(test::Sealed(test::Compressed(input)));
            break;
        case 3: {
            auto members = test::GoodMembers();
            test::Named(members, "manifest.json").bytes = input;
            Read(test::Sealed(test::Packed(members, 1)));
            break;
        }
        default:
            CheckEntries(input);
    }
    return 0;
}
