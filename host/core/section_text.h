// SPDX-License-Identifier: Apache-2.0
//
// The text of a section file, parsed into lines that keep their wording: whatever is not changed is
// written back as it was read.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/core/szhash.h"

namespace zafo {

// Where and why a text is not a valid section file.
struct Damage {
    int line = 0;
    const char *reason = nullptr;  // nullptr: no damage
};

class SectionText {
  public:
    // Parses `text`; the object may be used only if there is no damage.
    Damage Parse(std::string_view text);

    // All names in file order, without duplicates.
    std::vector<std::string> Names() const;

    bool Has(std::string_view section) const;

    // The pairs of all sections of that name; the last value of a key wins.
    Pairs Get(std::string_view section) const;

    // Appends a section.
    void Add(std::string_view section, const Pairs &pairs);

    // Stores one pair. The line of a key that already has this value is left alone.
    void Set(std::string_view section, std::string_view key, std::string_view value);

    void RemoveKey(std::string_view section, std::string_view key);

    void Rename(std::string_view section, std::string_view name);

    // Removes the sections of that name, each with the comments directly above it.
    void Remove(std::string_view section);

    std::string Text() const;

  private:
    enum class Kind { kBlank, kComment, kHeading, kPair };
    struct Line {
        Kind kind;
        std::string text;
        std::string name;   // a heading's section or a pair's key
        std::string value;  // of a pair
    };

    static const char *ParseLine(std::string_view text, bool has_heading, Line *line);
    static Line Heading(std::string_view section);
    static Line Pair(std::string_view key, std::string_view value);
    size_t EndOf(std::string_view section) const;

    std::vector<Line> lines_;
};

// The "key=value" lines of a text without headings; everything else is skipped.
Pairs PlainPairs(std::string_view text);

// Whether a name or key is the same when written to a section file and read back.
bool IsSectionName(std::string_view name);
bool IsKey(std::string_view key);

}  // namespace zafo
