// SPDX-License-Identifier: Apache-2.0
//
// Directory entries in every form, written one at a time: no entry is kept once it is printed.
//
// Values are text that ends at the first zero byte (zafoldap/result.h), so a binary value may have
// been cut. It is never shown as if it were complete: JSON has {"binary":true,"base64_prefix":"…"},
// LDIF a comment before it, the other forms "<binary: …>".
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/cli/json_document.h"

namespace zafo::cli {

struct Attribute {
    std::string_view name;  // as the server wrote it, options included
    std::vector<std::string_view> values;
};

struct Entry {
    std::string_view dn;
    std::vector<Attribute> attributes;
};

// The attribute of that name; nullptr: none.
const Attribute *FindAttribute(const Entry &entry, std::string_view name);
// The first value of an attribute; empty if there is none.
std::string_view FirstValue(const Entry &entry, std::string_view attribute);

class EntryWriter {
  public:
    EntryWriter() = default;
    EntryWriter(const EntryWriter &) = delete;
    EntryWriter &operator=(const EntryWriter &) = delete;
    virtual ~EntryWriter() = default;

    virtual void Write(const Entry &entry) = 0;
    virtual void Finish(bool ok, bool complete) = 0;
};

// `columns` are attribute names (possibly "dn") for the forms that have columns; without any, plain
// and csv print one row for each value, and a table one block for each entry. `single`: the only
// entry is printed as an object, not as a list.
std::unique_ptr<EntryWriter> MakeEntryWriter(Streams &streams, JsonDocument &document,
                                             std::vector<std::string> columns, bool single);

// Prints the only entry of an answer.
void PrintEntry(Streams &streams, JsonDocument &document, const Entry &entry,
                std::vector<std::string> columns);

// Whether to show a value of this attribute as bytes: it is not text, or the attribute's syntax is
// binary (RFC 4523, RFC 2798) and the text is only what precedes a zero byte.
bool IsBinary(std::string_view attribute, std::string_view value);

// "name: value" or "name:: base64" (RFC 2849), with the comment for a binary value; only a comment
// if the name is not valid in LDIF.
std::string LdifLine(std::string_view name, std::string_view value);

}  // namespace zafo::cli
