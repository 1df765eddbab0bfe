// SPDX-License-Identifier: Apache-2.0
//
// search, entry show and entry delete.
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/cli/entry_writer.h"
#include "tools/cli/ldap_dn.h"
#include "tools/cli/ldap_filter.h"
#include "tools/cli/listing.h"
#include "tools/cli/saved_connection.h"
#include "tools/cli/session.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_list.h"
#include "tools/zafoldap/handlers.h"

#include <strings.h>

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace zafo::cli {

namespace {

void CheckFilter(const std::string &filter) {
    const std::optional<SyntaxFault> fault = FilterFault(filter);
    if (!fault) return;
    throw OwnFailure("bad_filter", {.reason = fault->reason}, WithCaret(filter, fault->position));
}

bool IsDn(const std::string &name) {
    return strcasecmp(name.c_str(), "dn") == 0;
}

// What to ask the server for: the named attributes, else those that are to be printed.
std::vector<std::string> Requested(const std::vector<std::string> &named,
                                   const std::vector<std::string> &fields) {
    std::vector<std::string> requested = named.empty() ? fields : named;
    for (const std::string &name : requested) {
        if (!IsAttributeSelector(name))
            throw OwnFailure("bad_attribute", {.subject = OneLine(name)});
    }
    std::erase_if(requested, IsDn);
    // Only the DN: without any attribute in the request the server would send all.
    if (requested.empty() && !(named.empty() && fields.empty())) requested.emplace_back("1.1");
    return requested;
}

// The attributes to print as columns, or to pick; none when all of them are wanted.
std::vector<std::string> Columns(const std::vector<std::string> &named, const Globals &globals) {
    const auto stands_for_many = [](const std::string &name) { return name == "*" || name == "+"; };
    if (!globals.fields.empty()) {
        return std::ranges::any_of(globals.fields, stands_for_many) ? std::vector<std::string>{}
                                                                    : globals.fields;
    }
    const bool columns = globals.form != Form::kJson && globals.form != Form::kLdif;
    if (!columns || named.empty() || std::ranges::any_of(named, stands_for_many)) return {};
    std::vector<std::string> all = {"dn"};
    for (const std::string &name : named) {
        if (!IsDn(name) && name != "1.1") all.push_back(name);
    }
    return all;
}

Query QueryOf(const Invocation &invocation) {
    Query query;
    if (const std::string *filter = invocation.Find("FILTER")) {
        CheckFilter(*filter);
        query.filter = *filter;
    }
    if (const std::string *base = invocation.Find("base")) {
        CheckDn(*base, /*may_be_empty=*/true);
        query.base = *base;
    }
    if (const std::string *scope = invocation.Find("scope")) query.scope = *scope;
    query.attributes = Requested(invocation.All("ATTR"), invocation.globals.fields);
    query.offset = invocation.Number("offset").value_or(0);
    const std::optional<int> limit = invocation.Number("limit");
    if (limit && *limit < 1) {
        throw OwnFailure(
            "usage", {.subject = "zafoldap search --help", .reason = "--limit needs at least 1"});
    }
    return query;
}

struct Opened {
    Connection connection;
    Host host;
    Facts facts;
};

Opened Open(Session &session, const std::optional<std::string> &base) {
    const std::string &name = session.Options().connection;
    Connection connection = ReadConnection(name);
    Host host = OpenConnection(name, connection);
    Facts facts = connection.Known();
    if (base) facts.subject = *base;
    SayConnection(session.streams, connection);
    return {std::move(connection), std::move(host), std::move(facts)};
}

void Count(Session &session, Search &search) {
    long count = 0;
    std::optional<Failure> cut;
    try {
        while (search.Next() != nullptr)
            ++count;
    } catch (const Failure &failure) {
        if (!IsCutOff(failure)) throw;
        cut = failure;
    }
    if (session.Options().form == Form::kJson) {
        session.document.Whole({{"count", count}}, /*ok=*/!cut, /*complete=*/!cut);
    } else {
        session.streams.Out(fmt::format("{}\n", count));
    }
    if (cut) throw *cut;
}

// Prints entries up to the limit; whether there are more is known from one entry beyond it.
bool PrintUpTo(EntryWriter &writer, Search &search, int limit) {
    for (int printed = 0; const Entry *entry = search.Next(); ++printed) {
        if (printed == limit) return false;
        writer.Write(*entry);
    }
    return true;
}

}  // namespace

int SearchDirectory(Session &session) {
    const Invocation &invocation = session.invocation;
    Query query = QueryOf(invocation);
    const bool counts = invocation.Has("count");
    if (counts) query.attributes = {"1.1"};
    const int limit = invocation.Number("limit").value_or(std::numeric_limits<int>::max());
    const Opened opened = Open(session, query.base);
    Search search(session.streams, opened.host, std::move(query), opened.facts);
    if (counts) {
        Count(session, search);
        return 0;
    }
    const auto writer = MakeEntryWriter(session.streams, session.document,
                                        Columns(invocation.All("ATTR"), session.Options()),
                                        /*single=*/false);
    try {
        const bool complete = PrintUpTo(*writer, search, limit);
        writer->Finish(/*ok=*/true, complete);
        if (!complete)
            session.streams.Note(
                fmt::format("more entries match; --limit {} cut the list off", limit));
    } catch (const Failure &failure) {
        if (failure.key != "output_failed") writer->Finish(/*ok=*/false, /*complete=*/false);
        throw;
    }
    return 0;
}

int ShowEntry(Session &session) {
    const std::string &dn = session.Argument("DN");
    CheckDn(dn, /*may_be_empty=*/true);
    const std::vector<std::string> &fields = session.Options().fields;
    Query query{.base = dn, .filter = {}, .scope = "base", .attributes = Requested({}, fields)};
    const Opened opened = Open(session, query.base);
    Search search(session.streams, opened.host, std::move(query), opened.facts);
    const Entry *entry = search.Next();
    if (entry == nullptr) throw LibraryFailure(32, 0, opened.facts, "");
    const auto writer = MakeEntryWriter(session.streams, session.document,
                                        Columns({}, session.Options()), /*single=*/true);
    writer->Write(*entry);
    writer->Finish(/*ok=*/true, /*complete=*/true);
    return 0;
}

int DeleteEntry(Session &session) {
    const std::string &dn = session.Argument("DN");
    CheckDn(dn, /*may_be_empty=*/true);
    if (dn.empty()) RefuseUsage(session, "the root DSE cannot be deleted");
    const AccountDirectory directory(session);
    Search search(session.streams, directory.TheHost(),
                  {.base = dn, .filter = {}, .scope = "base", .attributes = {"objectClass"}},
                  directory.Known(dn));
    const Entry *entry = search.Next();
    if (entry == nullptr) throw LibraryFailure(32, 0, directory.Known(dn), "");
    std::vector<std::string> classes;
    for (const Attribute &attribute : entry->attributes)
        classes.insert(classes.end(), attribute.values.begin(), attribute.values.end());
    const std::string own_dn(entry->dn);
    const std::string touches =
        fmt::format("{} has the classes {}; no group is changed", own_dn, Enumerated(classes));
    ChangePlan plan;
    plan.Check(touches);
    plan.Record(own_dn, "delete");
    if (session.Options().dry_run) {
        plan.Print(session);
        return 0;
    }
    ConfirmDeleting(session, "the entry " + own_dn, {touches});
    Logged(session, own_dn, {}, [&] {
        const std::optional<Failure> failure =
            Attempt(session.streams, directory.Known(own_dn), [&] {
                return ZAFOLDAPBrowserDeleteDN(directory.Record(), PercentsDoubled(dn).c_str());
            });
        if (failure) throw *failure;
    });
    if (session.Options().form == Form::kJson) session.document.Whole({{"deleted", own_dn}});
    session.streams.Note(fmt::format("{} deleted", OneLine(own_dn)));
    return 0;
}

}  // namespace zafo::cli
