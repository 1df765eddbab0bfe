// SPDX-License-Identifier: Apache-2.0
//
// Lets through only what slapcat(8) writes: records of "NAME: VALUE" and "NAME:: BASE64", whose lines may be folded.
// slapadd(8) understands far more, and reads files for it: with OpenLDAP 2.5 each of these puts a file of
// the machine into the database or is read as further entries,
//
//   NAME:< file:///…            also with an option, without the blank, with the address folded, behind a
//                               blank or tab at the line's beginning, and with a CR anywhere
//   include: file:///…          in any case, where a record may begin; also behind a comment
//   5                           a line that begins with a digit there is left out, and what follows counts
//
// so that what is not known to be harmless is refused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zafo::backup {

// A value of the directory, folds and base64 included, and all of an entry. slapd takes 4 MiB over the network; a group
// of 100,000 members is 8 MiB.
inline constexpr std::size_t kLongestValue = 16U << 20;
inline constexpr std::size_t kLongestEntry = 128U << 20;

class EntryGuard {
  public:
    // The next block of the LDIF, which may end anywhere. Throws Fault kDamaged that names entry and line: the block is
    // then to go no further.
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
    bool has_dn_ = false;     // the record's line "dn" is over
    bool may_fold_ = false;   // the line before had come to its value
    std::string name_ = {};   // of the attribute
    std::string dn_ = {};     // the line of the record, or the beginning of it
    std::uint64_t line_ = 1;  // of all the LDIF
    std::size_t value_ = 0;   // bytes of the value
    std::size_t entry_ = 0;   // bytes of the record
};

}  // namespace zafo::backup
