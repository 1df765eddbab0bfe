// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/account_list.h"

#include <algorithm>
#include <limits>

#include <fmt/format.h>

#include "tools/cli/ldap_filter.h"
#include "tools/zafoldap/account_checks.h"

namespace zafo::cli {

namespace {

std::string FilterOf(const Session &session, const AccountKind &kind) {
    const std::string *pattern = session.invocation.Find("PATTERN");
    if (pattern == nullptr) return std::string(kind.filter);
    CheckName(*pattern);
    return fmt::format("(&({})({}={}))", kind.filter, kind.name_attr, PatternForFilter(*pattern));
}

// Returns whether all were printed.
bool PrintAll(Search &search, ListWriter &writer, const ListRequest &request, bool only_name,
              int limit) {
    for (int printed = 0; const Entry *entry = search.Next();) {
        const std::string_view name = FirstValue(*entry, request.kind.name_attr);
        if (name.empty() || (request.wanted && !request.wanted(name))) continue;
        if (printed++ == limit) return false;
        if (only_name) {
            writer.WriteText(name);
        } else {
            writer.Write(RecordOf(request.fields, *entry));
        }
    }
    return true;
}

}  // namespace

int LimitOf(const Session &session) {
    const std::optional<int> limit = session.invocation.Number("limit");
    if (limit && *limit < 1) RefuseUsage(session, "--limit must be at least 1");
    return limit.value_or(std::numeric_limits<int>::max());
}

bool ShowRaw(const AccountDirectory &directory, const AccountKind &kind, const std::string &dn) {
    Session &session = directory.TheSession();
    if (!session.invocation.Has("raw") && session.Options().form != Form::kLdif) return false;
    Search search = directory.SearchFor(ForEntry(dn, session.Options().fields), dn);
    const Entry *entry = search.Next();
    if (entry == nullptr) throw OwnFailure(kind.missing, directory.FactsAbout(dn));
    PrintEntry(session.streams, session.document, *entry, session.Options().fields);
    return true;
}

int ListAccounts(const AccountDirectory &directory, const ListRequest &request) {
    Session &session = directory.TheSession();
    const ListLayout layout = LayoutOf(session, request.fields);
    const bool only_name = layout.fields.size() == 1 && layout.fields.front().key == "name";
    const int limit = LimitOf(session);
    std::vector<std::string> attributes = AttributesFor(request.fields, layout.fields);
    if (std::ranges::count(attributes, request.kind.name_attr) == 0)
        attributes.emplace_back(request.kind.name_attr);
    Search search = directory.SearchFor(
        {.filter = FilterOf(session, request.kind), .attributes = std::move(attributes)},
        directory.Saved().base);
    ListWriter writer(session.streams, session.document, layout.fields, layout.heading);
    try {
        const bool complete = PrintAll(search, writer, request, only_name, limit);
        writer.Finish(/*ok=*/!request.cut, complete && !request.cut);
        if (!complete)
            session.streams.Note(fmt::format("there are more; --limit {} cut the list off", limit));
    } catch (const Failure &failure) {
        if (failure.id != Message::kOutputFailed) writer.Finish(/*ok=*/false, /*complete=*/false);
        throw;
    }
    if (request.cut) throw *request.cut;
    return 0;
}

}  // namespace zafo::cli
