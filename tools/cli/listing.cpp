// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/listing.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/cli/display_text.h"

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
    return value.empty() ? std::string(nothing) : joined;
}

// A line of plain text or CSV.
template <typename TextOf>
std::string Line(const Fields &fields, bool csv, TextOf text_of) {
    std::string line;
    for (const Field &field : fields) {
        if (&field != &fields.front()) line += csv ? ',' : '\t';
        line += csv ? CsvField(text_of(field)) : OneLine(text_of(field));
    }
    return line + "\n";
}

std::string CsvHeading(const Fields &fields) {
    return Line(fields, /*csv=*/true, [](const Field &field) { return std::string(field.key); });
}

std::string RecordLine(const Fields &fields, const Json &record, bool csv) {
    return Line(fields, csv,
                [&](const Field &field) { return Cell(record.value(field.key, Json()), ""); });
}

void PrintBlock(Streams &streams, const Fields &fields, const Json &record) {
    int width = 0;
    for (const Field &field : fields)
        width = std::max(width, DisplayWidth(field.title));
    for (const Field &field : fields) {
        const std::string title = fmt::format("{:<{}}", field.title, width);
        streams.Out(fmt::format("{}  {}\n", streams.Bold(title),
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
            throw OwnFailure(Message::kUsage,
                             {.subject = "the command with --help",
                              .reason = fmt::format("unknown field \"{}\": use one of {}", name,
                                                    fmt::join(names, ", "))});
        }
        chosen.push_back(*found);
    }
    return chosen;
}

Json Picked(const Fields &fields, const Json &record) {
    Json picked = Json::object();
    for (const Field &field : fields)
        picked[field.key] = record.value(field.key, Json());
    return picked;
}

ListWriter::ListWriter(Streams &streams, JsonDocument &document, Fields chosen, bool heading)
    : streams_(streams), document_(document), fields_(std::move(chosen)) {
    switch (streams.Options().form) {
        case Form::kJson:
            document_.OpenArray();
            break;
        case Form::kCsv:
            streams_.Out(CsvHeading(fields_));
            break;
        case Form::kPlain:
            break;
        default:
            if (!heading) break;
            std::vector<std::string> headings;
            for (const Field &field : fields_)
                headings.emplace_back(field.title);
            table_.emplace(streams_, std::move(headings));
    }
}

void ListWriter::Write(const Json &record) {
    const Form form = streams_.Options().form;
    if (form == Form::kJson) {
        document_.Element(JsonText(Picked(fields_, record)));
        return;
    }
    if (!table_) {
        streams_.Out(RecordLine(fields_, record, form == Form::kCsv));
        return;
    }
    std::vector<std::string> cells;
    for (const Field &field : fields_) {
        cells.push_back(OneLine(Cell(record.value(field.key, Json()), "-")));
    }
    table_->Row(std::move(cells));
}

void ListWriter::WriteText(std::string_view text) {
    const Form form = streams_.Options().form;
    if (form == Form::kJson || table_) {
        Write({{fields_.front().key, text}});
        return;
    }
    std::string line = form == Form::kCsv   ? CsvField(text)
                       : IsPlainAscii(text) ? std::string(text)
                                            : OneLine(text);
    streams_.Out(line += '\n');
}

void ListWriter::Finish(bool ok, bool complete) {
    if (streams_.Options().form == Form::kJson) document_.CloseArray(ok, complete);
    if (table_) table_->Finish();
}

void PrintList(Streams &streams, JsonDocument &document, const Fields &fields,
               const std::vector<Json> &records) {
    const Fields chosen = Chosen(fields, streams.Options());
    if (streams.Options().form == Form::kJson) {
        Json all = Json::array();
        for (const Json &record : records)
            all.push_back(Picked(chosen, record));
        document.Whole(all);
        return;
    }
    ListWriter writer(streams, document, chosen);
    for (const Json &record : records)
        writer.Write(record);
    writer.Finish(/*ok=*/true, /*complete=*/true);
}

void PrintRecord(Streams &streams, JsonDocument &document, const Fields &fields,
                 const Json &record) {
    const Fields chosen = Chosen(fields, streams.Options());
    switch (streams.Options().form) {
        case Form::kJson:
            document.Whole(Picked(chosen, record));
            break;
        case Form::kCsv:
            streams.Out(CsvHeading(chosen) + RecordLine(chosen, record, /*csv=*/true));
            break;
        case Form::kPlain:
            streams.Out(RecordLine(chosen, record, /*csv=*/false));
            break;
        default:
            PrintBlock(streams, chosen, record);
    }
}

}  // namespace zafo::cli
