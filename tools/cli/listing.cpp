// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/listing.h"

#include "tools/cli/display_text.h"
#include "tools/cli/table_writer.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <span>

namespace zafo::cli {

namespace {

std::string Cell(const Json &value, std::string_view nothing) {
    if (value.is_null()) return std::string(nothing);
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (value.is_string()) return value.get<std::string>();
    if (!value.is_array()) return JsonText(value);
    std::string joined;
    for (const Json &item : value) {
        if (!joined.empty()) joined += ' ';
        joined += Cell(item, nothing);
    }
    return joined;
}

Json Picked(const Fields &fields, const Json &record) {
    Json picked = Json::object();
    for (const Field &field : fields)
        picked[field.key] = record.value(field.key, Json());
    return picked;
}

void PrintTable(Streams &streams, const Fields &fields, std::span<const Json> records) {
    std::vector<std::string> headings;
    for (const Field &field : fields)
        headings.emplace_back(field.title);
    TableWriter table(streams, std::move(headings));
    for (const Json &record : records) {
        std::vector<std::string> cells;
        for (const Field &field : fields) {
            cells.push_back(OneLine(Cell(record.value(field.key, Json()), "-")));
        }
        table.Row(std::move(cells));
    }
    table.Finish();
}

void PrintSeparated(Streams &streams, const Fields &fields, std::span<const Json> records,
                    bool csv) {
    const auto line = [&](const auto &text_of) {
        std::string text;
        for (const Field &field : fields) {
            if (&field != &fields.front()) text += csv ? ',' : '\t';
            text += text_of(field);
        }
        streams.Out(text + "\n");
    };
    if (csv) line([](const Field &field) { return CsvField(field.key); });
    for (const Json &record : records) {
        line([&](const Field &field) {
            const std::string cell = Cell(record.value(field.key, Json()), "");
            return csv ? CsvField(cell) : OneLine(cell);
        });
    }
}

void PrintBlock(Streams &streams, const Fields &fields, const Json &record) {
    int width = 0;
    for (const Field &field : fields)
        width = std::max(width, DisplayWidth(field.title));
    for (const Field &field : fields) {
        const std::string title = fmt::format("{:<{}}", field.title, width);
        streams.Out(fmt::format("{}{}{}  {}\n", streams.ColorsOut() ? "\033[1m" : "", title,
                                streams.ColorsOut() ? "\033[0m" : "",
                                OneLine(Cell(record.value(field.key, Json()), "-"))));
    }
}

}  // namespace

Fields Chosen(const Fields &fields, const Globals &globals) {
    if (globals.fields.empty()) return fields;
    Fields chosen;
    for (const std::string &name : globals.fields) {
        const auto found = std::ranges::find(fields, name, &Field::key);
        if (found == fields.end()) {
            std::vector<std::string_view> names;
            for (const Field &field : fields)
                names.push_back(field.key);
            throw OwnFailure("usage", {.subject = "the command with --help",
                                       .reason = fmt::format("there is no field \"{}\": one of {}",
                                                             name, fmt::join(names, ", "))});
        }
        chosen.push_back(*found);
    }
    return chosen;
}

void PrintList(Streams &streams, JsonDocument &document, const Fields &fields,
               const std::vector<Json> &records) {
    const Fields chosen = Chosen(fields, streams.Options());
    switch (streams.Options().form) {
        case Form::kJson: {
            Json all = Json::array();
            for (const Json &record : records)
                all.push_back(Picked(chosen, record));
            document.Whole(all);
            break;
        }
        case Form::kCsv:
            PrintSeparated(streams, chosen, records, /*csv=*/true);
            break;
        case Form::kPlain:
            PrintSeparated(streams, chosen, records, /*csv=*/false);
            break;
        default:
            PrintTable(streams, chosen, records);
    }
}

void PrintRecord(Streams &streams, JsonDocument &document, const Fields &fields,
                 const Json &record) {
    const Fields chosen = Chosen(fields, streams.Options());
    const std::span<const Json> one(&record, 1);
    switch (streams.Options().form) {
        case Form::kJson:
            document.Whole(Picked(chosen, record));
            break;
        case Form::kCsv:
            PrintSeparated(streams, chosen, one, /*csv=*/true);
            break;
        case Form::kPlain:
            PrintSeparated(streams, chosen, one, /*csv=*/false);
            break;
        default:
            PrintBlock(streams, chosen, record);
    }
}

}  // namespace zafo::cli
