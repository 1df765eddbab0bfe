// SPDX-License-Identifier: Apache-2.0
//
// Users and groups as printable records.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/cli/listing.h"
#include "tools/zafoldap/account_directory.h"

namespace zafo::cli {

// A field of an account: the attribute it is read from, and how.
enum class FieldKind { kText, kNumber, kDate, kTexts, kDn };

struct AccountField {
    Field field;
    std::string_view attribute;  // empty: the DN
    FieldKind kind;
    bool on_terminal;  // shown in a list for a person who did not choose fields
};

const std::vector<AccountField> &UserFields();
const std::vector<AccountField> &GroupFields();
// Their fields, and more.
Fields WithFields(const std::vector<AccountField> &fields, const Fields &more);

// How a list is printed: its fields, and whether it has a heading. Output to another program, if no
// other form was requested, is only the names, as "ls" does.
struct ListLayout {
    Fields fields;
    bool heading = true;
};
ListLayout LayoutOf(const Session &session, const Fields &all, const Fields &on_terminal);
ListLayout LayoutOf(const Session &session, const std::vector<AccountField> &fields);

// The attributes that a search must request.
std::vector<std::string> AttributesFor(const std::vector<AccountField> &fields,
                                       const Fields &chosen);

Json RecordOf(const std::vector<AccountField> &fields, const Entry &entry);

}  // namespace zafo::cli
