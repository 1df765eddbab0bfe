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

// Writes one backup file (archive_format.h) into a descriptor, which stays the caller's: it is
// neither closed nor synchronised. What is not finished is no backup, and is refused by its readers.
// Every function throws JobError: WritingError for the descriptor, kSystem for what the library says.
class ArchiveWriter {
  public:
    // `path` is for words only; `written` becomes the members' time; `suffix` is looked for among the entries.
    ArchiveWriter(int fd, std::string path, std::time_t written, std::string_view suffix = {});
    ~ArchiveWriter();
    ArchiveWriter(const ArchiveWriter &) = delete;
    ArchiveWriter &operator=(const ArchiveWriter &) = delete;

    // A configuration file; all of them come before the entries. `name` is one of the members "config/…".
    void AddFile(std::string_view name, std::string_view bytes);

    // The next block of the LDIF; it may end anywhere.
    void AddEntries(std::string_view block);

    // The rest, the manifest and the seal. Fills in what the writer knows: entries, bytes, digests.
    // Gives the whole manifest.
    Manifest Finish(Manifest manifest);

    // What the entries so far look like.
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
    std::uint64_t piece_start_ = 0;  // its place in the LDIF
    int pieces_ = 0;
    EntryScan scan_;
    BackgroundSha256 digest_;
};

}  // namespace zafo::backup
