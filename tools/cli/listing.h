// SPDX-License-Identifier: Apache-2.0
//
// Results that are not directory entries: records with named fields, printed in every form.
#pragma once

#include "tools/cli/json_document.h"

#include <string_view>
#include <vector>

namespace zafo::cli {

struct Field {
    std::string_view key;    // in JSON, CSV and --fields
    std::string_view title;  // as a heading
};

using Fields = std::vector<Field>;

// The fields that --fields asks for, all of them without it. Throws Failure ("usage") for a
// name that is none of them.
Fields Chosen(const Fields &fields, const Globals &globals);

// Records that have the fields' keys; others are not shown.
void PrintList(Streams &streams, JsonDocument &document, const Fields &fields,
               const std::vector<Json> &records);

// One record, in a table as lines of "title  value".
void PrintRecord(Streams &streams, JsonDocument &document, const Fields &fields,
                 const Json &record);

}  // namespace zafo::cli
