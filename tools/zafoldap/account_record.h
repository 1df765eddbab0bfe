// SPDX-License-Identifier: Apache-2.0
//
// Users and groups as the records that are printed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/cli/listing.h"
#include "tools/zafoldap/account_directory.h"

namespace zafo::cli {

// A field of an account: the attribute that it is read from, and how.
enum class FieldKind { kText, kNumber, kDate, kTexts, kDn };

struct AccountField {
    Field field;
    std::string_view attribute;  // empty: the DN
    FieldKind kind;
    bool on_terminal;  // shown in a list for a person who did not choose
};

const std::vector<AccountField> &UserFields();
const std::vector<AccountField> &GroupFields();

// How a list is printed: its fields, and whether with a heading. What goes to another program
// and was not asked for in another form is just the names, as "ls" does.
struct ListLayout {
    Fields fields;
    bool heading = true;
};
ListLayout LayoutOf(const Session &session, const Fields &all, const Fields &on_terminal);
ListLayout LayoutOf(const Session &session, const std::vector<AccountField> &fields);

// The attributes that a search must ask for.
std::vector<std::string> AttributesFor(const std::vector<AccountField> &fields,
                                       const Fields &chosen);

// The first value of an attribute; empty when there is none.
std::string_view FirstValue(const Entry &entry, std::string_view attribute);

Json RecordOf(const std::vector<AccountField> &fields, const Entry &entry);

}  // namespace zafo::cli
