// SPDX-License-Identifier: Apache-2.0
//
// user home create and create-all.
#include "tools/zafoldap/user_home.h"

#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/handlers.h"

#include <fmt/format.h>

#include <memory>

namespace zafo::cli {

namespace {

constexpr std::string_view kNfs = "-fstype=nfs ";

struct FreeUser {
    void operator()(ZAFOUSER *user) const { ZAFOUserFree(user); }
};

std::optional<Export> ParseExport(const std::string &text) {
    const size_t colon = text.find(":/");
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    Export place{text.substr(0, colon), text.substr(colon + 1)};
    while (place.path.size() > 1 && place.path.ends_with('/'))
        place.path.pop_back();
    return place;
}

// What --export says, else what the directory publishes; nothing for the latter's odd forms.
std::optional<Export> ExportFor(const AccountDirectory &directory) {
    const Session &session = directory.Of();
    if (const std::string *given = session.invocation.Find("export")) {
        std::optional<Export> place = ParseExport(*given);
        if (!place || !IsText(*given) || given->find_first_of("\r\n") != std::string::npos) {
            RefuseUsage(session, fmt::format("--export {} is not HOST:/PATH", OneLine(*given)));
        }
        return place;
    }
    const std::string value = PublishedHomes(directory);
    if (value.empty()) throw OwnFailure("homes_unpublished", directory.Known(""));
    return ParseAutomountValue(value);
}

void Finish(Session &session, const std::optional<Failure> &failure, const Facts &facts,
            const std::string &whose, const Json &record) {
    if (failure) {
        Facts named = facts;
        named.subject = whose;
        throw OwnFailure("home_failed", named, failure->detail);
    }
    if (session.Options().form == Form::kJson) session.document.Whole(record);
    session.streams.Note(fmt::format("home folder of {}: there", OneLine(whose)));
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

std::optional<Export> ParseAutomountValue(std::string value) {
    while (!value.empty() && (value.back() == ' ' || value.back() == '\t'))
        value.pop_back();
    const size_t nfs = value.find(kNfs);
    if (nfs == std::string::npos || !value.ends_with("/&")) return std::nullopt;
    value.resize(value.size() - 2);
    size_t at = value.find_first_not_of(' ', nfs + kNfs.size());
    if (at == std::string::npos || value[at] == '-') return std::nullopt;
    std::string clear;
    for (; at < value.size(); ++at) {
        const bool escape = value[at] == '\\' && at + 1 < value.size() &&
                            std::string_view("$ &").find(value[at + 1]) != std::string_view::npos;
        if (!escape) clear += value[at];
    }
    return ParseExport(clear);
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
    const std::optional<Export> place = ExportFor(directory);
    ZAFOUSER *read = nullptr;
    const int found = directory.Run(
        dn, [&] { return ZAFOLDAPBrowserUserGet(directory.Record(), dn.c_str(), &read, nullptr); });
    const std::unique_ptr<ZAFOUSER, FreeUser> user(read);
    if (found == 0) throw OwnFailure("user_missing", directory.Known(name));
    const std::string where =
        place ? fmt::format("{}:{}/{}", place->host, place->path, name) : "where auto_home says";
    const Json record = {{"name", name}, {"home_folder", where}};
    if (DryRun(session, record, "would make " + where)) return 0;
    const std::optional<Failure> failure = Attempt(session.streams, directory.Known(name), [&] {
        if (!session.invocation.Has("export"))
            return ZAFOLDAPBrowserUserHomeCreate(directory.Record(), user.get());
        return ZAFOLDAPBrowserUserHomeCreateEx(
            fmt::format("{}:{}", place->host, place->path).c_str(), user.get());
    });
    Finish(session, failure, directory.Known(name), name, record);
    return 0;
}

int CreateAllUserHomes(Session &session) {
    AccountDirectory directory(session);
    const std::optional<Export> place = ExportFor(directory);
    if (!place) {
        throw OwnFailure("homes_unpublished", directory.Known(""),
                         "its auto_home map is not of the form \"-fstype=nfs HOST:PATH/&\"");
    }
    const std::string where = fmt::format("{}:{}", place->host, place->path);
    const Json record = {{"export", where}};
    if (DryRun(session, record, fmt::format("would make every user's missing folder in {}", where)))
        return 0;
    const std::optional<Failure> failure = Attempt(session.streams, directory.Known(where), [&] {
        return ZAFOLDAPBrowserUserHomeCreateAll(directory.Record(), place->host.c_str(),
                                                place->path.c_str());
    });
    Finish(session, failure, directory.Known(where), "every user in " + where, record);
    session.streams.Note("a folder that could not be made is named in the system log");
    return 0;
}

}  // namespace zafo::cli
