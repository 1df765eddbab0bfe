// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/tar_reader.h"

#include <algorithm>
#include <optional>

#include <fmt/format.h>

#include "tools/backup/archive_fault.h"
#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

constexpr std::size_t kHeaderBytes = 512;
// Other programs end a tar with up to 10 KiB of zeros, ours with 1 KiB.
constexpr std::size_t kMostPadding = 64U << 10;
constexpr std::string_view kTarMagic{"ustar\00000", 8};
constexpr char kPlainFile = '0';

// A header field.
struct Field {
    std::size_t at;
    std::size_t size;

    std::string_view In(std::string_view header) const { return header.substr(at, size); }
};

constexpr Field kName{0, 100};
constexpr Field kSize{124, 12};
constexpr Field kSum{148, 8};
constexpr Field kKind{156, 1};
constexpr Field kLinkName{157, 100};
constexpr Field kMagicField{257, 8};
constexpr Field kPrefix{345, 155};

std::string_view TextIn(std::string_view field) {
    return field.substr(0, field.find('\0'));
}

// Octal digits, then blanks or NULs.
std::optional<std::uint64_t> NumberIn(std::string_view field) {
    std::uint64_t number = 0;
    std::size_t digits = 0;
    for (; digits < field.size() && field[digits] >= '0' && field[digits] <= '7'; ++digits)
        number = number * 8 + static_cast<std::uint64_t>(field[digits] - '0');
    if (digits == 0 || field.find_first_not_of(std::string_view("\0 ", 2), digits) != field.npos)
        return std::nullopt;
    return number;
}

// The sum of a header's bytes, with the checksum field counted as blanks.
std::uint64_t SumOf(std::string_view header) {
    std::uint64_t sum = kSum.size * std::uint64_t{' '};
    for (std::size_t i = 0; i < header.size(); ++i) {
        if (i < kSum.at || i >= kSum.at + kSum.size) sum += static_cast<unsigned char>(header[i]);
    }
    return sum;
}

bool IsZero(std::string_view bytes) {
    return bytes.find_first_not_of('\0') == bytes.npos;
}

}  // namespace

bool TarReader::Next() {
    std::string header;
    while (header.size() < kHeaderBytes) {
        const std::string_view part = Some(kHeaderBytes - header.size());
        if (part.empty()) Damaged(header.empty() ? "it has no end" : "it is cut short");
        header += part;
    }
    if (IsZero(header)) {
        std::size_t padding = 0;
        for (std::string_view more; !(more = Some(kMostPadding)).empty();) {
            padding += more.size();
            if (!IsZero(more) || padding > kMostPadding) Damaged("there is data after its end");
        }
        return false;
    }
    const auto size = NumberIn(kSize.In(header));
    if (kMagicField.In(header) != kTarMagic || NumberIn(kSum.In(header)) != SumOf(header))
        Damaged("it is not a tar archive as this program writes it");
    name_ = TextIn(kName.In(header));
    if (!size || kKind.In(header).front() != kPlainFile || !TextIn(kLinkName.In(header)).empty() ||
        !TextIn(kPrefix.In(header)).empty())
        Damaged(fmt::format("\"{}\" in it is not a plain file", OneLine(name_)));
    size_ = *size;
    return true;
}

void TarReader::Read(std::uint64_t limit, const Take &take) {
    if (size_ > limit)
        Damaged(
            fmt::format("\"{}\" in it has {} bytes, more than {}", OneLine(name_), size_, limit));
    const auto await = [this](std::uint64_t most) {
        const std::string_view part = Some(most);
        if (part.empty()) Damaged(fmt::format("\"{}\" in it is cut short", OneLine(name_)));
        return part;
    };
    std::uint64_t padding = (kHeaderBytes - size_ % kHeaderBytes) % kHeaderBytes;
    while (size_ > 0) {
        const std::string_view part = await(size_);
        size_ -= part.size();
        take(part);
    }
    while (padding > 0)
        padding -= await(padding).size();
}

std::string TarReader::ReadText(std::uint64_t limit) {
    std::string text;
    Read(limit, [&](std::string_view block) { text += block; });
    return text;
}

// Up to `most` of the next bytes; empty at the end.
std::string_view TarReader::Some(std::uint64_t most) {
    if (left_.empty()) left_ = source_();
    const std::string_view part =
        left_.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(most, left_.size())));
    left_.remove_prefix(part.size());
    return part;
}

}  // namespace zafo::backup
