// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/archive_writer.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <utility>

#include <archive.h>
#include <archive_entry.h>
#include <fmt/format.h>

#include "base/write_all.h"
#include "tools/backup/archive_format.h"
#include "tools/backup/job_error.h"
#include "tools/backup/stop_signal.h"

namespace zafo::backup {

namespace {

constexpr int kOutputBytes = 128 << 10;

// A piece is compressed once it is complete. Meanwhile slapcat fills its pipe and then blocks; a
// piece of half the pipe's size is done before that.
constexpr std::size_t kPieceWish = 512U << 10;

}  // namespace

// Where the compressed bytes go. libarchive is C, so an exception is stored here until the call
// returns. It is never told that a write failed: an archive in the failed state never frees its
// buffers, so an unfinished archive is closed like any other. After a failure, or on destruction,
// output is discarded.
struct ArchiveWriter::Sink {
    Sink() = default;
    Sink(const Sink &) = delete;
    Sink &operator=(const Sink &) = delete;
    ~Sink() { discards = true; }

    bool discards = false;
    int fd = -1;
    std::string path = {};
    Sha256 digest = {};
    std::exception_ptr thrown = {};
    std::unique_ptr<archive, int (*)(archive *)> writer{archive_write_new(), archive_write_free};

    void Write(std::string_view block) {
        if (!WriteAll(fd, block, EndIfStopped)) throw WritingError(path, errno);
        digest.Add(block);
    }

    static la_ssize_t Take(archive *, void *self, const void *block, std::size_t size) {
        auto &sink = *static_cast<Sink *>(self);
        try {
            if (!sink.discards) sink.Write({static_cast<const char *>(block), size});
        } catch (...) {
            sink.thrown = std::current_exception();
            sink.discards = true;
        }
        return static_cast<la_ssize_t>(size);
    }
};

ArchiveWriter::ArchiveWriter(int fd, std::string path, std::time_t written, std::string_view suffix)
    : sink_(std::make_unique<Sink>()), written_(written), scan_(suffix) {
    sink_->fd = fd;
    sink_->path = std::move(path);
    archive *writer = sink_->writer.get();
    if (writer == nullptr) throw std::bad_alloc();
    piece_.reserve(kPieceBytes);
    Check(archive_write_set_format_ustar(writer));
    Check(archive_write_add_filter_zstd(writer));
    Check(archive_write_set_filter_option(writer, "zstd", "compression-level", kCompressionLevel));
    Check(archive_write_set_bytes_per_block(writer, kOutputBytes));
    Check(archive_write_set_bytes_in_last_block(writer, 1));
    Check(archive_write_open(writer, sink_.get(), nullptr, Sink::Take, nullptr));
    WriteMember(kFormatMember, fmt::format("{}{}\n", kFormatWord, kFormat));
}

ArchiveWriter::~ArchiveWriter() = default;

void ArchiveWriter::AddFile(std::string_view name, std::string_view bytes) {
    if (bytes.size() > kLargestConfig)
        throw JobError(Exit::kSystem, fmt::format("{} has {} bytes, more than {}", name,
                                                  bytes.size(), kLargestConfig));
    WriteMember(name, bytes);
    config_.push_back({std::string(name), Sha256Of(bytes)});
}

void ArchiveWriter::AddEntries(std::string_view block) {
    digest_.Add(block);
    while (!block.empty()) {
        const std::string_view part =
            block.substr(0, std::min(kPieceWish, kPieceBytes - piece_.size()));
        block.remove_prefix(part.size());
        scan_.Add(part);
        piece_.append(part);
        if (scan_.EndOfRecords() >= piece_start_ + kPieceWish) {
            WritePiece(static_cast<std::size_t>(scan_.EndOfRecords() - piece_start_));
        } else if (piece_.size() == kPieceBytes) {
            WritePiece(piece_.size());
        }
    }
}

Manifest ArchiveWriter::Finish(Manifest manifest) {
    if (!piece_.empty()) WritePiece(piece_.size());
    manifest.format = kFormat;
    manifest.entries = scan_.Entries();
    manifest.ldif_bytes = piece_start_;
    manifest.sha256 = Hex(digest_.Take());
    manifest.config = config_;
    WriteMember(kManifestMember, ToJson(manifest));
    Check(archive_write_close(sink_->writer.get()));
    const Digest seal = sink_->digest.Take();
    std::string frame(kSealHead.begin(), kSealHead.end());
    frame.append(seal.begin(), seal.end());
    sink_->Write(frame);
    return manifest;
}

void ArchiveWriter::WriteMember(std::string_view name, std::string_view bytes) {
    constexpr mode_t kOwnerOnly = 0600;
    const std::unique_ptr<archive_entry, void (*)(archive_entry *)> entry(archive_entry_new(),
                                                                          archive_entry_free);
    if (!entry) throw std::bad_alloc();
    archive_entry_set_pathname(entry.get(), std::string(name).c_str());
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_perm(entry.get(), kOwnerOnly);
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(bytes.size()));
    archive_entry_set_mtime(entry.get(), written_, 0);
    Check(archive_write_header(sink_->writer.get(), entry.get()));
    while (!bytes.empty()) {
        const la_ssize_t n = archive_write_data(sink_->writer.get(), bytes.data(), bytes.size());
        if (n <= 0) Check(n < 0 ? static_cast<int>(n) : ARCHIVE_FATAL);
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
}

void ArchiveWriter::WritePiece(std::size_t size) {
    WriteMember(fmt::format("{}{:06}.ldif", kDataFolder, ++pieces_),
                std::string_view(piece_).substr(0, size));
    piece_.erase(0, size);
    piece_start_ += size;
}

void ArchiveWriter::Check(int result) {
    if (sink_->thrown) std::rethrow_exception(std::exchange(sink_->thrown, nullptr));
    if (result == ARCHIVE_OK) return;
    const char *words = archive_error_string(sink_->writer.get());
    throw JobError(Exit::kSystem, fmt::format("cannot write {}: {}", sink_->path,
                                              words != nullptr ? words : "no reason given"));
}

}  // namespace zafo::backup
