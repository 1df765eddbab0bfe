// SPDX-License-Identifier: Apache-2.0
//
// Scans LDIF (RFC 2849) as written by slapcat(8) while it streams by in blocks that end anywhere. A
// record begins with its "dn:" line and ends with an empty line, which also proves that the last
// record is complete.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zafo::backup {

class EntryScan {
  public:
    // `suffix` is a DN to look for among the records; empty for none.
    explicit EntryScan(std::string_view suffix = {});

    void Add(std::string_view block);

    std::uint64_t Entries() const { return entries_; }

    // Whether the last record was terminated by its empty line.
    bool IsComplete() const { return !in_record_ && line_size_ == 0; }

    // Whether there was text where a record must begin that was neither "dn:" nor a comment.
    bool HasStrayText() const { return stray_; }

    // Whether a record's DN equalled the suffix, compared in normalised form.
    bool SawSuffix() const { return saw_suffix_; }

    // Offset of the end of the last complete record, over all blocks.
    std::uint64_t EndOfRecords() const { return end_of_records_; }

  private:
    void SkipLines(std::string_view *block);
    void AddPart(std::string_view part);
    void EndLine();
    void EndDn();
    bool WantsDn() const { return !suffix_.empty() && !saw_suffix_; }

    std::string suffix_;          // normalised
    std::string dn_;              // the unfolded DN line
    std::array<char, 3> head_{};  // the first bytes of the current line
    std::size_t head_size_ = 0;
    std::size_t line_size_ = 0;
    std::uint64_t size_ = 0;
    std::uint64_t entries_ = 0;
    std::uint64_t end_of_records_ = 0;
    bool in_record_ = false;
    bool collects_dn_ = false;
    bool saw_suffix_ = false;
    bool stray_ = false;
};

// The bytes of a value in base64; empty if it is invalid.
std::string DecodedBase64(std::string_view text);

// The DN in an unfolded line "dn: VALUE" or "dn:: BASE64"; empty for invalid base64.
std::string DnIn(std::string_view line);

}  // namespace zafo::backup
