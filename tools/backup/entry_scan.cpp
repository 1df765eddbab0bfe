// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/entry_scan.h"

#include <algorithm>
#include <cstring>

#include "base/dn.h"
#include "platform/crypt.h"

namespace zafo::backup {

namespace {

constexpr std::string_view kDn = "dn:";
constexpr std::size_t kLongestDn = 64U << 10;

}  // namespace

std::string DecodedBase64(std::string_view text) {
    std::string bytes(text.size() + 1, '\0');
    std::size_t size = 0;
    if (ZAFOEncodingBase64Decode(text.data(), text.size(), bytes.data(), &size) == 0) return {};
    bytes.resize(size);
    return bytes;
}

std::string DnIn(std::string_view line) {
    line.remove_prefix(kDn.size());
    const bool encoded = line.starts_with(':');
    if (encoded) line.remove_prefix(1);
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    return encoded ? DecodedBase64(line) : std::string(line);
}

EntryScan::EntryScan(std::string_view suffix) : suffix_(ComparableDn(suffix)) {}

void EntryScan::Add(std::string_view block) {
    while (!block.empty()) {
        SkipLines(&block);
        const std::size_t size = std::min(block.find('\n'), block.size());
        AddPart(block.substr(0, size));
        size_ += size;
        if (size == block.size()) return;
        ++size_;
        EndLine();
        block.remove_prefix(size + 1);
    }
}

// Nearly all lines are part of a record whose DN is known; of these only the empty line matters.
// Stops at an empty line, or at one that does not end in the block.
void EntryScan::SkipLines(std::string_view *block) {
    if (!in_record_ || collects_dn_ || line_size_ != 0) return;
    const char *at = block->data();
    const char *end = at + block->size();
    while (at < end && *at != '\n') {
        const void *newline = std::memchr(at, '\n', static_cast<std::size_t>(end - at));
        if (newline == nullptr) break;
        at = static_cast<const char *>(newline) + 1;
    }
    const auto skipped = static_cast<std::size_t>(at - block->data());
    size_ += skipped;
    block->remove_prefix(skipped);
}

void EntryScan::AddPart(std::string_view part) {
    if (part.empty()) return;
    if (head_size_ < head_.size()) {
        const std::size_t more = std::min(head_.size() - head_size_, part.size());
        std::memcpy(head_.data() + head_size_, part.data(), more);
        head_size_ += more;
    }
    const bool begins_line = line_size_ == 0;
    line_size_ += part.size();
    if (begins_line && collects_dn_) {
        if (part.front() == ' ') {
            part.remove_prefix(1);  // belongs to the fold, not the value
        } else {
            EndDn();
        }
    }
    if ((collects_dn_ || (!in_record_ && WantsDn())) && dn_.size() < kLongestDn) dn_.append(part);
}

void EntryScan::EndLine() {
    const std::string_view head(head_.data(), head_size_);
    if (line_size_ == 0) {
        EndDn();
        in_record_ = false;
        end_of_records_ = size_;
    } else if (!in_record_ && head == kDn) {
        ++entries_;
        in_record_ = true;
        collects_dn_ = WantsDn();
    } else if (!in_record_) {
        stray_ = stray_ || head[0] != '#';
        dn_.clear();
    }
    head_size_ = 0;
    line_size_ = 0;
}

void EntryScan::EndDn() {
    if (collects_dn_ && ComparableDn(DnIn(dn_)) == suffix_) saw_suffix_ = true;
    collects_dn_ = false;
    dn_.clear();
}

}  // namespace zafo::backup
