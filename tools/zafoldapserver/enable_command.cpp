// SPDX-License-Identifier: Apache-2.0
//
// enable: everything that can be checked is checked first; a later failure leaves something behind,
// and the message says what, and how to continue.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/ascii.h"
#include "base/dn.h"
#include "base/unique_fd.h"
#include "base/write_all.h"
#include "platform/service.h"
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/cli/saved_connection.h"
#include "tools/cli/secret.h"
#include "tools/zafoldapserver/admin_account.h"
#include "tools/zafoldapserver/commands.h"
#include "tools/zafoldapserver/differences.h"
#include "tools/zafoldapserver/enable_checks.h"
#include "tools/zafoldapserver/server_lock.h"
#include "tools/zafoldapserver/server_names.h"
#include "zafoldap/server.h"

namespace zafo::cli {

namespace {

struct Enabling {
    LocalServer before;
    WantedServer wanted;
    std::string password;
    std::vector<Difference> differences;
    std::vector<std::string> checks;
};

// A suffix that differs from this server's only in case is taken as the server has it.
void ReadNames(const Session &session, Enabling &job) {
    job.wanted.suffix = CheckedSuffix(session.Argument("suffix"));
    const bool same = EqualIgnoringCase(job.before.suffix, job.wanted.suffix);
    if (same) job.wanted.suffix = job.before.suffix;
    const std::string *given = session.invocation.Find("admin-dn");
    if (given != nullptr) {
        job.wanted.admin_dn = CheckedAdminDn(*given, job.wanted.suffix);
    } else {
        job.wanted.admin_dn = same && !job.before.admin_dn.empty()
                                  ? job.before.admin_dn
                                  : "cn=admin," + job.wanted.suffix;
    }
}

// The password of the saved connection; std::nullopt if it has none, points elsewhere, or came with
// another machine's backup, which only that machine can decrypt.
std::optional<std::string> SavedPassword(const LocalServer &server) {
    const std::optional<Connection> saved = FindConnection(kOwnConnection);
    if (!saved || !saved->password_stored || !SameDn(saved->base, server.suffix) ||
        !SameDn(saved->bind_dn, server.admin_dn)) {
        return std::nullopt;
    }
    try {
        const Host host = OpenConnection(kOwnConnection, *saved);
        return host.Record().szBindPasswd;
    } catch (const Failure &failure) {
        if (failure.id != Message::kPasswordUndecipherable) throw;
        return std::nullopt;
    }
}

bool PasswordIsGiven(const Session &session) {
    const Invocation &invocation = session.invocation;
    return invocation.Has("password-stdin") || invocation.Has("password-file") ||
           invocation.Has("random-password");
}

std::string TakeServerPassword(Session &session, const std::string &admin_dn) {
    if (session.invocation.Has("random-password")) return RandomPassword();
    std::string password = TakePassword(session.streams, session.invocation, admin_dn);
    CheckServerPassword(password);
    return password;
}

// A server that is set up keeps its password unless another one is given. With --dry-run there is
// no prompt.
void ReadPassword(Session &session, Enabling &job, const std::optional<std::string> &saved) {
    const bool given = PasswordIsGiven(session);
    if (!given && saved && job.before.SetUp()) {
        job.password = *saved;
    } else if (given || !session.Options().dry_run) {
        job.password = TakeServerPassword(session, job.wanted.admin_dn);
    }
}

Json DifferencesAsJson(const std::vector<Difference> &differences) {
    Json list = Json::array();
    for (const Difference &one : differences)
        list.push_back({{"id", one.id}, {"text", one.text}});
    return list;
}

std::vector<std::string> Urls() {
    std::vector<std::string> urls;
    for (const ListenAddress &address : ListenAddresses())
        urls.push_back(address.url);
    return urls;
}

Json Result(const Enabling &job) {
    return {{"suffix", job.wanted.suffix},
            {"admin_dn", job.wanted.admin_dn},
            {"addresses", Urls()},
            {"authority", kAuthority},
            {"first_time", !job.before.SetUp()},
            {"differences", DifferencesAsJson(job.differences)}};
}

// From now on the connection "root" is this server's, whatever it was before.
void SayWhatIsReplaced(Session &session, const Enabling &job) {
    const std::optional<Connection> saved = FindConnection(kOwnConnection);
    if (!saved || SameDn(saved->base, job.wanted.suffix)) return;
    session.streams.Note(fmt::format("replaced: the saved connection \"root\" to {} ({})",
                                     saved->Servers(), OneLine(saved->base)));
}

int DryRun(Session &session, const Enabling &job) {
    Streams &streams = session.streams;
    const std::vector<std::string> files = {kSlapdConf, kAccessRules, kConnectionFile,
                                            kDatabaseFolder};
    if (session.WantsJson()) {
        Json result = Result(job);
        result["checks"] = job.checks;
        result["would_write"] = files;
        session.document.Whole(result);
        return 0;
    }
    streams.Note("dry run: nothing is changed");
    SayWhatIsReplaced(session, job);
    for (const std::string &check : job.checks)
        streams.Out(fmt::format("ok        {}\n", OneLine(check)));
    if (job.before.SetUp() && job.differences.empty()) {
        streams.Out("nothing to do: the server is set up and running\n");
        return 0;
    }
    for (const Difference &one : job.differences)
        streams.Out(fmt::format("differs   {}\n", OneLine(one.text)));
    streams.Out(fmt::format("suffix    {}\nadmin DN  {}\n", OneLine(job.wanted.suffix),
                            OneLine(job.wanted.admin_dn)));
    for (const std::string &file : files)
        streams.Out(fmt::format("writes    {}\n", file));
    streams.Out(
        "adds      whichever of these are missing: cn=users, cn=groups, the pool of numbers, the "
        "Samba domain, the groups users, Directory Operators and administrators, the user admin\n");
    return 0;
}

// A file changed by hand is kept beside the new one.
void KeepBefore(Session &session, const char *path) {
    const std::string kept = std::string(path) + ".before";
    const std::optional<std::string> text = ReadTextFile(path);
    if (!text) return;
    unlink(kept.c_str());
    const UniqueFd fd(open(kept.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!fd.IsOpen() || !WriteAll(fd.Get(), *text))
        throw OwnFailure(Message::kFolderUnwritable,
                         {.subject = kept, .reason = std::strerror(errno)});
    session.streams.Note(fmt::format("{} is kept as {}", path, kept));
}

// How far the library got, judged by what exists now.
std::string StateAfterFailure(const Enabling &job, const LocalServer &now) {
    if (!SameDn(now.suffix, job.wanted.suffix))
        return fmt::format("{} could not be written", kSlapdConf);
    if (access(kAccessRules, R_OK) != 0) return "the access rules could not be written";
    if (ZAFOLDAPServerDBIsEmpty() == 1) return "nothing could be loaded into the database";
    if (!now.Running())
        return "the database was created, at least in part, but the server is not running";
    return "the server is running, but a default group or the user admin could not be added";
}

[[noreturn]] void FailToEnable(Session &session, const Enabling &job) {
    const Failure cause = LatestFailure(session.streams, {.server = "the server"});
    const LocalServer now = LookAtServer();
    const std::string interrupted = Interrupted() ? "interrupted, and " : "";
    Failure failure =
        OwnFailure(Message::kEnableFailed, {.reason = interrupted + StateAfterFailure(job, now)},
                   cause.detail);
    if (Interrupted()) failure.exit_code = 130;
    throw failure;
}

void Enable(Session &session, const Enabling &job) {
    Streams &streams = session.streams;
    for (const Difference &one : job.differences) {
        if (one.id == "configuration") KeepBefore(session, kSlapdConf);
        if (one.id == "access-rules") KeepBefore(session, kAccessRules);
    }
    ForgetErrors(streams);
    streams.Note("enabling the service ldap-server");
    if (QLIBServiceEnable(kServerService) != 0)
        throw OwnFailure(Message::kServiceMissing, {.subject = kServerService},
                         streams.ToolWords());
    streams.Note(
        "writing configuration, connection \"root\" and access rules, filling the database, "
        "starting the server (a few seconds)");
    ZAFOLDAP_SERVER_PARAM settings{};
    settings.szSuffix = job.wanted.suffix.c_str();
    settings.szRootDN = job.wanted.admin_dn.c_str();
    settings.szRootPW = job.password.c_str();
    if (ZAFOLDAPServerEnable(&settings) != 0) FailToEnable(session, job);
    if (RemoveAdministratorsSambaHash(streams, job.wanted.suffix, job.password))
        streams.Note(
            "the user admin has the administrator's password for LDAP and none for Samba: zafoldap "
            "user passwd admin gives it its own");
}

std::string ForTheLog(const Enabling &job) {
    std::vector<std::string> ids;
    for (const Difference &one : job.differences)
        ids.push_back(one.id);
    return fmt::format("suffix=\"{}\" admin=\"{}\" changed={}", job.wanted.suffix,
                       job.wanted.admin_dn, job.before.SetUp() ? LoggedNames(ids) : "all");
}

// The addresses for clients, by the machine's own host name.
std::string AddressesForClients() {
    std::array<char, 256> own{};
    gethostname(own.data(), own.size() - 1);
    std::string text;
    for (const ListenAddress &address : ListenAddresses()) {
        const std::string url = address.host.empty()
                                    ? fmt::format("{}://{}:{}", address.tls ? "ldaps" : "ldap",
                                                  own.data(), address.port)
                                    : address.url;
        text += fmt::format("{}{}{}", text.empty() ? "" : " or ", url,
                            address.tls ? "" : " with StartTLS");
    }
    return text;
}

bool Differs(const Enabling &job, std::string_view id) {
    return std::ranges::find(job.differences, id, &Difference::id) != job.differences.end();
}

void SayHowToGoOn(Session &session, const Enabling &job) {
    Streams &streams = session.streams;
    streams.Note(fmt::format("the server is running: suffix {}, administrator {}",
                             job.wanted.suffix, job.wanted.admin_dn));
    if (Differs(job, "password"))
        streams.Note(
            "  password    is the administrator's; the user admin keeps its own: zafoldap user "
            "passwd admin");
    if (job.before.SetUp()) return;
    streams.Note(fmt::format(
        "  accounts    zafoldap user add NAME --full-name 'FIRST LAST'\n"
        "  clients     connect to {}, and trust {}\n"
        "  health      zafoldapserver check\n"
        "  backups     zafoldapserver backup config set --dir DIR --schedule 'daily 04:00'",
        AddressesForClients(), kAuthority));
}

int EnableServer(Session &session) {
    Enabling job;
    job.before = LookAtServer();
    ReadNames(session, job);
    RequireRoot(session);
    const Staging staging;
    job.wanted.configuration = staging.Configuration(job.wanted.suffix, job.wanted.admin_dn);
    job.wanted.rules = staging.AccessRules(job.wanted.suffix);
    job.checks = CheckBeforeEnabling(session.streams, job.before, job.wanted, staging);
    const std::optional<std::string> saved = SavedPassword(job.before);
    ReadPassword(session, job, saved);
    if (job.before.SetUp())
        job.differences =
            DifferencesOf(job.before, job.wanted, staging, job.password, saved.value_or(""));
    if (session.Options().dry_run) return DryRun(session, job);
    const bool nothing = job.before.SetUp() && job.differences.empty();
    if (nothing) {
        session.streams.Note("nothing to do: the server is set up and running");
    } else {
        for (const Difference &one : job.differences)
            session.streams.Note("differs: " + OneLine(one.text));
        SayWhatIsReplaced(session, job);
        const ServerLock lock;
        LoggedChange(session, kLoggedServer, ForTheLog(job), [&] { Enable(session, job); });
        PrintRandomPassword(session, job.password);
    }
    if (session.WantsJson()) {
        Json result = Result(job);
        if (session.invocation.Has("random-password")) result["password"] = job.password;
        session.document.Whole(result);
    }
    if (!nothing) SayHowToGoOn(session, job);
    return 0;
}

}  // namespace

Command EnableCommand() {
    return {.noun = "enable",
            .run = EnableServer,
            .summary = "Set up and start the directory server",
            .description =
                "Sets up a server from scratch and starts it: enables the service, writes its "
                "configuration and access rules, saves the connection \"root\" for zafoldap, "
                "creates the database and the certificates, starts the server and adds the groups "
                "users, Directory Operators and administrators and the user admin, who has the "
                "administrator's password.\n\n"
                "Everything is checked before anything changes: the names, the password, the "
                "folders, the space, the ports, and whether slapd accepts the configuration.\n\n"
                "On a server that is already set up it reports and fixes any differences from the "
                "request, or says that there is nothing to do. Accounts never change. The password "
                "stays unless a new one is given. Files changed by hand are kept with \".before\" "
                "appended to their names.\n\n"
                "The suffix cannot be changed: another one needs zafoldapserver reset first.",
            .options = {{.name = "suffix",
                         .value = "DN",
                         .help = "the directory's suffix, such as dc=example,dc=com: it starts "
                                 "with \"dc=\" and consists of dc, o, ou, c, l, st and cn",
                         .required = true},
                        {.name = "admin-dn",
                         .value = "DN",
                         .help = "the administrator, below the suffix (default: the server's "
                                 "current one, or cn=admin,SUFFIX)"},
                        kPasswordStdin,
                        kPasswordFile,
                        kRandomPassword},
            .exclusive = {{"password-stdin", "password-file", "random-password"}},
            .examples = {{"zafoldapserver enable --suffix dc=example,dc=com",
                          "prompts for the administrator's password"},
                         {"zafoldapserver enable --suffix dc=example,dc=com --random-password",
                          "generates a password and prints it"},
                         {"zafoldapserver enable --suffix dc=example,dc=com --dry-run",
                          "what would be checked, written and fixed"}},
            .exits = {4, 5, 7, 8, 130}};
}

}  // namespace zafo::cli
