// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/entry_writer.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

#include "base/ascii.h"
#include "tools/cli/display_text.h"
#include "tools/cli/table_writer.h"

namespace zafo::cli {

namespace {

// Attributes whose values are binary though their first bytes may look like text.
constexpr std::string_view kBinaryAttributes[] = {
    "jpegPhoto",
    "photo",
    "audio",
    "userCertificate",
    "cACertificate",
    "userPKCS12",
    "userSMIMECertificate",
    "certificateRevocationList",
    "authorityRevocationList",
    "crossCertificatePair",
    "objectSid",
    "objectGUID",
    "krbPrincipalKey",
    "krbExtraData",
    "thumbnailPhoto",
};

std::string_view WithoutOptions(std::string_view name) {
    return name.substr(0, name.find(';'));
}

// A column named "cn" also matches "cn;lang-de"; one named "cn;lang-de" only that.
bool Matches(std::string_view column, std::string_view name) {
    return EqualIgnoringCase(column, name) || EqualIgnoringCase(column, WithoutOptions(name));
}

std::string BytesShown(std::string_view value) {
    return fmt::format("<binary: {}>", Base64(value));
}

// An attribute description (RFC 4512 section 2.5). A server can send anything instead.
bool IsAttributeName(std::string_view name) {
    return !name.empty() && std::ranges::all_of(name, [](unsigned char c) {
        return c < 0x80 && (std::isalnum(c) != 0 || c == '-' || c == '.' || c == ';');
    });
}

template <typename Visit>
void ForEachValue(const Entry &entry, std::string_view column, Visit visit) {
    if (EqualIgnoringCase(column, "dn")) {
        visit(std::string_view("dn"), entry.dn);
        return;
    }
    for (const Attribute &attribute : entry.attributes) {
        if (!Matches(column, attribute.name)) continue;
        for (std::string_view value : attribute.values)
            visit(attribute.name, value);
    }
}

// The attributes that the columns select, in column order; all without columns.
std::vector<const Attribute *> Wanted(const Entry &entry, const std::vector<std::string> &columns) {
    std::vector<const Attribute *> wanted;
    if (columns.empty()) {
        for (const Attribute &attribute : entry.attributes)
            wanted.push_back(&attribute);
    }
    for (const std::string &column : columns) {
        for (const Attribute &attribute : entry.attributes) {
            if (Matches(column, attribute.name)) wanted.push_back(&attribute);
        }
    }
    return wanted;
}

void AppendJsonString(std::string &json, std::string_view text) {
    if (!IsPlainAscii(text) || text.find_first_of("\"\\") != std::string_view::npos) {
        json += JsonText(text);
        return;
    }
    json.append(1, '"').append(text).append(1, '"');
}

void AppendJsonValue(std::string &json, std::string_view name, std::string_view value) {
    if (!IsBinary(name, value)) {
        AppendJsonString(json, value);
        return;
    }
    json += R"({"binary":true,"base64_prefix":")";
    json += Base64(value);
    json += "\"}";
}

class JsonEntries final : public EntryWriter {
  public:
    JsonEntries(JsonDocument &document, std::vector<std::string> columns, bool single)
        : document_(document), columns_(std::move(columns)), single_(single) {
        if (!single_) document_.OpenArray();
    }

    void Write(const Entry &entry) override {
        if (single_) {
            document_.Whole(Json::parse(Text(entry)));
        } else {
            document_.Element(Text(entry));
        }
    }

    void Finish(bool ok, bool complete) override {
        if (!single_) document_.CloseArray(ok, complete);
    }

  private:
    std::string Text(const Entry &entry) const {
        std::string json = R"({"dn":)";
        AppendJsonString(json, entry.dn);
        json += R"(,"attributes":{)";
        const char *separator = "";
        for (const Attribute *attribute : Wanted(entry, columns_)) {
            json += separator;
            separator = ",";
            AppendJsonString(json, attribute->name);
            json += ":[";
            for (size_t i = 0; i < attribute->values.size(); ++i) {
                if (i > 0) json += ',';
                AppendJsonValue(json, attribute->name, attribute->values[i]);
            }
            json += ']';
        }
        return json + "}}";
    }

    JsonDocument &document_;
    std::vector<std::string> columns_;
    bool single_;
};

class LdifEntries final : public EntryWriter {
  public:
    LdifEntries(Streams &streams, std::vector<std::string> columns)
        : streams_(streams), columns_(std::move(columns)) {}

    void Write(const Entry &entry) override {
        std::string text = LdifLine("dn", entry.dn);
        for (const Attribute *attribute : Wanted(entry, columns_)) {
            for (std::string_view value : attribute->values) {
                text += LdifLine(attribute->name, value);
            }
        }
        streams_.Out(text + "\n");
    }
    void Finish(bool, bool complete) override {
        if (!complete) streams_.Out("# the answer is incomplete\n");
    }

  private:
    Streams &streams_;
    std::vector<std::string> columns_;
};

// One line for each entry, tab-separated or as CSV; without columns one for each value.
class SeparatedEntries final : public EntryWriter {
  public:
    SeparatedEntries(Streams &streams, std::vector<std::string> columns, bool csv)
        : streams_(streams), columns_(std::move(columns)), csv_(csv) {
        if (!csv_) return;
        if (columns_.empty()) {
            Line({"dn", "attribute", "value"});
        } else {
            Line(columns_);
        }
    }

    void Write(const Entry &entry) override {
        if (columns_.empty()) {
            for (const Attribute &attribute : entry.attributes) {
                for (std::string_view value : attribute.values) {
                    Line({Text(entry.dn), Text(attribute.name), Shown(attribute.name, value)});
                }
            }
            return;
        }
        std::vector<std::string> cells;
        for (const std::string &column : columns_)
            cells.push_back(Joined(entry, column));
        Line(cells);
    }
    void Finish(bool, bool) override {}

  private:
    std::string Text(std::string_view value) const {
        return csv_ ? CsvText(value) : OneLine(value);
    }

    std::string Shown(std::string_view name, std::string_view value) const {
        return IsBinary(name, value) ? BytesShown(value) : Text(value);
    }

    std::string Joined(const Entry &entry, std::string_view column) const {
        std::string joined;
        bool first = true;
        ForEachValue(entry, column, [&](std::string_view name, std::string_view value) {
            if (!first) joined += '|';
            first = false;
            joined += EqualIgnoringCase(name, "dn") ? Text(value)
                                                    : Replaced(Shown(name, value), "|", "\\|");
        });
        return joined;
    }

    void Line(const std::vector<std::string> &cells) {
        std::string line;
        for (size_t i = 0; i < cells.size(); ++i) {
            if (i > 0) line += csv_ ? ',' : '\t';
            line += csv_ ? CsvCell(cells[i]) : cells[i];
        }
        streams_.Out(line + "\n");
    }

    Streams &streams_;
    std::vector<std::string> columns_;
    bool csv_;
};

class TableEntries final : public EntryWriter {
  public:
    TableEntries(Streams &streams, std::vector<std::string> columns)
        : columns_(columns), table_(streams, std::move(columns)) {}

    void Write(const Entry &entry) override {
        std::vector<std::string> cells;
        for (const std::string &column : columns_) {
            std::string cell;
            ForEachValue(entry, column, [&](std::string_view name, std::string_view value) {
                if (!cell.empty()) cell += "; ";
                cell += IsBinary(name, value) ? BytesShown(value) : OneLine(value);
            });
            cells.push_back(std::move(cell));
        }
        table_.Row(std::move(cells));
    }
    void Finish(bool, bool) override { table_.Finish(); }

  private:
    std::vector<std::string> columns_;
    TableWriter table_;
};

// A longer name shifts its own value, not all others.
constexpr int kWidestName = 40;

// To show everything to a person: the DN, then one line for each value.
class BlockEntries final : public EntryWriter {
  public:
    explicit BlockEntries(Streams &streams) : streams_(streams) {}

    void Write(const Entry &entry) override {
        std::string text = first_ ? "" : "\n";
        first_ = false;
        text += streams_.Bold(OneLine(entry.dn)) + "\n";
        int width = 0;
        for (const Attribute &attribute : entry.attributes) {
            width = std::max(width, DisplayWidth(OneLine(attribute.name)));
        }
        width = std::min(width, kWidestName);
        for (const Attribute &attribute : entry.attributes) {
            std::string name = OneLine(attribute.name);
            for (std::string_view value : attribute.values) {
                text +=
                    fmt::format("  {:<{}}  {}\n", name, width, Shown(attribute.name, value, width));
                name.clear();
            }
        }
        streams_.Out(text);
    }
    void Finish(bool, bool) override {}

  private:
    std::string Shown(std::string_view name, std::string_view value, int indent) const {
        std::string shown = IsBinary(name, value) ? BytesShown(value) : OneLine(value);
        constexpr int kLeast = 20;
        const int room = streams_.Columns() - indent - 4;
        return streams_.Columns() > 0 ? Shortened(shown, std::max(room, kLeast)) : shown;
    }

    Streams &streams_;
    bool first_ = true;
};

// SAFE-STRING of RFC 2849, except that a trailing blank and control characters are not safe for a
// terminal.
bool IsSafeString(std::string_view value) {
    if (value.empty()) return true;
    if (std::string_view(" :<").find(value.front()) != std::string_view::npos) return false;
    if (value.back() == ' ') return false;
    return std::ranges::all_of(value, [](char c) { return (c >= 0x20 && c < 0x7f) || c == '\t'; });
}

}  // namespace

std::unique_ptr<EntryWriter> MakeEntryWriter(Streams &streams, JsonDocument &document,
                                             std::vector<std::string> columns, bool single) {
    switch (streams.Options().form) {
        case Form::kJson:
            return std::make_unique<JsonEntries>(document, std::move(columns), single);
        case Form::kLdif:
            return std::make_unique<LdifEntries>(streams, std::move(columns));
        case Form::kCsv:
            return std::make_unique<SeparatedEntries>(streams, std::move(columns), /*csv=*/true);
        case Form::kPlain:
            return std::make_unique<SeparatedEntries>(streams, std::move(columns), /*csv=*/false);
        case Form::kTable:
            break;
    }
    if (columns.empty()) return std::make_unique<BlockEntries>(streams);
    return std::make_unique<TableEntries>(streams, std::move(columns));
}

void PrintEntry(Streams &streams, JsonDocument &document, const Entry &entry,
                std::vector<std::string> columns) {
    const auto writer = MakeEntryWriter(streams, document, std::move(columns), /*single=*/true);
    writer->Write(entry);
    writer->Finish(/*ok=*/true, /*complete=*/true);
}

const Attribute *FindAttribute(const Entry &entry, std::string_view name) {
    const auto found = std::ranges::find_if(entry.attributes, [&](const Attribute &attribute) {
        return EqualIgnoringCase(attribute.name, name);
    });
    return found == entry.attributes.end() ? nullptr : &*found;
}

std::string_view FirstValue(const Entry &entry, std::string_view attribute) {
    const Attribute *found = FindAttribute(entry, attribute);
    return found == nullptr ? std::string_view() : found->values.front();
}

bool IsBinary(std::string_view attribute, std::string_view value) {
    if (!IsText(value)) return true;
    const std::string_view base = WithoutOptions(attribute);
    const bool binary_option =
        attribute.size() > base.size() && attribute.find(";binary") != std::string_view::npos;
    return binary_option || std::ranges::any_of(kBinaryAttributes, [&](std::string_view name) {
               return EqualIgnoringCase(name, base);
           });
}

std::string LdifLine(std::string_view name, std::string_view value) {
    if (!IsAttributeName(name)) {
        return fmt::format("# not an attribute name: {}:: {}\n", OneLine(name), Base64(value));
    }
    std::string line;
    if (!EqualIgnoringCase(name, "dn") && IsBinary(name, value)) {
        line = fmt::format("# value of {} may be cut at a zero byte\n", name);
    }
    const bool safe = line.empty() && IsSafeString(value);
    return line + (safe ? fmt::format("{}:{}{}\n", name, value.empty() ? "" : " ", value)
                        : fmt::format("{}:: {}\n", name, Base64(value)));
}

}  // namespace zafo::cli
