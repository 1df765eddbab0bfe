// SPDX-License-Identifier: Apache-2.0
//
// user home create and create-all.
#include "tools/zafoldap/user_home.h"

#include "src/accounts/automount_value.h"
#include "src/accounts/nfs_source.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/handlers.h"

#include <fmt/format.h>

#include <memory>

namespace zafo::cli {

namespace {

struct FreeUser {
    void operator()(ZAFOUSER *user) const { ZAFOUserFree(user); }
};

// Of a text that the library takes.
Export ParseExport(const std::string &text) {
    const size_t colon = text.find(":/", text.starts_with('[') ? text.find(']') : 0);
    Export place{text.substr(0, colon), text.substr(colon + 1)};
    while (place.path.size() > 1 && place.path.ends_with('/'))
        place.path.pop_back();
    return place;
}

// What --export says, else what the directory publishes; nothing for the latter's odd forms.
Export ExportFor(const AccountDirectory &directory) {
    const Session &session = directory.Of();
    if (const std::string *given = session.invocation.Find("export")) {
        const char *fault = IsText(*given) ? FaultOfNfsSource(*given) : "it is not UTF-8";
        if (fault != nullptr) {
            RefuseUsage(session,
                        fmt::format("--export {} is not HOST:/PATH: {}", OneLine(*given), fault));
        }
        return ParseExport(*given);
    }
    const std::string value = PublishedHomes(directory);
    if (value.empty()) throw OwnFailure("homes_unpublished", directory.Known(""));
    const std::string fault = FaultOfAutomountValue(value);
    if (!fault.empty()) {
        Facts facts = directory.Known(value);
        facts.reason = fault;
        throw OwnFailure("homes_refused", facts);
    }
    return *ParseAutomountValue(value);
}

void Finish(Session &session, const std::optional<Failure> &failure, const Facts &facts,
            const std::string &whose, const Json &record) {
    if (failure) {
        Facts named = facts;
        named.subject = whose;
        throw OwnFailure("home_failed", named, failure->detail);
    }
    if (session.Options().form == Form::kJson) session.document.Whole(record);
    session.streams.Note(fmt::format("home folder of {}: exists", OneLine(whose)));
}

// What a dry run has to say; true: it was one.
bool DryRun(Session &session, const Json &record, const std::string &text) {
    if (!session.Options().dry_run) return false;
    if (session.Options().form == Form::kJson) {
        session.document.Whole(record);
    } else {
        session.streams.Out(Printable(text) + "\n");
    }
    return true;
}

}  // namespace

std::string FaultOfAutomountValue(std::string_view value) {
    const std::optional<std::string> escaped = EscapedExportOf(&value);
    const std::optional<std::string> source = escaped ? Unescaped(*escaped) : std::nullopt;
    if (!source) return "it is not of the form \"-fstype=nfs HOST:PATH/&\"";
    const char *fault = FaultOfNfsSource(*source);
    return fault == nullptr ? "" : fault;
}

std::optional<Export> ParseAutomountValue(std::string_view value) {
    if (!FaultOfAutomountValue(value).empty()) return std::nullopt;
    return ParseExport(*Unescaped(*EscapedExportOf(&value)));
}

std::string PublishedHomes(const AccountDirectory &directory) {
    constexpr int kInvalidDnSyntax = 34;  // the schema does not know the map's attributes
    try {
        return directory.ValueOf(
            "automountKey=*,automountMapName=auto_home," + directory.Saved().base, "",
            "automountInformation");
    } catch (const Failure &failure) {
        if (failure.ldap_code == kInvalidDnSyntax) return {};
        throw;
    }
}

int CreateUserHome(Session &session) {
    const std::string &name = session.Argument("NAME");
    CheckName(name);
    AccountDirectory directory(session);
    const std::string dn = directory.Need(kUserKind, name);
    const Export place = ExportFor(directory);
    ZAFOUSER *read = nullptr;
    const int found = directory.Run(
        dn, [&] { return ZAFOLDAPBrowserUserGet(directory.Record(), dn.c_str(), &read, nullptr); });
    const std::unique_ptr<ZAFOUSER, FreeUser> user(read);
    if (found == 0) throw OwnFailure("user_missing", directory.Known(name));
    const std::string where = fmt::format("{}:{}/{}", place.host, place.path, name);
    const Json record = {{"name", name}, {"home_folder", where}};
    if (DryRun(session, record, "would create " + where)) return 0;
    const std::optional<Failure> failure = Attempt(session.streams, directory.Known(name), [&] {
        if (!session.invocation.Has("export"))
            return ZAFOLDAPBrowserUserHomeCreate(directory.Record(), user.get());
        return ZAFOLDAPBrowserUserHomeCreateEx(fmt::format("{}:{}", place.host, place.path).c_str(),
                                               user.get());
    });
    Finish(session, failure, directory.Known(name), name, record);
    return 0;
}

int CreateAllUserHomes(Session &session) {
    AccountDirectory directory(session);
    const Export place = ExportFor(directory);
    const std::string where = fmt::format("{}:{}", place.host, place.path);
    const Json record = {{"export", where}};
    if (DryRun(session, record,
               fmt::format("would create every user's missing folder in {}", where)))
        return 0;
    const std::optional<Failure> failure = Attempt(session.streams, directory.Known(where), [&] {
        return ZAFOLDAPBrowserUserHomeCreateAll(directory.Record(), place.host.c_str(),
                                                place.path.c_str());
    });
    Finish(session, failure, directory.Known(where), "every user in " + where, record);
    session.streams.Note("the system log names folders that could not be created");
    return 0;
}

}  // namespace zafo::cli
