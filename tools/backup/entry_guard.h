// SPDX-License-Identifier: Apache-2.0
//
// Lets through only what slapcat(8) writes: records of "NAME: VALUE" and "NAME:: BASE64" lines,
// possibly folded. slapadd(8) accepts far more, and reads files: with OpenLDAP 2.5 each of these
// loads a local file into the database or is read as further entries, so anything not known to be
// harmless is refused.
//
//   NAME:< file:///…            also with an option, without the blank, with a folded URL, after a
//                               blank or tab at the start of the line, and with a CR anywhere
//   include: file:///…          in any case, where a record may begin; also after a comment
//   5                           a line that begins with a digit there is skipped, and what follows
//                               counts
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zafo::backup {

// Limit for a value, folds and base64 included, and for a whole entry. slapd accepts 4 MiB over the
// network; a group of 100,000 members takes 8 MiB.
inline constexpr std::size_t kLongestValue = 16U << 20;
inline constexpr std::size_t kLongestEntry = 128U << 20;

class EntryGuard {
  public:
    // The next block of LDIF, which may end anywhere. Throws Fault kDamaged naming entry and line;
    // the block must then not be passed on.
    void Add(std::string_view block);

  private:
    enum class At { kRecord, kLine, kName, kColon, kColons, kBlank, kValue, kComment };

    void Step(char c);
    void BeginRecord(char c);
    void BeginLine(char c);
    void TakeName(char c);
    void TakeSeparator(char c);
    void SkipPlainLines(std::string_view *block);
    void SkipText(std::string_view *block);
    void SkipName(std::string_view *block);
    void CountText(std::size_t bytes);
    void EndLine();
    [[noreturn]] void Refuse(std::string_view what) const;

    At at_ = At::kRecord;
    bool in_record_ = false;
    bool has_dn_ = false;     // the record's "dn" line is complete
    bool may_fold_ = false;   // the previous line got as far as its value
    std::string name_ = {};   // of the attribute
    std::string dn_ = {};     // the record's DN line, or its beginning
    std::uint64_t line_ = 1;  // in the whole LDIF
    std::size_t value_ = 0;   // bytes in the value
    std::size_t entry_ = 0;   // bytes in the record
};

}  // namespace zafo::backup
