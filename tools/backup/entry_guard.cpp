// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/entry_guard.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <fmt/format.h>

#include "base/ascii.h"
#include "tools/backup/archive_fault.h"
#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

constexpr std::size_t kLongestName = 1024;
constexpr std::size_t kShownDn = 200;
constexpr std::string_view kDnName = "dn";

// Lines that are part of change records, or that LDIF readers treat as directives.
constexpr std::array<std::string_view, 8> kOrders = {
    "dn", "changetype", "control", "include", "version", "newrdn", "deleteoldrdn", "newsuperior"};

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < ' ';
}

// Eight bytes at a time: every byte of a backup passes through here.
bool HasControl(std::string_view text) {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    while (text.size() >= sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data(), sizeof word);
        if (((word - kOnes * ' ') & ~word & kOnes * 0x80U) != 0) return true;
        text.remove_prefix(sizeof word);
    }
    return std::ranges::any_of(text, IsControl);
}

// Characters of an attribute description: a name or an OID, with options.
constexpr std::array<bool, 256> kNameCharacters = [] {
    std::array<bool, 256> table{};
    for (const char c : std::string_view("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                         "0123456789-.;_"))
        table[static_cast<unsigned char>(c)] = true;
    return table;
}();

bool IsOrder(std::string_view name) {
    constexpr std::string_view kInitials = "dcivnDCIVN";
    if (name.size() > 12 || kInitials.find(name.front()) == name.npos) return false;
    return std::ranges::any_of(
        kOrders, [&](std::string_view order) { return EqualIgnoringCase(name, order); });
}

// "NAME: VALUE" or "NAME:: BASE64", with a value.
bool IsPlainLine(std::string_view line) {
    if (line.empty() || !IsAlphanumeric(line.front())) return false;
    std::size_t at = 1;
    while (at < line.size() && kNameCharacters[static_cast<unsigned char>(line[at])])
        ++at;
    const std::string_view name = line.substr(0, at);
    if (name.size() > kLongestName || IsOrder(name)) return false;
    const std::string_view rest = line.substr(at);
    const std::size_t blank = rest.starts_with("::") ? 2 : 1;
    if (rest.size() < blank + 2 || rest[0] != ':' || rest[blank] != ' ') return false;
    const char first = rest[blank + 1];
    return first != ' ' && first != ':' && first != '<' && !HasControl(rest);
}

}  // namespace

void EntryGuard::Add(std::string_view block) {
    while (!block.empty()) {
        SkipPlainLines(&block);
        if (block.empty()) return;
        if (at_ == At::kValue || at_ == At::kComment) SkipText(&block);
        if (at_ == At::kName) SkipName(&block);
        if (block.empty()) return;
        CountText(1);
        Step(block.front());
        block.remove_prefix(1);
    }
}

// Nearly every line is an attribute with a value and lies within the block. Anything else is left
// to be checked character by character.
void EntryGuard::SkipPlainLines(std::string_view *block) {
    while (at_ == At::kLine && has_dn_ && !block->empty()) {
        const void *end = std::memchr(block->data(), '\n', block->size());
        if (end == nullptr) return;
        const auto size = static_cast<std::size_t>(static_cast<const char *>(end) - block->data());
        const std::string_view line = block->substr(0, size);
        if (!IsPlainLine(line)) return;
        value_ = 0;
        CountText(size + 1);
        may_fold_ = true;
        ++line_;
        block->remove_prefix(size + 1);
    }
}

// Skips to the end of the line.
void EntryGuard::SkipText(std::string_view *block) {
    const std::string_view text = block->substr(0, block->find('\n'));
    CountText(text.size());
    if (!has_dn_ && dn_.size() < kShownDn) dn_.append(text.substr(0, kShownDn - dn_.size()));
    if (HasControl(text)) Refuse("contains a control character");
    block->remove_prefix(text.size());
}

void EntryGuard::SkipName(std::string_view *block) {
    std::size_t size = 0;
    while (size < block->size() && kNameCharacters[static_cast<unsigned char>((*block)[size])])
        ++size;
    CountText(size);
    if (name_.size() + size > kLongestName) Refuse("is not a line of an entry");
    name_.append(*block, 0, size);
    block->remove_prefix(size);
}

void EntryGuard::CountText(std::size_t bytes) {
    value_ += bytes;
    entry_ += bytes;
    if (value_ > kLongestValue)
        Refuse(fmt::format("has a value of more than {} bytes", kLongestValue));
    if (entry_ > kLongestEntry) Refuse(fmt::format("ends an entry of {} bytes", kLongestEntry));
}

void EntryGuard::Step(char c) {
    if (IsControl(c) && c != '\n') Refuse("contains a control character");
    switch (at_) {
        case At::kRecord:
            return BeginRecord(c);
        case At::kLine:
            return BeginLine(c);
        case At::kName:
            return TakeName(c);
        case At::kColon:
        case At::kColons:
        case At::kBlank:
            return TakeSeparator(c);
        case At::kValue:
        case At::kComment:
            return EndLine();
    }
}

void EntryGuard::BeginRecord(char c) {
    entry_ = value_ = 0;
    if (c == '\n') return EndLine();
    if (c == '#') {
        at_ = At::kComment;
        return;
    }
    dn_.clear();
    has_dn_ = false;
    in_record_ = true;
    may_fold_ = false;
    BeginLine(c);
}

void EntryGuard::BeginLine(char c) {
    if (c == '\n') {
        in_record_ = false;
        return EndLine();
    }
    if (c == ' ') {
        if (!may_fold_) Refuse("continues a value that has not begun");
        at_ = At::kValue;
        return;
    }
    if (!IsAlphanumeric(c)) Refuse("is not a line of an entry");
    if (!dn_.empty()) has_dn_ = true;
    value_ = 0;
    may_fold_ = false;
    name_.assign(1, c);
    at_ = At::kName;
}

// Handles the character after the name.
void EntryGuard::TakeName(char c) {
    if (c != ':') Refuse("is not a line of an entry");
    if (dn_.empty()) {
        if (name_ != kDnName) Refuse("is where an entry must begin");
        dn_ = "dn:";
    } else if (IsOrder(name_)) {
        Refuse(fmt::format("says \"{}\", which no entry has", name_));
    }
    at_ = At::kColon;
}

// One or two colons, then one blank.
void EntryGuard::TakeSeparator(char c) {
    if (!has_dn_ && c != '\n') dn_ += c;
    if (c == '\n') return EndLine();
    if (at_ == At::kBlank) {
        if (c == ' ' || c == ':' || c == '<')
            Refuse("has a value in a form that slapcat never writes");
        at_ = At::kValue;
        may_fold_ = true;
    } else if (c == ' ') {
        at_ = At::kBlank;
    } else if (c == ':' && at_ == At::kColon) {
        at_ = At::kColons;
    } else if (c == '<') {
        Refuse("has a value to be read from a file or URL (\":<\")");
    } else {
        Refuse("has a value in a form that slapcat never writes");
    }
}

void EntryGuard::EndLine() {
    ++line_;
    at_ = in_record_ ? At::kLine : At::kRecord;
}

void EntryGuard::Refuse(std::string_view what) const {
    const std::string where = in_record_ && !dn_.empty()
                                  ? fmt::format(", in the entry \"{}\",", OneLine(dn_))
                                  : std::string();
    Damaged(fmt::format("line {} of its entries{} {}", line_, where, what));
}

}  // namespace zafo::backup
