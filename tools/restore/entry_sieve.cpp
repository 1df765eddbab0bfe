// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/entry_sieve.h"

#include <algorithm>

#include "base/dn.h"
#include "tools/backup/entry_scan.h"

namespace zafo::backup {

namespace {

// Longer than any DN that slapd accepts.
constexpr std::size_t kLongestHead = 64U << 10;
constexpr std::string_view kDnLine = "dn:";

std::string Unfolded(std::string_view lines) {
    std::string text;
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find('\n'));
        lines.remove_prefix(std::min(line.size() + 1, lines.size()));
        text += text.empty() ? line : line.substr(std::min<std::size_t>(1, line.size()));
    }
    return text;
}

// After the next newline; the end of the block if there is none.
std::size_t StartOfNextLine(std::string_view block, std::size_t from) {
    const std::size_t end = block.find('\n', from);
    return end == block.npos ? block.size() : end + 1;
}

}  // namespace

EntrySieve::EntrySieve(std::string_view dn, bool leaves_out)
    : dn_(ComparableDn(dn)), leaves_out_(leaves_out) {}

void EntrySieve::Add(std::string_view block, const Take &take) {
    if (dn_.empty()) return take(block);
    while (!block.empty()) {
        if (in_head_) {
            TakeHead(&block, take);
        } else {
            TakeRest(&block, take);
        }
    }
}

void EntrySieve::Finish(const Take &take) {
    if (!head_.empty()) Decide(take);
}

// The head ends at the first line that does not continue it.
void EntrySieve::TakeHead(std::string_view *block, const Take &take) {
    if (begins_line_ && !head_.empty() && block->front() != ' ') return Decide(take);
    const std::size_t size = StartOfNextLine(*block, 0);
    head_ += block->substr(0, size);
    begins_line_ = head_.back() == '\n';
    block->remove_prefix(size);
    if (head_.size() > kLongestHead) Decide(take);
}

// Handles everything up to the empty line.
void EntrySieve::TakeRest(std::string_view *block, const Take &take) {
    std::size_t size = 0;
    bool ends = false;
    while (size < block->size() && !ends) {
        ends = begins_line_ && (*block)[size] == '\n';
        size = StartOfNextLine(*block, size);
        begins_line_ = (*block)[size - 1] == '\n';
    }
    if (!drops_) take(block->substr(0, size));
    block->remove_prefix(size);
    in_head_ = ends;
    if (ends) drops_ = false;
}

void EntrySieve::Decide(const Take &take) {
    const bool is_record = head_.starts_with(kDnLine);
    const bool matches =
        is_record && head_.size() <= kLongestHead && ComparableDn(DnIn(Unfolded(head_))) == dn_;
    if (matches) ++found_;
    drops_ = matches && leaves_out_;
    in_head_ = !is_record;
    if (!drops_) take(head_);
    head_.clear();
}

}  // namespace zafo::backup
