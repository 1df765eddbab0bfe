// SPDX-License-Identifier: Apache-2.0
//
// user home create and create-all.
#include "tools/zafoldap/user/home.h"

#include <fmt/format.h>

#include "src/accounts/automount_value.h"
#include "src/accounts/nfs_source.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/user/commands.h"

namespace zafo::cli {

namespace {

const Option kExportOption{.name = "export",
                           .value = "HOST:PATH",
                           .help =
                               "the NFS export of the home folders (default: what the directory's "
                               "auto_home map says)"};

// Parses a text that the library accepts.
Export ParseExport(const std::string &text) {
    const size_t colon = text.find(":/", text.starts_with('[') ? text.find(']') : 0);
    Export place{text.substr(0, colon), text.substr(colon + 1)};
    while (place.path.size() > 1 && place.path.ends_with('/'))
        place.path.pop_back();
    return place;
}

// The value of --export, otherwise what the directory publishes. Throws Failure if that is missing
// or of another form.
Export ExportFor(const AccountDirectory &directory) {
    const Session &session = directory.TheSession();
    if (const std::string *given = session.invocation.Find("export")) {
        const char *fault = IsText(*given) ? FaultOfNfsSource(*given) : "it is not UTF-8";
        if (fault != nullptr) {
            RefuseUsage(session,
                        fmt::format("--export {} is not HOST:/PATH: {}", OneLine(*given), fault));
        }
        return ParseExport(*given);
    }
    const std::string value = PublishedHomes(directory);
    if (value.empty()) throw OwnFailure(Message::kHomesUnpublished, directory.FactsAbout(""));
    const std::string fault = FaultOfAutomountValue(value);
    if (!fault.empty()) {
        Facts facts = directory.FactsAbout(value);
        facts.reason = fault;
        throw OwnFailure(Message::kHomesRefused, facts);
    }
    return *ParseAutomountValue(value);
}

void Finish(Session &session, const std::optional<Failure> &failure, const Facts &facts,
            const std::string &whose, const Json &record) {
    if (failure) {
        Facts named = facts;
        named.subject = whose;
        throw OwnFailure(Message::kHomeFailed, named, failure->detail);
    }
    TellResult(session, record,
               fmt::format("home folder of {}: created or already there", OneLine(whose)));
}

// Prints what a dry run would do; returns whether this is one.
bool DryRun(Session &session, const Json &record, const std::string &text) {
    if (!session.Options().dry_run) return false;
    PrintResult(session, record, Printable(text) + "\n");
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

namespace {

int CreateUserHome(Session &session) {
    const std::string &name = session.Argument("NAME");
    CheckName(name);
    AccountDirectory directory(session);
    const std::string dn = directory.Require(kUserKind, name);
    const Export place = ExportFor(directory);
    UserRecord user;
    if (!ReadUser(directory, dn, user))
        throw OwnFailure(Message::kUserMissing, directory.FactsAbout(name));
    const std::string where = fmt::format("{}:{}/{}", place.host, place.path, name);
    const Json record = {{"name", name}, {"home_folder", where}};
    if (DryRun(session, record, "would create " + where)) return 0;
    const std::optional<Failure> failure = directory.Try(name, [&] {
        if (!session.invocation.Has("export"))
            return ZAFOLDAPBrowserUserHomeCreate(directory.Record(), user.Get());
        return ZAFOLDAPBrowserUserHomeCreateEx(fmt::format("{}:{}", place.host, place.path).c_str(),
                                               user.Get());
    });
    Finish(session, failure, directory.FactsAbout(name), name, record);
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
    const std::optional<Failure> failure = directory.Try(where, [&] {
        return ZAFOLDAPBrowserUserHomeCreateAll(directory.Record(), place.host.c_str(),
                                                place.path.c_str());
    });
    Finish(session, failure, directory.FactsAbout(where), "every user in " + where, record);
    session.streams.Note("the system log names folders that could not be created");
    return 0;
}

}  // namespace

Command UserHomeCreateCommand() {
    return {.noun = "user",
            .verb = "home create",
            .run = CreateUserHome,
            .summary = "Create a user's home folder",
            .description =
                "Briefly mounts the NFS export of the home folders and creates the user's folder "
                "in it, owned by the user, mode 0700. An existing folder is left unchanged. Only "
                "root can do this.",
            .arguments = {kUserArgument},
            .options = {kExportOption},
            .examples = {{"zafoldap user home create anna",
                          "in the export that the directory publishes"},
                         {"zafoldap user home create anna --export nas:/volume1/homes",
                          "in an export of your choice"}},
            .exits = {3, 4, 6, 8, 130}};
}

Command UserHomeCreateAllCommand() {
    return {.noun = "user",
            .verb = "home create-all",
            .run = CreateAllUserHomes,
            .summary = "Create all missing home folders",
            .description =
                "Briefly mounts the NFS export of the home folders and creates a folder for every "
                "user without one. A folder that cannot be created is skipped and named in the "
                "system log. Only root can do this.",
            .options = {kExportOption},
            .examples = {{"zafoldap user home create-all",
                          "in the export that the directory publishes"}},
            .exits = {3, 4, 6, 8, 130}};
}

}  // namespace zafo::cli
