// SPDX-License-Identifier: Apache-2.0
//
// search, entry show and entry delete.
#include <strings.h>

#include <algorithm>
#include <limits>

#include <fmt/format.h>

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
#include "tools/zafoldap/commands.h"

namespace zafo::cli {

namespace {

void CheckFilter(const std::string &filter) {
    const std::optional<SyntaxFault> fault = FilterFault(filter);
    if (!fault) return;
    throw OwnFailure(Message::kBadFilter, {.reason = fault->reason},
                     WithCaret(filter, fault->position));
}

bool IsDn(const std::string &name) {
    return strcasecmp(name.c_str(), "dn") == 0;
}

// The attributes to request: those named, otherwise those to be printed.
std::vector<std::string> Requested(const std::vector<std::string> &named,
                                   const std::vector<std::string> &fields) {
    std::vector<std::string> requested = named.empty() ? fields : named;
    for (const std::string &name : requested) {
        if (!IsAttributeSelector(name))
            throw OwnFailure(Message::kBadAttribute, {.subject = OneLine(name)});
    }
    std::erase_if(requested, IsDn);
    // Only the DN: without any attribute in the request the server would send all of them.
    if (requested.empty() && !(named.empty() && fields.empty())) requested.emplace_back("1.1");
    return requested;
}

// The attributes to print as columns, or to pick; none if all are wanted.
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
        throw OwnFailure(Message::kUsage, {.subject = "zafoldap search --help",
                                           .reason = "--limit must be at least 1"});
    }
    return query;
}

Facts FactsOf(const OpenedConnection &opened, const std::optional<std::string> &base) {
    Facts facts = opened.saved.AsFacts();
    if (base) facts.subject = *base;
    return facts;
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

// Prints entries up to the limit and returns whether there are more, by reading one further.
bool PrintUpTo(EntryWriter &writer, Search &search, int limit) {
    for (int printed = 0; const Entry *entry = search.Next(); ++printed) {
        if (printed == limit) return false;
        writer.Write(*entry);
    }
    return true;
}

int SearchDirectory(Session &session) {
    const Invocation &invocation = session.invocation;
    Query query = QueryOf(invocation);
    const bool counts = invocation.Has("count");
    if (counts) query.attributes = {"1.1"};
    const int limit = invocation.Number("limit").value_or(std::numeric_limits<int>::max());
    const OpenedConnection opened = OpenSaved(session.streams, session.Options().connection);
    const Facts facts = FactsOf(opened, query.base);
    Search search(session.streams, opened.host, std::move(query), facts);
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
        if (failure.id != Message::kOutputFailed) writer->Finish(/*ok=*/false, /*complete=*/false);
        throw;
    }
    return 0;
}

Command SearchCommand() {
    return {
        .noun = "search",
        .run = SearchDirectory,
        .summary = "Search the directory",
        .description =
            "Prints the entries that match a filter (RFC 4515) as they arrive, however large the "
            "answer. Without a filter every entry matches. Attributes after the filter limit what "
            "is requested; \"+\" stands for the operational attributes, \"*\" for all others.\n\n"
            "In table, plain and csv the columns are the DN and the named attributes; several "
            "values share a column, in plain and csv separated by \"|\" (\"\\|\" is the character "
            "itself). Without named attributes a table shows each entry as a block, and plain and "
            "csv print a line \"dn, attribute, value\" for each value. JSON and LDIF keep "
            "everything.\n\n"
            "If the server cuts an answer off at a size limit, the received part is printed and "
            "marked as incomplete, and the exit code is 1.\n\n"
            "Values end at their first zero byte. Binary values are marked as such and may be "
            "incomplete.",
        .arguments = {{.name = "FILTER",
                       .help = "such as uid=alice or '(&(objectClass=person)(cn=a*))'",
                       .required = false},
                      {.name = "ATTR",
                       .help = "attributes to print",
                       .required = false,
                       .repeatable = true}},
        .options = {{.name = "base",
                     .value = "DN",
                     .help = "where to search (default: the connection's base DN)"},
                    {.name = "scope",
                     .value = "SCOPE",
                     .help = "base (the entry itself), one (entries directly below it), sub (all, "
                             "the default) or children (all but itself)",
                     .choices = {"base", "one", "sub", "children"}},
                    {.name = "limit",
                     .value = "N",
                     .help = "print at most N entries",
                     .kind = Kind::kNumber},
                    {.name = "offset",
                     .value = "N",
                     .help = "skip the first N entries",
                     .kind = Kind::kNumber},
                    {.name = "count", .help = "print only the number of matching entries"}},
        .examples = {{"zafoldap search uid=alice", "one user with all attributes"},
                     {"zafoldap search '(objectClass=posixAccount)' uid uidNumber cn",
                      "a table of users"},
                     {"zafoldap search --count '(mail=*@example.com)'",
                      "only the number of matches"},
                     {"zafoldap search --base ou=people,dc=example,dc=com --scope one --format csv "
                      "'(uid=*)' uid mail",
                      "for a spreadsheet"}},
        .exits = {3, 4, 6, 8, 130},
        .entries = true};
}

int ShowEntry(Session &session) {
    const std::string &dn = session.Argument("DN");
    CheckDn(dn, /*may_be_empty=*/true);
    const std::vector<std::string> &fields = session.Options().fields;
    Query query{.base = dn, .filter = {}, .scope = "base", .attributes = Requested({}, fields)};
    const OpenedConnection opened = OpenSaved(session.streams, session.Options().connection);
    const Facts facts = FactsOf(opened, query.base);
    Search search(session.streams, opened.host, std::move(query), facts);
    const Entry *entry = search.Next();
    if (entry == nullptr) throw LibraryFailure(32, 0, facts, "");
    const auto writer = MakeEntryWriter(session.streams, session.document,
                                        Columns({}, session.Options()), /*single=*/true);
    writer->Write(*entry);
    writer->Finish(/*ok=*/true, /*complete=*/true);
    return 0;
}

Command EntryShowCommand() {
    return {
        .noun = "entry",
        .verb = "show",
        .run = ShowEntry,
        .summary = "Show one entry",
        .description =
            "Prints the entry with this DN. --fields names the attributes to print; \"+\" "
            "stands for the operational ones.",
        .arguments = {{.name = "DN",
                       .help = "the full DN, such as uid=alice,ou=people,dc=example,dc=com"}},
        .examples = {{"zafoldap entry show uid=alice,ou=people,dc=example,dc=com", "everything"},
                     {"zafoldap entry show uid=alice,ou=people,dc=example,dc=com --format ldif "
                      "--fields '*,+'",
                      "with operational attributes, as LDIF"}},
        .exits = {3, 4, 6, 8, 130},
        .entries = true};
}

int DeleteEntry(Session &session) {
    const std::string &dn = session.Argument("DN");
    CheckDn(dn, /*may_be_empty=*/true);
    if (dn.empty()) RefuseUsage(session, "the root DSE cannot be deleted");
    const AccountDirectory directory(session);
    Search search(session.streams, directory.TheHost(),
                  {.base = dn, .filter = {}, .scope = "base", .attributes = {"objectClass"}},
                  directory.FactsAbout(dn));
    const Entry *entry = search.Next();
    if (entry == nullptr) throw LibraryFailure(32, 0, directory.FactsAbout(dn), "");
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
            Attempt(session.streams, directory.FactsAbout(own_dn), [&] {
                return ZAFOLDAPBrowserDeleteDN(directory.Record(), PercentsDoubled(dn).c_str());
            });
        if (failure) throw *failure;
    });
    if (session.Options().form == Form::kJson) session.document.Whole({{"deleted", own_dn}});
    session.streams.Note(fmt::format("{} deleted", OneLine(own_dn)));
    return 0;
}

Command EntryDeleteCommand() {
    return {.noun = "entry",
            .verb = "delete",
            .aliases = {"rm"},
            .run = DeleteEntry,
            .summary = "Delete one entry",
            .description =
                "Deletes the entry with this DN after confirmation. Nothing else changes: groups "
                "keep listing a user deleted this way (\"user delete\" removes it from them). An "
                "entry with others below it is refused. Without a terminal, --yes is required.",
            .arguments = {{.name = "DN",
                           .help = "the full DN, such as uid=alice,ou=people,dc=example,dc=com"}},
            .examples = {{"zafoldap entry delete cn=old,dc=example,dc=com", "asks first"}},
            .exits = {3, 4, 6, 8, 130}};
}

}  // namespace

std::vector<Command> DirectoryCommands() {
    return {SearchCommand(), EntryShowCommand(), EntryDeleteCommand()};
}

}  // namespace zafo::cli
