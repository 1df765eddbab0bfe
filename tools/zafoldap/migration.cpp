// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/migration.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <map>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/ascii.h"
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/cli/forked_call.h"
#include "tools/zafoldap/account_copy.h"
#include "tools/zafoldap/stale_membership.h"

namespace zafo::cli {

namespace {

constexpr int kTickMilliseconds = 300;
// Whether a look-up in the local database found something; throws if the look-up failed.
bool Found(int result, int missing, const std::string &name) {
    if (result == 0) return true;
    const int error = QLIBCErrGet();
    if (error == missing) return false;
    throw LibraryFailure(0, error, {.subject = name}, "");
}

template <typename Find>
std::optional<Candidate> LocalUser(const std::string &name, Find find) {
    UserRecord user;
    if (!Found(find(user.Address()), QLIB_ERR_NO_SUCH_USER, name)) return std::nullopt;
    return Candidate{.name = user->szName, .number = user->pw_uid, .group = user->pw_gid};
}

template <typename Find>
std::optional<Candidate> LocalGroup(const std::string &name, Find find) {
    GroupRecord group;
    if (!Found(find(group.Address()), QLIB_ERR_NO_SUCH_GROUP, name)) return std::nullopt;
    return Candidate{.name = group->szName, .number = group->nGid, .group = std::nullopt};
}

std::optional<Candidate> LocalNamed(const AccountKind &kind, const std::string &name) {
    const char *text = name.c_str();
    if (&kind == &kUserKind)
        return LocalUser(name, [=](ZAFOUSER **user) { return ZAFOUserGetLocal(text, user); });
    return LocalGroup(name, [=](ZAFOGROUP **group) { return ZAFOGroupGetLocal(text, group); });
}

std::optional<Candidate> LocalNumbered(const AccountKind &kind, std::uint32_t number) {
    const std::string name = std::to_string(number);
    if (&kind == &kUserKind)
        return LocalUser(name,
                         [=](ZAFOUSER **user) { return ZAFOUserGetLocalByUID(number, user); });
    return LocalGroup(name,
                      [=](ZAFOGROUP **group) { return ZAFOGroupGetLocalByGID(number, group); });
}

std::vector<std::string> LocalNames(const AccountKind &kind, const Streams &streams) {
    NameList names;
    const auto list = &kind == &kUserKind ? ZAFOUserEnum : ZAFOGroupEnum;
    if (list(names.Address(), ZAFO_ACCOUNT_LOCAL) < 0)
        throw LibraryFailure(0, QLIBCErrGet(), {}, streams.ToolWords());
    return names.Names();
}

// Distributions give this group, numbered below the ordinary range, to users as their primary one.
constexpr std::string_view kUsersGroup = "users";

bool IsLocalMember(const std::string &group, const std::string &user) {
    GroupRecord local;
    if (ZAFOGroupGetLocal(group.c_str(), local.Address()) != 0) return false;
    for (char **member = local->pszMembers; member != nullptr && *member != nullptr; ++member) {
        if (user == *member) return true;
    }
    return false;
}

// An empty value or 32 times "X" is not a hash.
bool IsSambaHash(std::string_view hash) {
    return hash.find_first_not_of('X') != std::string_view::npos;
}

// Of a local user.
bool HasSambaHashes(const std::string &name) {
    char lm_hash[33] = "", nt_hash[33] = "";
    if (QLIBUserSmbPasswdGet(name.c_str(), lm_hash, sizeof lm_hash, nt_hash, sizeof nt_hash) != 0)
        throw LibraryFailure(0, QLIBCErrGet(), {.subject = name}, "");
    return IsSambaHash(lm_hash) || IsSambaHash(nt_hash);
}

// Every account of a kind in the directory. Password details are filled in only if requested.
std::vector<Candidate> DirectoryAccounts(const AccountDirectory &directory, const AccountKind &kind,
                                         bool passwords) {
    Query query{.filter = fmt::format("({})", kind.filter),
                .attributes = {std::string(kind.name_attr), "uidNumber", "gidNumber"}};
    if (passwords) {
        query.attributes.insert(query.attributes.end(), {"homeDirectory", "loginShell"});
        for (const char *secret : {"userPassword", "sambaNTPassword", "sambaLMPassword"})
            query.attributes.emplace_back(secret);
    }
    Search search = directory.SearchFor(std::move(query), directory.Saved().base);
    std::vector<Candidate> accounts;
    while (const Entry *entry = search.Next()) {
        Candidate account{
            .name = std::string(FirstValue(*entry, kind.name_attr)),
            .number = WholeNumber<std::uint32_t>(FirstValue(*entry, kind.number_attr)),
            .group = std::nullopt};
        if (account.name.empty()) account.name = entry->dn;
        account.dn = entry->dn;
        account.home = FirstValue(*entry, "homeDirectory");
        account.shell = FirstValue(*entry, "loginShell");
        if (&kind == &kUserKind)
            account.group = WholeNumber<std::uint32_t>(FirstValue(*entry, "gidNumber"));
        account.foreign_hash = passwords && !IsCryptHash(FirstValue(*entry, "userPassword"));
        account.samba_hashes = IsSambaHash(FirstValue(*entry, "sambaNTPassword")) ||
                               IsSambaHash(FirstValue(*entry, "sambaLMPassword"));
        accounts.push_back(std::move(account));
    }
    return accounts;
}

// What the copying process reports to the one that waits for it.
struct Outcome {
    int result;
    int library_error;
    int platform_error;
};

// Runs in a process group of its own: the terminal's Ctrl-C is for the waiting process.
Outcome RunApart(const std::function<int()> &call, pid_t parent) {
    setpgid(0, 0);
    signal(SIGINT, SIG_IGN);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(1);
    const int result = call();
    return {result, ZAFOLDAPErrGet(), QLIBCErrGet()};
}

}  // namespace

void LogCopy(const Session &session, const AccountKind &kind, bool to_local,
             const std::string &name, std::string_view result) {
    LogChange(fmt::format("migrate {}s", kind.noun), "connection=" + session.Options().connection,
              fmt::format("to={} name=\"{}\"", to_local ? "local" : "directory", OneLine(name)),
              result);
}

std::vector<Candidate> Migration::ReadSource() const {
    if (to_local_) return DirectoryAccounts(directory_, kind_, &kind_ == &kUserKind);
    std::vector<Candidate> accounts;
    for (const std::string &name : LocalNames(kind_, directory_.Out())) {
        if (std::optional<Candidate> account = LocalNamed(kind_, name))
            accounts.push_back(std::move(*account));
    }
    if (&kind_ == &kUserKind) ReadListed(accounts);
    return accounts;
}

// Groups are copied with their members before the users exist, so membership in this system's group
// of the same name is intended.
void Migration::ReadListed(std::vector<Candidate> &users) const {
    std::map<std::string, Candidate *> by_name;
    for (Candidate &user : users)
        by_name.emplace(Folded(user.name), &user);
    EachMember(directory_, [&](const Account &group, const std::string &name) {
        const auto found = by_name.find(Folded(name));
        if (found == by_name.end()) return;
        std::vector<std::string> &listed = found->second->listed;
        if (std::ranges::count(listed, group.name) == 0 &&
            !IsLocalMember(group.name, found->second->name))
            listed.push_back(group.name);
    });
}

Target Migration::ReadTarget(const std::vector<Candidate> &source) const {
    Target target{.kind = kind_,
                  .local = to_local_,
                  .taken = TakenAccounts(/*fold_case=*/!to_local_),
                  .bounds = ReadSystemBounds(),
                  .allowed = allowed_,
                  .keep_memberships = directory_.TheSession().invocation.Has("keep-memberships")};
    const bool users = &kind_ == &kUserKind;
    if (!to_local_) {
        for (const Candidate &account : DirectoryAccounts(directory_, kind_, false))
            target.taken.Add(account.name, account.number);
        if (!users) return target;
        for (const Candidate &group : DirectoryAccounts(directory_, kGroupKind, false)) {
            if (group.number) target.groups.insert(*group.number);
        }
        return target;
    }
    const auto take = [&](const std::optional<Candidate> &local) {
        if (local) target.taken.Add(local->name, local->number);
    };
    for (const Candidate &account : source) {
        const std::optional<Candidate> there = LocalNamed(kind_, account.name);
        take(there);
        if (users && there && account.samba_hashes && !HasSambaHashes(account.name))
            target.without_samba_hashes.insert(account.name);
        if (account.number) take(LocalNumbered(kind_, *account.number));
        if (!account.group) continue;
        const std::optional<Candidate> group = LocalNumbered(kGroupKind, *account.group);
        if (group) target.groups.insert(*account.group);
        if (group && group->name == kUsersGroup) target.for_users.insert(*account.group);
    }
    if (users) target.remained = directory_.Run(kAccountConf, QLIBUserNumRemained);
    return target;
}

// Accounts that cannot be copied are logged and skipped.
int Migration::Copy(const std::vector<Decision> &plan, const Target &target) const {
    for (const Decision &decision : plan) {
        if (decision.result != Result::kAdd) continue;
        const std::string failed = CopyAccount(directory_, decision.account, target);
        if (failed.empty()) continue;
        LogCopy(directory_.TheSession(), kind_, to_local_, decision.account.name,
                fmt::format("failed ({})", OneLine(failed)));
    }
    return 0;
}

size_t Migration::CountTarget() const {
    if (to_local_) return LocalNames(kind_, directory_.Out()).size();
    const int count = ZAFOLDAPBrowserStatUGNum(directory_.Record(), kind_.noun.data());
    return count < 0 ? 0 : static_cast<size_t>(count);
}

MigrationEnd Migration::Run(const std::vector<Decision> &plan, const Target &target,
                            const std::function<void(size_t)> &show) const {
    const size_t before = CountTarget();
    const auto show_now = [&] {
        const size_t now = CountTarget();
        if (now > before) show(now - before);
    };
    ForgetErrors(directory_.Out());
    show(0);
    ForkedCall<Outcome> worker(
        [&, parent = getpid()] { return RunApart([&] { return Copy(plan, target); }, parent); });
    setpgid(worker.Pid(), worker.Pid());
    while (!worker.Ended(kTickMilliseconds)) {
        if (Interrupted()) {
            worker.End();  // its current account is copied completely or not at all
            ForgetInterrupt();
            return {.stopped = true};
        }
        show_now();
    }
    show_now();
    const std::optional<Outcome> outcome = worker.Result();
    MigrationEnd end;
    if (!outcome) {
        end.failure = OwnFailure(Message::kMigrationFailed, {.subject = "the migration was aborted",
                                                             .reason = "the copying process died"});
    } else if (outcome->result < 0) {
        end.failure = LibraryFailure(outcome->library_error, outcome->platform_error,
                                     directory_.FactsAbout(directory_.Saved().base),
                                     directory_.Out().ToolWords());
    }
    return end;
}

}  // namespace zafo::cli
