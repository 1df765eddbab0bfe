// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/entry_guard.h"

#include "tools/backup/archive_fault.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace zafo::backup {

namespace {

constexpr std::size_t kLongestName = 1024;
constexpr std::size_t kShownDn = 200;
constexpr std::string_view kDnName = "dn";

// Lines that belong to changes, or that a reader of LDIF takes for orders.
constexpr std::array<std::string_view, 8> kOrders = {
    "dn", "changetype", "control", "include", "version", "newrdn", "deleteoldrdn", "newsuperior"};

bool IsControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < ' ' && c != '\n') || byte == 0x7F;
}

bool IsAlphanumeric(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// Of an attribute description: a name or a number, with options.
bool IsNameCharacter(char c) {
    return IsAlphanumeric(c) || c == '-' || c == '.' || c == ';' || c == '_';
}

bool IsOrder(std::string_view name) {
    return std::ranges::any_of(kOrders, [&](std::string_view order) {
        return name.size() == order.size() &&
               strncasecmp(name.data(), order.data(), name.size()) == 0;
    });
}

}  // namespace

void EntryGuard::Add(std::string_view block) {
    const auto bad =
        static_cast<std::size_t>(std::ranges::find_if(block, IsControl) - block.begin());
    std::string_view plain = block.substr(0, bad);
    while (!plain.empty()) {
        if (at_ == At::kValue || at_ == At::kComment) SkipText(&plain);
        if (plain.empty()) break;
        CountText(1);
        Step(plain.front());
        plain.remove_prefix(1);
    }
    if (bad < block.size()) Refuse("holds a control character");
}

// Up to the end of the line.
void EntryGuard::SkipText(std::string_view *block) {
    const void *end = std::memchr(block->data(), '\n', block->size());
    const std::size_t size =
        end == nullptr ? block->size()
                       : static_cast<std::size_t>(static_cast<const char *>(end) - block->data());
    CountText(size);
    if (!has_dn_ && dn_.size() < kShownDn)
        dn_.append(block->substr(0, std::min(size, kShownDn - dn_.size())));
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
        if (!may_fold_) Refuse("goes on where no value has begun");
        at_ = At::kValue;
        return;
    }
    if (!IsAlphanumeric(c)) Refuse("is no line of an entry");
    if (!dn_.empty()) has_dn_ = true;
    value_ = 0;
    may_fold_ = false;
    name_.assign(1, c);
    at_ = At::kName;
}

void EntryGuard::TakeName(char c) {
    if (c != ':') {
        if (!IsNameCharacter(c) || name_.size() == kLongestName) Refuse("is no line of an entry");
        name_ += c;
        return;
    }
    if (dn_.empty()) {
        if (name_ != kDnName) Refuse("stands where an entry must begin");
        dn_ = "dn:";
    } else if (IsOrder(name_)) {
        Refuse(fmt::format("says \"{}\", which no entry has", name_));
    }
    at_ = At::kColon;
}

// One colon or two, and one blank.
void EntryGuard::TakeSeparator(char c) {
    if (!has_dn_ && c != '\n') dn_ += c;
    if (c == '\n') return EndLine();
    if (at_ == At::kBlank) {
        if (c == ' ' || c == ':' || c == '<') Refuse("has a value as slapcat never writes it");
        at_ = At::kValue;
        may_fold_ = true;
    } else if (c == ' ') {
        at_ = At::kBlank;
    } else if (c == ':' && at_ == At::kColon) {
        at_ = At::kColons;
    } else if (c == '<') {
        Refuse("has a value that is to be read from a file or address (\":<\")");
    } else {
        Refuse("has a value as slapcat never writes it");
    }
}

void EntryGuard::EndLine() {
    ++line_;
    at_ = in_record_ ? At::kLine : At::kRecord;
}

void EntryGuard::Refuse(std::string_view what) const {
    const std::string where =
        in_record_ && !dn_.empty() ? fmt::format(", in the entry \"{}\",", dn_) : std::string();
    Damaged(fmt::format("line {} of its entries{} {}", line_, where, what));
}

}  // namespace zafo::backup
