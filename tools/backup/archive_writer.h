// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include "tools/backup/background_sha256.h"
#include "tools/backup/entry_scan.h"
#include "tools/backup/manifest.h"

namespace zafo::backup {

// Writes one backup file (archive_format.h) to a descriptor that stays the caller's: it is neither
// closed nor synced. Readers refuse an unfinished file. Every function throws JobError:
// WritingError for the descriptor, kSystem for libarchive errors.
class ArchiveWriter {
  public:
    // `path` is for messages only; `written` is the members' mtime; `suffix` is the DN to look for
    // in the entries.
    ArchiveWriter(int fd, std::string path, std::time_t written, std::string_view suffix = {});
    ~ArchiveWriter();
    ArchiveWriter(const ArchiveWriter &) = delete;
    ArchiveWriter &operator=(const ArchiveWriter &) = delete;

    // Adds a configuration file; these must come before the entries. `name` is one of the
    // "config/…" members.
    void AddFile(std::string_view name, std::string_view bytes);

    // Adds the next block of LDIF, which may end anywhere.
    void AddEntries(std::string_view block);

    // Writes the last piece, the manifest and the seal. Fills in the entry count, sizes and
    // digests, and returns the complete manifest.
    Manifest Finish(Manifest manifest);

    // The scan of the entries added so far.
    const EntryScan &Scan() const { return scan_; }

  private:
    struct Sink;

    void WriteMember(std::string_view name, std::string_view bytes);
    void WritePiece(std::size_t size);
    void Check(int result);

    std::unique_ptr<Sink> sink_;
    std::time_t written_;
    std::vector<ConfigDigest> config_;
    std::string piece_;
    std::uint64_t piece_start_ = 0;  // offset in the LDIF
    int pieces_ = 0;
    EntryScan scan_;
    BackgroundSha256 digest_;
};

}  // namespace zafo::backup
