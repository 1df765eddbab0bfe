// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/account_record.h"

#include <algorithm>
#include <charconv>

#include "base/ascii.h"
#include "tools/zafoldap/account_checks.h"

namespace zafo::cli {

namespace {

// A number as a JSON number; other text stays text, so that it is not mistaken for a number.
Json NumberOrText(std::string_view text) {
    const std::optional<long long> number = WholeNumber<long long>(text);
    return number ? Json(*number) : Json(text);
}

Json DateOrNull(std::string_view text) {
    long days = 0;
    std::from_chars(text.data(), text.data() + text.size(), days);
    const auto date = DateOf(days);
    return date ? Json(*date) : Json();
}

Json FieldOf(const AccountField &field, const Entry &entry) {
    if (field.kind == FieldKind::kDn) return entry.dn;
    const Attribute *attribute = FindAttribute(entry, field.attribute);
    if (field.kind == FieldKind::kTexts) {
        Json all = Json::array();
        if (attribute != nullptr) {
            for (std::string_view value : attribute->values)
                all.push_back(value);
        }
        return all;
    }
    if (attribute == nullptr) return {};
    const std::string_view value = attribute->values.front();
    return field.kind == FieldKind::kNumber ? NumberOrText(value)
           : field.kind == FieldKind::kDate ? DateOrNull(value)
                                            : Json(value);
}

}  // namespace

const std::vector<AccountField> &UserFields() {
    static const std::vector<AccountField> kFields = {
        {{"name", "NAME"}, "uid", FieldKind::kText, true},
        {{"uid", "UID"}, "uidNumber", FieldKind::kNumber, true},
        {{"gid", "GID"}, "gidNumber", FieldKind::kNumber, true},
        {{"full_name", "FULL NAME"}, "gecos", FieldKind::kText, true},
        {{"mail", "MAIL"}, "mail", FieldKind::kTexts, false},
        {{"home", "HOME"}, "homeDirectory", FieldKind::kText, false},
        {{"shell", "SHELL"}, "loginShell", FieldKind::kText, false},
        {{"expires", "EXPIRES"}, "shadowExpire", FieldKind::kDate, false},
        {{"dn", "DN"}, "", FieldKind::kDn, false}};
    return kFields;
}

const std::vector<AccountField> &GroupFields() {
    static const std::vector<AccountField> kFields = {
        {{"name", "NAME"}, "cn", FieldKind::kText, true},
        {{"gid", "GID"}, "gidNumber", FieldKind::kNumber, true},
        {{"description", "DESCRIPTION"}, "description", FieldKind::kText, true},
        {{"members", "MEMBERS"}, "memberUid", FieldKind::kTexts, false},
        {{"dn", "DN"}, "", FieldKind::kDn, false}};
    return kFields;
}

Fields WithFields(const std::vector<AccountField> &fields, const Fields &more) {
    Fields all;
    for (const AccountField &field : fields)
        all.push_back(field.field);
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

ListLayout LayoutOf(const Session &session, const Fields &all, const Fields &on_terminal) {
    const bool chosen = !session.Options().fields.empty();
    if (chosen || session.Options().form != Form::kTable) return {Chosen(all, session.Options())};
    if (session.invocation.Has("format") || session.streams.OutIsTerminal()) return {on_terminal};
    return {{all.front()}, /*heading=*/false};
}

ListLayout LayoutOf(const Session &session, const std::vector<AccountField> &fields) {
    Fields on_terminal;
    for (const AccountField &field : fields) {
        if (field.on_terminal) on_terminal.push_back(field.field);
    }
    return LayoutOf(session, WithFields(fields, {}), on_terminal);
}

std::vector<std::string> AttributesFor(const std::vector<AccountField> &fields,
                                       const Fields &chosen) {
    std::vector<std::string> attributes;
    for (const Field &wanted : chosen) {
        const auto field = std::ranges::find_if(
            fields, [&](const AccountField &row) { return row.field.key == wanted.key; });
        if (field != fields.end() && !field->attribute.empty())
            attributes.emplace_back(field->attribute);
    }
    return attributes;
}

Json RecordOf(const std::vector<AccountField> &fields, const Entry &entry) {
    Json record = Json::object();
    for (const AccountField &field : fields)
        record[field.field.key] = FieldOf(field, entry);
    return record;
}

}  // namespace zafo::cli
