// SPDX-License-Identifier: Apache-2.0
//
// migrate users and migrate groups: compares both sides, asks, copies, and checks the outcome.
#include <algorithm>
#include <set>

#include <fmt/format.h>

#include "tools/cli/display_text.h"
#include "tools/cli/listing.h"
#include "tools/cli/progress.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/commands.h"
#include "tools/zafoldap/migration.h"

namespace zafo::cli {

namespace {

const Fields kFields = {
    {"name", "NAME"}, {"number", "NUMBER"}, {"result", "RESULT"}, {"reason", "REASON"}};

constexpr std::string_view kRefused = "it was refused: the system log has the reason";
constexpr std::string_view kNotReached = "it was not reached";

struct Job {
    Session &session;
    const AccountKind &kind;
    bool to_local;

    std::string Where() const { return to_local ? "this system" : "the directory"; }
    // "1 user", "3 groups"
    std::string Counted(size_t count) const { return cli::Counted(count, kind.noun); }
    // The command itself, to run again.
    std::string Again() const {
        return CommandLine(
            session, "migrate",
            {std::string(kind.noun) + "s", "--to", to_local ? "local" : "directory"});
    }
};

std::string_view WordFor(Result result, bool dry_run) {
    switch (result) {
        case Result::kAdd:
            return dry_run ? "add" : "added";
        case Result::kThere:
            return "there";
        case Result::kRefuse:
            return "refused";
        case Result::kSkip:
            break;
    }
    return "skipped";
}

Json RowOf(const Decision &decision, bool dry_run) {
    const Candidate &account = decision.account;
    return {{"name", account.name},
            {"number", account.number ? Json(*account.number) : Json()},
            {"result", WordFor(decision.result, dry_run)},
            {"reason", TextOrNull(decision.reason)}};
}

// Accounts that need attention come last, where a terminal still shows them.
void PutSkippedLast(std::vector<Decision> &plan) {
    std::ranges::stable_sort(plan, {}, [](const Decision &decision) {
        return 2 * static_cast<int>(decision.result) + (decision.reason.empty() ? 0 : 1);
    });
}

void Print(const Job &job, std::vector<Decision> plan, bool dry_run, bool ok) {
    Session &session = job.session;
    const Fields fields = Chosen(kFields, session.Options());
    PutSkippedLast(plan);
    if (!session.WantsJson()) {
        ListWriter writer(session.streams, session.document, fields);
        for (const Decision &decision : plan)
            writer.Write(RowOf(decision, dry_run));
        writer.Finish(ok, /*complete=*/true);
        return;
    }
    Json accounts = Json::array();
    for (const Decision &decision : plan)
        accounts.push_back(Picked(fields, RowOf(decision, dry_run)));
    Json counts = Json::object();
    for (const Result result : {Result::kAdd, Result::kThere, Result::kSkip, Result::kRefuse})
        counts[WordFor(result, dry_run)] = CountOf(plan, result);
    session.document.Whole({{"what", std::string(job.kind.noun) + "s"},
                            {"to", job.to_local ? "local" : "directory"},
                            {"dry_run", dry_run},
                            {"counts", std::move(counts)},
                            {"accounts", std::move(accounts)}},
                           ok);
}

// "3 users added to the directory, 2 there already, 1 skipped"
std::string Summary(const Job &job, const std::vector<Decision> &plan, std::string_view added) {
    const size_t refused = CountOf(plan, Result::kRefuse);
    return fmt::format("{} {} to {}, {} already there, {} skipped{}",
                       job.Counted(CountOf(plan, Result::kAdd)), added, job.Where(),
                       CountOf(plan, Result::kThere), CountOf(plan, Result::kSkip),
                       refused == 0 ? "" : fmt::format(", {} refused", refused));
}

// Users whose password no one knows.
std::vector<std::string> WithoutPassword(const std::vector<Decision> &plan) {
    std::vector<std::string> names;
    for (const Decision &decision : plan) {
        if (decision.result == Result::kAdd && decision.account.foreign_hash)
            names.push_back(decision.account.name);
    }
    return names;
}

std::string ForAsManyAs(size_t most, const std::vector<std::string> &names) {
    std::string text;
    for (size_t i = 0; i < std::min(most, names.size()); ++i)
        text += (i > 0 ? ", " : "") + names[i];
    return text + (names.size() > most ? fmt::format(" and {} more", names.size() - most) : "");
}

// What remains to be done besides the accounts, with the commands.
void TellWhatIsLeft(const Job &job, const std::vector<Decision> &plan, bool dry_run) {
    constexpr size_t kMost = 20;
    Streams &streams = job.session.streams;
    const std::vector<std::string> locked = WithoutPassword(plan);
    if (job.to_local && !locked.empty()) {
        streams.Note(
            fmt::format("{} without a password on this system, because the directory's is not a "
                        "{{crypt}} hash: {}. passwd NAME sets one{}",
                        job.Counted(locked.size()), OneLine(ForAsManyAs(kMost, locked)),
                        dry_run ? " then" : ""));
    }
    const auto refused = std::ranges::find(plan, Result::kRefuse, &Decision::result);
    if (refused == plan.end()) return;
    streams.Note(
        fmt::format("{} refused as system accounts; to copy one anyway, as far as the system "
                    "permits: {} --allow {}",
                    job.Counted(CountOf(plan, Result::kRefuse)), job.Again(),
                    CommandWord(refused->account.name)));
}

void Log(const Job &job, const std::vector<Decision> &plan) {
    for (const Decision &decision : plan) {
        if (decision.result == Result::kAdd)
            LogCopy(job.session, job.kind, job.to_local, decision.account.name, "done");
    }
}

// Throws unless every account is on the other side.
void ThrowUnlessWhole(const Job &job, const std::vector<Decision> &plan, const MigrationEnd &end) {
    const size_t skipped = CountOf(plan, Result::kSkip) + CountOf(plan, Result::kRefuse);
    const std::string summary = Summary(job, plan, "added");
    if (end.stopped)
        throw OwnFailure(Message::kMigrationStopped, {.subject = summary, .finish = job.Again()});
    if (skipped == 0) return;
    if (skipped < plan.size())
        throw OwnFailure(Message::kMigrationPartial, {.subject = summary, .finish = job.Again()});
    if (end.failure) throw *end.failure;
    throw OwnFailure(Message::kMigrationFailed,
                     {.subject = fmt::format("no {} was added to {}", job.kind.noun, job.Where()),
                      .reason = "all were skipped"});
}

// Asks if there is anything to add.
void AskFor(const Job &job, const std::vector<Decision> &plan) {
    const size_t count = CountOf(plan, Result::kAdd);
    if (count == 0) return;
    const std::string what = fmt::format("{} to {}", job.Counted(count), job.Where());
    std::vector<std::string> details = {Summary(job, plan, "to add")};
    if (const size_t locked = WithoutPassword(plan).size(); job.to_local && locked > 0)
        details.push_back(job.Counted(locked) + " of them will have no password");
    Confirm(job.session, "adding " + what, fmt::format("Add {}?", what), details);
}

std::set<std::string> AllowedNames(const Session &session) {
    const std::vector<std::string> names = SplitNames(session.invocation.All("allow"));
    return {names.begin(), names.end()};
}

// A name that no account has is an error.
void CheckAllowed(const AccountDirectory &directory, const AccountKind &kind,
                  const std::vector<Candidate> &source) {
    for (const std::string &name : AllowedNames(directory.TheSession())) {
        if (std::ranges::count(source, name, &Candidate::name) == 0)
            throw OwnFailure(Message::kAllowedMissing,
                             {.subject = OneLine(name), .reason = std::string(kind.noun)});
    }
}

MigrationEnd Copy(const Job &job, const Migration &migration, std::vector<Decision> &plan,
                  const std::vector<Candidate> &source, const Target &target) {
    MigrationEnd end;
    if (const size_t count = CountOf(plan, Result::kAdd); count > 0) {
        {
            Progress progress(job.session, fmt::format("adding {}s", job.kind.noun), count);
            end = migration.Run(plan, target, [&](size_t done) { progress.Show(done); });
        }
        Settle(plan, migration.ReadTarget(source).taken, end.stopped ? kNotReached : kRefused);
        Log(job, plan);
    }
    return end;
}

int MigrateAccounts(Session &session) {
    const Job job{session, session.Argument("WHAT") == "users" ? kUserKind : kGroupKind,
                  *session.invocation.Find("to") == "local"};
    RequireRoot(session);
    const AccountDirectory directory(session, job.kind);
    if (!job.to_local) directory.RequireContainer(std::string(job.kind.container));
    const Migration migration(directory, job.kind, job.to_local, AllowedNames(session));
    const std::vector<Candidate> source = migration.ReadSource();
    CheckAllowed(directory, job.kind, source);
    const Target target = migration.ReadTarget(source);
    std::vector<Decision> plan = PlanMigration(source, target);
    if (session.Options().dry_run) {
        Print(job, plan, /*dry_run=*/true, /*ok=*/true);
        TellWhatIsLeft(job, plan, /*dry_run=*/true);
        session.streams.Note(Summary(job, plan, "to add"));
        return 0;
    }
    AskFor(job, plan);
    const MigrationEnd end = Copy(job, migration, plan, source, target);
    const bool whole =
        CountOf(plan, Result::kSkip) + CountOf(plan, Result::kRefuse) == 0 && !end.stopped;
    Print(job, plan, /*dry_run=*/false, whole);
    TellWhatIsLeft(job, plan, /*dry_run=*/false);
    ThrowUnlessWhole(job, plan, end);
    session.streams.Note(Summary(job, plan, "added"));
    return 0;
}

}  // namespace

Command MigrateCommand() {
    return {
        .noun = "migrate",
        .run = MigrateAccounts,
        .summary = "Copy all users or groups to the directory, or to this system",
        .description =
            "Copies the ordinary accounts of this system (/etc/passwd and /etc/group) to the "
            "directory, or those of the directory to this system, and reports the result for each. "
            "Existing accounts are neither deleted nor changed: an account whose name or number is "
            "taken is skipped. The command can be repeated; it adds what is missing. When copying "
            "to this system, copy groups first: a user needs its primary group there.\n\n"
            "Accounts that would act as system accounts are refused: names that operating systems "
            "and packages use (root, sudo, docker, disk, shadow and the like), numbers below "
            "UID_MIN and GID_MIN of /etc/login.defs, above 2147483647 or with a special meaning, "
            "and on this system a primary group that belongs to the system, a home folder like / "
            "or /root, and a login shell that is not in /etc/shells. --allow NAME copies one "
            "account anyway, as far as this system permits. A user is not copied to the directory "
            "if groups there already list the name but groups here do not, unless "
            "--keep-memberships is given.\n\n"
            "Password hashes are copied unchanged, including Samba's if the directory has "
            "sambaSamAccount. This system can only use {crypt} hashes: users with any other are "
            "named, and have no password until passwd(1) sets one. Mail addresses and "
            "full names are copied both ways, group descriptions only to the directory. No home "
            "folders are created.\n\n"
            "Asks for confirmation before adding anything; --dry-run shows what would be added and "
            "what would be skipped, and why. Fields: name, number, result (added, or add with "
            "--dry-run; there; skipped; refused), reason. The exit code is 7 when accounts were "
            "skipped or refused.",
        .arguments = {{.name = "WHAT", .help = "users or groups", .choices = {"users", "groups"}}},
        .options = {{.name = "to",
                     .value = "WHERE",
                     .help = "directory, or local (this system)",
                     .choices = {"directory", "local"},
                     .required = true},
                    {.name = "allow",
                     .value = "NAME",
                     .help = "copy this account even though it would be refused",
                     .repeatable = true},
                    {.name = "keep-memberships",
                     .help = "copy users whom groups of the directory already list"},
                    kProgressOption},
        .examples = {{"zafoldap migrate users --to directory --dry-run", "what would be added"},
                     {"zafoldap migrate groups --to local --yes", "without confirmation"}},
        .exits = {4, 6, 7, 8, 130}};
}

}  // namespace zafo::cli
