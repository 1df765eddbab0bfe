// SPDX-License-Identifier: Apache-2.0
//
// The text of a section file, taken apart into lines that keep their wording:
// what is not changed is written back as it was read.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/core/szhash.h"

namespace zafo {

// Where and why a text is no section file.
struct Damage {
    int line = 0;
    const char *reason = nullptr;  // nullptr: no damage
};

class SectionText {
  public:
    // Takes `text` apart; the object is of use only when there is no damage.
    Damage Parse(std::string_view text);

    // All names in file order, each once.
    std::vector<std::string> Names() const;

    bool Has(std::string_view section) const;

    // The pairs of all sections of that name; of a key's values the last.
    Pairs Get(std::string_view section) const;

    // A new section at the end.
    void Add(std::string_view section, const Pairs &pairs);

    // Stores one pair. The line of a key that has this value already is not touched.
    void Set(std::string_view section, std::string_view key, std::string_view value);

    void RemoveKey(std::string_view section, std::string_view key);

    void Rename(std::string_view section, std::string_view name);

    // Removes the sections of that name, each with the comments right above it.
    void Remove(std::string_view section);

    std::string Text() const;

  private:
    enum class Kind { kBlank, kComment, kHeading, kPair };
    struct Line {
        Kind kind;
        std::string text;
        std::string name;   // of a heading its section, of a pair its key
        std::string value;  // of a pair
    };

    static const char *ParseLine(std::string_view text, bool hasHeading, Line *line);
    static Line Heading(std::string_view section);
    static Line Pair(std::string_view key, std::string_view value);
    size_t EndOf(std::string_view section) const;

    std::vector<Line> lines_;
};

// The "key=value" lines of a text without headings; everything else is passed over.
Pairs PlainPairs(std::string_view text);

// Whether a name or key can stand in a section file, so that it is read back as it was given.
bool IsSectionName(std::string_view name);
bool IsKey(std::string_view key);

}  // namespace zafo
