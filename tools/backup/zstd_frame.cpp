// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/zstd_frame.h"

#include <algorithm>

#include "tools/backup/archive_fault.h"
#include "tools/backup/archive_format.h"

namespace zafo::backup {

namespace {

constexpr std::array<std::uint8_t, 4> kZstdMagic = {0x28, 0xB5, 0x2F, 0xFD};
constexpr unsigned kSingleSegment = 1U << 5U;
constexpr unsigned kChecksum = 1U << 2U;
constexpr std::size_t kChecksumBytes = 4;
constexpr std::size_t kBlockHead = 3;
constexpr unsigned kRepeated = 1;  // a block of one repeated byte
constexpr unsigned kReserved = 3;

}  // namespace

void ZstdFrame::Add(std::string_view block) {
    while (!block.empty()) {
        if (state_ == State::kEnd) Damaged("it was not compressed by this program");
        const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(wanted_, block.size()));
        if (state_ != State::kSkip) {
            std::ranges::copy(block.substr(0, part),
                              bytes_.begin() + static_cast<std::ptrdiff_t>(have_));
            have_ += part;
        }
        block.remove_prefix(part);
        wanted_ -= part;
        if (wanted_ > 0) return;
        switch (state_) {
            case State::kHead:
                TakeHead();
                break;
            case State::kBlock:
                TakeBlock();
                break;
            case State::kRest:
            case State::kSkip:
                if (last_) {
                    state_ = State::kEnd;
                } else {
                    Await(State::kBlock, kBlockHead);
                }
                break;
            case State::kEnd:
                break;
        }
    }
}

// Magic number, descriptor and window; the optional content size is ignored.
void ZstdFrame::TakeHead() {
    if (!std::equal(kZstdMagic.begin(), kZstdMagic.end(), bytes_.begin()))
        Damaged("it is not compressed with zstd: it is not a backup");
    const unsigned descriptor = bytes_[4];
    const std::uint64_t base = std::uint64_t{1} << (10U + (bytes_[5] >> 3U));
    const std::uint64_t window = base + base / 8 * (bytes_[5] & 7U);
    if ((descriptor & kSingleSegment) != 0 || window > kLargestWindow)
        Damaged("it was not compressed by this program");
    constexpr std::array<std::size_t, 4> kDictionaryId = {0, 1, 2, 4};
    constexpr std::array<std::size_t, 4> kContentSize = {0, 2, 4, 8};
    has_checksum_ = (descriptor & kChecksum) != 0;
    const std::size_t rest = kDictionaryId[descriptor & 3U] + kContentSize[descriptor >> 6U];
    if (rest > 0) {
        Await(State::kRest, rest);
    } else {
        Await(State::kBlock, kBlockHead);
    }
}

void ZstdFrame::TakeBlock() {
    const unsigned head = bytes_[0] | unsigned{bytes_[1]} << 8U | unsigned{bytes_[2]} << 16U;
    const unsigned kind = head >> 1U & 3U;
    if (kind == kReserved) Damaged("it was not compressed by this program");
    last_ = (head & 1U) != 0;
    std::uint64_t size = kind == kRepeated ? 1 : head >> 3U;
    if (last_ && has_checksum_) size += kChecksumBytes;
    if (size > 0) {
        Await(State::kSkip, size);
    } else if (last_) {
        state_ = State::kEnd;
    } else {
        Await(State::kBlock, kBlockHead);
    }
}

void ZstdFrame::Await(State state, std::size_t bytes) {
    state_ = state;
    have_ = 0;
    wanted_ = bytes;
}

}  // namespace zafo::backup
