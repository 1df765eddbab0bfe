// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/archive_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include <archive.h>
#include <archive_entry.h>
#include <fmt/format.h>

#include "tools/backup/archive_fault.h"
#include "tools/backup/archive_format.h"
#include "tools/backup/background_sha256.h"
#include "tools/backup/entry_guard.h"
#include "tools/backup/entry_scan.h"
#include "tools/backup/job_error.h"
#include "tools/backup/stop_signal.h"
#include "tools/backup/tar_reader.h"
#include "tools/backup/zstd_frame.h"

namespace zafo::backup {

namespace {

constexpr std::size_t kBlockBytes = 128U << 10;

struct ReaderFree {
    void operator()(archive *a) const { archive_read_free(a); }
};

[[noreturn]] void NotReadable(int reason) {
    throw Fault(Exit::kBadPlace, fmt::format("cannot read it: {}", std::strerror(reason)));
}

Manifest ReadManifest(std::string_view json) {
    try {
        return ManifestFrom(json);
    } catch (const JobError &error) {
        throw Fault(error.code, error.what());
    }
}

// The file's bytes before the seal, read once, in order, and hashed as they are read.
class Payload {
  public:
    explicit Payload(int fd) : fd_(fd) {
        struct stat status {};
        if (fstat(fd, &status) != 0) NotReadable(errno);
        if (!S_ISREG(status.st_mode)) throw Fault(Exit::kBadPlace, "it is not a regular file");
        if (status.st_size == 0) throw Fault(Exit::kBadPlace, "the file is empty");
        const auto size = static_cast<std::uint64_t>(status.st_size);
        if (size <= kSealBytes) Damaged("it is too short for a backup");
        size_ = size - kSealBytes;
        std::array<std::uint8_t, kSealHead.size()> head{};
        ReadAt(size_, head.data(), head.size());
        if (head != kSealHead)
            Damaged("it does not end with the seal of a backup: it is cut short or not a backup");
    }

    // The next block, its frame checked to be safe to decompress; empty at the end.
    std::string_view Next() {
        EndIfStopped();
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(block_.size(), size_ - at_));
        if (wanted == 0) return {};
        ReadAt(at_, block_.data(), wanted);
        at_ += wanted;
        const std::string_view block(block_.data(), wanted);
        digest_.Add(block);
        frame_.Add(block);
        return block;
    }

    // Reads the rest and compares the digest with the seal. Returns the seal.
    Digest CheckSeal() {
        while (!Next().empty()) {
        }
        Digest sealed{};
        ReadAt(size_ + kSealHead.size(), sealed.data(), sealed.size());
        if (sealed != digest_.Take()) Damaged("its bytes do not match its seal");
        if (!frame_.IsComplete()) Damaged("it is cut short");
        return sealed;
    }

  private:
    void ReadAt(std::uint64_t offset, void *buffer, std::size_t size) const {
        auto *to = static_cast<char *>(buffer);
        while (size > 0) {
            const ssize_t n = pread(fd_, to, size, static_cast<off_t>(offset));
            if (n < 0 && errno == EINTR) {
                EndIfStopped();
                continue;
            }
            if (n < 0) NotReadable(errno);
            if (n == 0) Damaged("it became shorter while being read");
            to += n;
            size -= static_cast<std::size_t>(n);
            offset += static_cast<std::uint64_t>(n);
        }
    }

    int fd_;
    std::uint64_t size_ = 0;
    std::uint64_t at_ = 0;
    Sha256 digest_;
    ZstdFrame frame_;
    std::vector<char> block_ = std::vector<char>(kBlockBytes);
};

// The decompressed bytes.
class Unpacked {
  public:
    // The filter is fixed, not detected: data inside that looks compressed is not unpacked again.
    explicit Unpacked(Payload *payload) : payload_(payload), reader_(archive_read_new()) {
        if (!reader_) throw std::bad_alloc();
        Check(archive_read_append_filter(reader_.get(), ARCHIVE_FILTER_ZSTD));
        Check(archive_read_support_format_raw(reader_.get()));
        Check(archive_read_open(reader_.get(), this, nullptr, Give, nullptr));
        archive_entry *entry = nullptr;
        Check(archive_read_next_header(reader_.get(), &entry));
    }

    // The next block; empty at the end.
    std::string_view Next() {
        const la_ssize_t n = archive_read_data(reader_.get(), block_.data(), block_.size());
        if (n < 0) Check(static_cast<int>(n));
        if (thrown_) Check(ARCHIVE_FATAL);
        return {block_.data(), static_cast<std::size_t>(n)};
    }

  private:
    static la_ssize_t Give(archive *reader, void *self, const void **block) {
        auto &unpacked = *static_cast<Unpacked *>(self);
        try {
            const std::string_view bytes = unpacked.payload_->Next();
            *block = bytes.data();
            return static_cast<la_ssize_t>(bytes.size());
        } catch (...) {
            unpacked.thrown_ = std::current_exception();
            archive_set_error(reader, EIO, "cannot read");
            return -1;
        }
    }

    void Check(int result) {
        if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
        if (result == ARCHIVE_OK) return;
        const char *words = archive_error_string(reader_.get());
        Damaged(words != nullptr ? OneLine(words) : "it is not an archive");
    }

    Payload *payload_;
    std::exception_ptr thrown_ = {};
    std::unique_ptr<archive, ReaderFree> reader_;
    std::vector<char> block_ = std::vector<char>(kBlockBytes);
};

// The contents of the members, compared with the manifest.
class Reading {
  public:
    Reading(Payload *payload, const std::function<void(std::string_view)> &entries)
        : unpacked_(payload), members_([this] { return unpacked_.Next(); }), entries_(entries) {}

    // Reads only the first member.
    void TakeHead() { TakeFormat(); }

    Contents Take() {
        TakeFormat();
        bool more = members_.Next();
        for (; more && members_.Name().starts_with(kConfigFolder); more = members_.Next())
            TakeConfig();
        for (; more && members_.Name().starts_with(kDataFolder); more = members_.Next())
            TakePiece();
        if (!more) Damaged("it has no manifest");
        if (members_.Name() != kManifestMember)
            Damaged(fmt::format("\"{}\" does not belong in a backup", OneLine(members_.Name())));
        contents_.manifest = ReadManifest(members_.ReadText(kLargestManifest));
        if (members_.Next())
            Damaged(fmt::format("\"{}\" follows the manifest", OneLine(members_.Name())));
        Compare();
        return std::move(contents_);
    }

  private:
    void TakeFormat() {
        if (!members_.Next() || members_.Name() != kFormatMember) Damaged("it is not a backup");
        const std::string text = members_.ReadText(kLargestManifest);
        std::string_view number = text;
        if (!number.starts_with(kFormatWord) || !number.ends_with('\n'))
            Damaged("it is not a backup");
        number.remove_prefix(kFormatWord.size());
        number.remove_suffix(1);
        std::uint64_t format = 0;
        const auto parsed = std::from_chars(number.data(), number.data() + number.size(), format);
        if (parsed.ec != std::errc() || parsed.ptr != number.data() + number.size() || format == 0)
            Damaged("its format has no number");
        if (format > kFormat)
            throw Fault(
                Exit::kNewerFormat,
                fmt::format("it has format {}, but this program knows {}", format, kFormat));
    }

    void TakeConfig() {
        constexpr std::array kMembers = {kSlapdConfMember, kAccessRulesMember, kConnectionMember};
        const std::string &name = members_.Name();
        if (std::ranges::find(kMembers, name) == kMembers.end())
            Damaged(fmt::format("\"{}\" does not belong in a backup", OneLine(name)));
        if (contents_.Config(name) != nullptr) Damaged(fmt::format("\"{}\" is in it twice", name));
        contents_.config.push_back({name, members_.ReadText(kLargestConfig)});
    }

    void TakePiece() {
        const std::string expected = fmt::format("{}{:06}.ldif", kDataFolder, ++pieces_);
        if (members_.Name() != expected)
            Damaged(fmt::format("\"{}\" is where {} must be", OneLine(members_.Name()), expected));
        const std::uint64_t before = bytes_;
        members_.Read(kPieceBytes, [&](std::string_view block) {
            guard_.Add(block);
            digest_.Add(block);
            bytes_ += block.size();
            scan_.Add(block);
            if (entries_) entries_(block);
        });
        if (bytes_ == before) Damaged(fmt::format("{} in it is empty", expected));
    }

    void Compare() {
        const Manifest &manifest = contents_.manifest;
        if (bytes_ != manifest.ldif_bytes)
            Damaged(fmt::format("it has {} bytes of entries instead of {}", bytes_,
                                manifest.ldif_bytes));
        if (Hex(digest_.Take()) != manifest.sha256)
            Damaged("its entries differ from those that were saved");
        if (scan_.Entries() != manifest.entries)
            Damaged(
                fmt::format("it has {} entries instead of {}", scan_.Entries(), manifest.entries));
        if (scan_.HasStrayText() || !scan_.IsComplete()) Damaged("its entries are cut short");
        if (contents_.config.size() != manifest.config.size())
            Damaged("its configuration files are not those in its manifest");
        for (std::size_t i = 0; i < manifest.config.size(); ++i) {
            const ConfigFile &file = contents_.config[i];
            if (ConfigDigest{file.name, Sha256Of(file.bytes)} != manifest.config[i])
                Damaged(fmt::format("{} in it differs from what was saved", file.name));
        }
    }

    Unpacked unpacked_;
    TarReader members_;
    const std::function<void(std::string_view)> &entries_;
    Contents contents_ = {};
    EntryGuard guard_;
    EntryScan scan_;
    BackgroundSha256 digest_;
    std::uint64_t bytes_ = 0;
    std::uint64_t pieces_ = 0;
};

Contents ReadSealed(int fd, const std::function<void(std::string_view)> &entries) {
    Payload payload(fd);
    std::optional<Contents> contents;
    std::optional<Fault> newer;
    try {
        contents = Reading(&payload, entries).Take();
    } catch (const Fault &fault) {
        if (fault.code != Exit::kNewerFormat) throw;
        newer = fault;
    }
    const Digest seal = payload.CheckSeal();
    // Believe the format number only when the seal has proved the file intact.
    if (newer) throw Fault(*newer);
    contents->seal = Hex(seal);
    return std::move(*contents);
}

}  // namespace

const std::string *Contents::Config(std::string_view name) const {
    const auto found = std::ranges::find(config, name, &ConfigFile::name);
    return found != config.end() ? &found->bytes : nullptr;
}

Contents ReadArchive(int fd, const std::string &path,
                     const std::function<void(std::string_view)> &entries) {
    try {
        return ReadSealed(fd, entries);
    } catch (const Fault &fault) {
        throw JobError(fault.code, fmt::format("{}: {}", path, fault.what()));
    }
}

std::string FaultOfHead(int fd) {
    try {
        Payload payload(fd);
        Reading(&payload, {}).TakeHead();
    } catch (const Fault &fault) {
        if (fault.code != Exit::kNewerFormat) return fault.what();
    }
    return {};
}

UniqueFd OpenBackup(const std::string &path) {
    // open(2) would block on a pipe or a terminal.
    UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!fd.IsOpen()) throw ReadingError(path, errno);
    return fd;
}

}  // namespace zafo::backup
