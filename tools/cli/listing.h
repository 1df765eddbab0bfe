// SPDX-License-Identifier: Apache-2.0
//
// Results that are not directory entries: records with named fields, printed in every form.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "tools/cli/json_document.h"
#include "tools/cli/table_writer.h"

namespace zafo::cli {

struct Field {
    std::string_view key;    // in JSON, CSV and --fields
    std::string_view title;  // as a heading
};

using Fields = std::vector<Field>;

// The fields that --fields selects, or all of them. Throws Failure ("usage") for an unknown name.
Fields Chosen(const Fields &fields, const Globals &globals);

// A record with only these fields; null for those it lacks.
Json Picked(const Fields &fields, const Json &record);

// A list that is printed record by record, however long: no record is kept once it is printed.
class ListWriter {
  public:
    // `heading`: whether a table has column headings.
    ListWriter(Streams &streams, JsonDocument &document, Fields chosen, bool heading = true);

    // The record's keys are those of the fields; any others are not shown.
    void Write(const Json &record);
    // A record of a single text, for a list with one field.
    void WriteText(std::string_view text);
    void Finish(bool ok, bool complete);

  private:
    Streams &streams_;
    JsonDocument &document_;
    Fields fields_;
    std::optional<TableWriter> table_;
};

// The records' keys are those of the fields; any others are not shown.
void PrintList(Streams &streams, JsonDocument &document, const Fields &fields,
               const std::vector<Json> &records);

// One record; in a table as lines of "title  value".
void PrintRecord(Streams &streams, JsonDocument &document, const Fields &fields,
                 const Json &record);

}  // namespace zafo::cli
