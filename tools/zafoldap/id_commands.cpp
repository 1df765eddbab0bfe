// SPDX-License-Identifier: Apache-2.0
//
// id next, id pool show, id check and stat.
#include <algorithm>
#include <charconv>
#include <map>
#include <unordered_set>

#include <fmt/format.h>

#include "base/ascii.h"
#include "tools/cli/change_log.h"
#include "tools/cli/check_steps.h"
#include "tools/cli/display_text.h"
#include "tools/cli/listing.h"
#include "tools/zafoldap/commands.h"
#include "tools/zafoldap/local_accounts.h"
#include "tools/zafoldap/new_account.h"
#include "tools/zafoldap/reserved_account.h"
#include "tools/zafoldap/stale_membership.h"

namespace zafo::cli {

namespace {

const AccountKind &KindOf(const Session &session) {
    return session.Argument("WHICH") == "uid" ? kUserKind : kGroupKind;
}

const Fields kPoolFields = {{"which", "WHICH"}, {"lowest", "LOWEST"}, {"highest", "HIGHEST"},
                            {"next", "NEXT"},   {"used", "USED"},     {"free", "FREE"}};

// The numbers and names of all accounts of a kind, but not their entries.
struct Accounts {
    std::vector<std::uint64_t> numbers = {};     // ascending
    std::unordered_set<std::string> names = {};  // folded
    std::vector<std::string> system_names = {};  // "docker: its members become root …"
    std::vector<std::string> local_names = {};   // that this system uses with another number
};

class AccountReader {
  public:
    explicit AccountReader(const AccountKind &kind) : kind_(kind), local_(LocalAccounts(kind)) {}

    void Take(const Entry &entry) {
        const std::string_view text = FirstValue(entry, kind_.number_attr);
        std::uint64_t number = 0;
        std::from_chars(text.data(), text.data() + text.size(), number);
        if (!text.empty()) accounts_.numbers.push_back(number);
        for (const Attribute &attribute : entry.attributes) {
            if (!EqualIgnoringCase(attribute.name, kind_.name_attr)) continue;
            for (std::string_view name : attribute.values)
                TakeName(name, number);
        }
    }

    Accounts Finish() {
        std::ranges::sort(accounts_.numbers);
        return std::move(accounts_);
    }

  private:
    // Every appliance's directory has its own group "users".
    void TakeName(std::string_view name, std::uint64_t number) {
        accounts_.names.insert(Folded(name));
        const std::string role = RoleOfName(kind_, Folded(name));
        const auto local = local_.find(name);
        if (!role.empty()) {
            accounts_.system_names.push_back(fmt::format("{} ({})", name, role));
        } else if (local != local_.end() && local->second != number && name != "users") {
            accounts_.local_names.push_back(
                fmt::format("{} ({} here, {} in the directory)", name, local->second, number));
        }
    }

    const AccountKind &kind_;
    std::map<std::string, std::uint64_t, std::less<>> local_;
    Accounts accounts_;
};

Accounts AllAccounts(const AccountDirectory &directory, const AccountKind &kind) {
    Search search = directory.SearchFor(
        {.filter = std::string(kind.filter),
         .attributes = {std::string(kind.number_attr), std::string(kind.name_attr)}},
        directory.Saved().base);
    AccountReader reader(kind);
    while (const Entry *entry = search.Next())
        reader.Take(*entry);
    return reader.Finish();
}

constexpr size_t kMostShown = 20;

// "a; b; and 3 more"
std::string Shown(const std::vector<std::string> &texts, std::string_view between = "; ") {
    std::string shown;
    for (size_t i = 0; i < std::min(texts.size(), kMostShown); ++i)
        shown += fmt::format("{}{}", i > 0 ? between : "", texts[i]);
    if (texts.size() > kMostShown)
        shown += fmt::format("{}and {} more", between, texts.size() - kMostShown);
    return shown;
}

size_t CountIn(const std::vector<std::uint64_t> &numbers, std::uint64_t first, std::uint64_t last) {
    return static_cast<size_t>(std::ranges::upper_bound(numbers, last) -
                               std::ranges::lower_bound(numbers, first));
}

// The checks of one kind of account.
class NumberChecks {
  public:
    NumberChecks(const AccountDirectory &directory, const AccountKind &kind)
        : directory_(directory),
          kind_(kind),
          accounts_(AllAccounts(directory, kind)),
          numbers_(accounts_.numbers) {}
    NumberChecks(const NumberChecks &) = delete;
    NumberChecks &operator=(const NumberChecks &) = delete;

    const std::unordered_set<std::string> &Names() const { return accounts_.names; }

    std::vector<CheckStep> Run() const {
        std::vector<CheckStep> steps = {Step("duplicates", Duplicates()),
                                        Step("reserved", Reserved()), Step("system", System()),
                                        Step("names", SystemNames()), Step("local", Local())};
        const std::optional<Pool> pool = directory_.PoolOf(kind_);
        if (!pool) {
            steps.push_back(Step("pool", Skipped("the directory has no pool of numbers")));
            return steps;
        }
        steps.push_back(Step("pool", Outside(*pool)));
        steps.push_back(Step("counter", Counter(*pool)));
        return steps;
    }

  private:
    CheckStep Step(std::string_view name, CheckStep step) const {
        step.step = fmt::format("{} {}", kind_.number, name);
        return step;
    }

    // The accounts with this number.
    std::string Carriers(std::uint64_t number) const {
        std::vector<std::string> names;
        for (const std::string &dn :
             directory_.WithNumber(kind_, static_cast<std::uint32_t>(number)))
            names.push_back(directory_.NameOf(kind_, dn));
        return Enumerated(names);
    }

    // "42 of anna; 43 of bob"; does not query those it does not show.
    std::string WithCarriers(const std::vector<std::uint64_t> &numbers) const {
        std::vector<std::string> texts;
        for (const std::uint64_t number : numbers) {
            texts.push_back(texts.size() < kMostShown
                                ? fmt::format("{} of {}", number, Carriers(number))
                                : std::string());
        }
        return Shown(texts);
    }

    CheckStep Duplicates() const {
        std::vector<std::uint64_t> twice;
        for (size_t i = 1; i < numbers_.size(); ++i) {
            const bool again = numbers_[i] == numbers_[i - 1];
            if (again && (twice.empty() || twice.back() != numbers_[i]))
                twice.push_back(numbers_[i]);
        }
        if (twice.empty())
            return Good(
                fmt::format("{} numbers, each used by one {}", numbers_.size(), kind_.noun));
        return Wrong(
            "the same number: " + WithCarriers(twice),
            fmt::format("assign all but one of them another number: zafoldap {} edit NAME --{} N. "
                        "With several writable servers, take numbers from only one of them",
                        kind_.noun, kind_.number));
    }

    CheckStep Reserved() const {
        std::string detail;
        for (const std::uint64_t number : {std::uint64_t{0}, std::uint64_t{65534},
                                           std::uint64_t{65535}, std::uint64_t{UID_ERR}}) {
            if (CountIn(numbers_, number, number) == 0) continue;
            detail +=
                fmt::format("{}{} of {}", detail.empty() ? "" : "; ", number, Carriers(number));
        }
        if (detail.empty()) return Good("none is 0, 65534, 65535 or 4294967295");
        return Wrong("reserved: " + detail,
                     "0 is the administrator of every machine, and the others stand for \"no "
                     "account\": assign another number");
    }

    // Where the directory is a source of accounts, an account with such a number owns everything
    // that the system's own account owns. A group gains rights that way; a user becomes that
    // account.
    CheckStep System() const {
        constexpr std::uint64_t kLast = 999;
        std::vector<std::uint64_t> low;
        for (const std::uint64_t number : numbers_) {
            if (number > 0 && number <= kLast && (low.empty() || low.back() != number))
                low.push_back(number);
        }
        if (low.empty()) return Good("none is from 1 to 999, the numbers of system accounts");
        return judge_system_(
            "reserved for system accounts: " + WithCarriers(low),
            fmt::format("assign another number: zafoldap {} edit NAME --{} N; clients can be told "
                        "to ignore low ones (nss_min_uid in nslcd.conf)",
                        kind_.noun, kind_.number));
    }

    CheckStep SystemNames() const {
        const std::string rename =
            fmt::format("rename it (zafoldap {} rename) or delete it", kind_.noun);
        if (!accounts_.system_names.empty())
            return judge_system_("reserved for system accounts: " + Shown(accounts_.system_names),
                                 rename);
        if (!accounts_.local_names.empty()) {
            return Warned("also a local account here: " + Shown(accounts_.local_names), rename);
        }
        return Good("none is reserved for system accounts");
    }

    CheckStep Local() const {
        std::string detail;
        std::uint64_t last = UID_ERR;
        for (const std::uint64_t number : numbers_) {
            if (number == last || IsReservedNumber(number)) continue;
            last = number;
            if (number > kHighestLocal) break;
            const auto local = LocalAccount(kind_, static_cast<std::uint32_t>(number));
            if (!local) continue;
            detail += fmt::format("{}{} of {} also belongs to the local {}",
                                  detail.empty() ? "" : "; ", number, Carriers(number), *local);
        }
        if (detail.empty()) return Good("none belongs to a local account");
        return Warned(detail,
                      "each owns the other's files on this system: assign one of them another "
                      "number");
    }

    CheckStep Outside(const Pool &pool) const {
        const size_t inside = CountIn(numbers_, pool.lowest, pool.highest);
        if (inside == numbers_.size())
            return Good(fmt::format("all are in {} to {}", pool.lowest, pool.highest));
        const size_t below = CountIn(numbers_, 0, pool.lowest - 1);
        const std::uint64_t low = below > 0 ? numbers_.front() : numbers_[inside];
        const std::uint64_t high =
            below + inside < numbers_.size() ? numbers_.back() : numbers_[below - 1];
        return Warned(fmt::format("{} of {} numbers are outside the pool {} to {}: from {} to {}",
                                  numbers_.size() - inside, numbers_.size(), pool.lowest,
                                  pool.highest, low, high),
                      "they never come from the pool; other programs may assign them again");
    }

    // The counter allocates the first free number from its position on, so numbers in use above it
    // were assigned by something that did not advance it.
    CheckStep Counter(const Pool &pool) const {
        const std::uint64_t current = directory_.PoolValue(kind_.current);
        if (current < pool.lowest || current > pool.highest) {
            return Warned(fmt::format("the next number, {}, is outside the pool", current),
                          "set cn=CurID,cn=zafoconf to a free number of the pool");
        }
        const size_t ahead = CountIn(numbers_, current, pool.highest);
        if (ahead == 0) return Good(fmt::format("the next number is {}", current));
        return Warned(fmt::format("the counter is at {} and lags behind: {} of the pool's numbers "
                                  "from there on are in use",
                                  current, ahead),
                      "changes were made on two servers of the directory, or numbers assigned by "
                      "hand: take numbers from only one server");
    }

    static constexpr std::uint64_t kHighestLocal = 65533;
    const AccountDirectory &directory_;
    const AccountKind &kind_;
    CheckStep (*const judge_system_)(std::string, std::string) = &kind_ == &kUserKind ? Wrong
                                                                                      : Warned;
    const Accounts accounts_;
    const std::vector<std::uint64_t> &numbers_;
};

// Anyone given such a name is immediately a member.
CheckStep MembershipStep(const AccountDirectory &directory,
                         const std::unordered_set<std::string> &users) {
    const std::vector<StaleMembership> stale = StaleMemberships(directory, users);
    CheckStep step = Good("groups list only existing users");
    if (!stale.empty()) {
        std::vector<std::string> texts;
        for (const StaleMembership &membership : stale) {
            texts.push_back(
                fmt::format("{} lists {}", membership.group.name, Shown(membership.names, ", ")));
        }
        const StaleMembership &first = stale.front();
        const auto judge = GivesRights(first.group.name) ? Wrong : Warned;
        step = judge(
            "no user has these names: " + Shown(texts),
            "a new user with such a name would be a member; remove it: " +
                directory.CommandLine("member remove", {first.group.name, first.names.front()}));
    }
    step.step = "memberships";
    return step;
}

int NextId(Session &session) {
    const AccountKind &kind = KindOf(session);
    const AccountDirectory directory(session, kind);
    const bool pool = directory.Record()->nServerType == ZAFOLDAP_SERVER_ZAFO;
    std::uint64_t number = 0;
    if (session.Options().dry_run && pool) {
        number = directory.PoolValue(kind.current);
        session.streams.Note(
            "dry run: the pool's counter, which does not change; the number itself may be in use");
    } else if (pool) {
        Logged(session, "cn=CurID,cn=zafoconf," + directory.Saved().base,
               {std::string(kind.number_attr)}, [&] { number = SuggestNumber(directory, kind); });
    } else {
        number = SuggestNumber(directory, kind);
    }
    PrintResult(session,
                {{"which", kind.number},
                 {"number", number},
                 {"reserved", pool && !session.Options().dry_run}},
                fmt::format("{}\n", number));
    return 0;
}

Command IdNextCommand() {
    return {.noun = "id",
            .verb = "next",
            .run = NextId,
            .summary = "Get a free user or group number",
            .description =
                "Prints a number that is free, not reserved and not used by a local account. On "
                "the appliance's own kind of server it is taken from the pool and not given out "
                "again; --dry-run prints the pool's counter. Elsewhere it is one more than the "
                "highest in use, and it is not reserved.",
            .arguments = {{.name = "WHICH",
                           .help = "uid for a user, gid for a group",
                           .choices = {"uid", "gid"}}},
            .examples = {{"zafoldap id next uid", "a number for a new user"}},
            .exits = {4, 6, 8, 130}};
}

int ShowIdPool(Session &session) {
    const AccountDirectory directory(session, kUserKind);
    std::vector<Json> rows;
    for (const AccountKind *kind : {&kUserKind, &kGroupKind}) {
        const std::optional<Pool> pool = directory.PoolOf(*kind);
        if (!pool) throw OwnFailure(Message::kNoPool, directory.FactsAbout(directory.Saved().base));
        const size_t used =
            CountIn(AllAccounts(directory, *kind).numbers, pool->lowest, pool->highest);
        const std::uint64_t size =
            pool->highest < pool->lowest ? 0 : pool->highest - pool->lowest + 1;
        rows.push_back({{"which", kind->number},
                        {"lowest", pool->lowest},
                        {"highest", pool->highest},
                        {"next", directory.PoolValue(kind->current)},
                        {"used", used},
                        {"free", size > used ? size - used : 0}});
    }
    PrintList(session.streams, session.document, kPoolFields, rows);
    return 0;
}

Command IdPoolShowCommand() {
    return {.noun = "id",
            .verb = "pool show",
            .run = ShowIdPool,
            .summary = "Show the number pool",
            .description =
                "Shows the limits of the number pools on the appliance's own kind of server, the "
                "next numbers, and how many are used and free. Fields: which, lowest, highest, "
                "next, used, free.",
            .examples = {{"zafoldap id pool show", "both pools"}},
            .exits = {3, 4, 6, 8, 130}};
}

int CheckIds(Session &session) {
    const AccountDirectory directory(session, kUserKind);
    StepPrinter printer(session, /*width=*/16);
    const NumberChecks users(directory, kUserKind);
    for (const CheckStep &step : users.Run())
        printer.Print(step);
    for (const CheckStep &step : NumberChecks(directory, kGroupKind).Run())
        printer.Print(step);
    printer.Print(MembershipStep(directory, users.Names()));
    const size_t failed = printer.Count(StepResult::kFailed);
    printer.Finish(failed == 0);
    if (failed > 0)
        throw OwnFailure(Message::kIdsWrong,
                         {.reason = fmt::format("{} of the checks failed", failed)});
    return 0;
}

Command IdCheckCommand() {
    return {.noun = "id",
            .verb = "check",
            .run = CheckIds,
            .summary = "Check the numbers of users and groups",
            .description =
                "Looks for numbers that several users or several groups share, reserved ones, "
                "those of system accounts (1 to 999) and of local accounts, those outside the "
                "pool, and a counter that lags behind the numbers in use; for names that operating "
                "systems and packages use (root, sudo, docker and the like) or that local accounts "
                "have with another number; and for groups that list users who do not exist, so "
                "that a new user with that name would be a member. For duplicates, reserved "
                "numbers, users with the number or name of a system account, and such a member of "
                "Directory Operators or administrators the exit code is 1; the rest are "
                "warnings.\n\n"
                "In a directory with several writable servers, take numbers from only one of them: "
                "two counters that change at the same time give out the same numbers.",
            .examples = {{"zafoldap id check", "users and groups"},
                         {"zafoldap id check --json", "the same for a monitoring system"}},
            .exits = {4, 6, 8, 130}};
}

}  // namespace

std::vector<Command> IdCommands() {
    return {IdNextCommand(), IdPoolShowCommand(), IdCheckCommand()};
}

}  // namespace zafo::cli
