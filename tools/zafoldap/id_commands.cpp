// SPDX-License-Identifier: Apache-2.0
//
// id next, id pool show, id check and stat.
#include "tools/cli/change_log.h"
#include "tools/cli/check_steps.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_checks.h"

#include "tools/cli/listing.h"
#include "tools/zafoldap/handlers.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace zafo::cli {

namespace {

const AccountKind &KindOf(const Session &session) {
    return session.Argument("WHICH") == "uid" ? kUserKind : kGroupKind;
}

const Fields kPoolFields = {{"which", "WHICH"}, {"lowest", "LOWEST"}, {"highest", "HIGHEST"},
                            {"next", "NEXT"},   {"used", "USED"},     {"free", "FREE"}};

// The numbers of all accounts of a kind, ascending; a number is kept, not its entry.
std::vector<std::uint64_t> AllNumbers(const AccountDirectory &directory, const AccountKind &kind) {
    Search search(directory.Out(), directory.TheHost(),
                  {.base = std::nullopt,
                   .filter = std::string(kind.filter),
                   .attributes = {std::string(kind.number_attr)}},
                  directory.Known(directory.Saved().base));
    std::vector<std::uint64_t> numbers;
    while (const Entry *entry = search.Next()) {
        if (entry->attributes.empty()) continue;
        const std::string_view text = entry->attributes.front().values.front();
        std::uint64_t number = 0;
        std::from_chars(text.data(), text.data() + text.size(), number);
        numbers.push_back(number);
    }
    std::ranges::sort(numbers);
    return numbers;
}

size_t CountIn(const std::vector<std::uint64_t> &numbers, std::uint64_t first, std::uint64_t last) {
    return static_cast<size_t>(std::ranges::upper_bound(numbers, last) -
                               std::ranges::lower_bound(numbers, first));
}

// The checks of one kind of account.
class NumberChecks {
  public:
    NumberChecks(const AccountDirectory &directory, const AccountKind &kind)
        : directory_(directory), kind_(kind), numbers_(AllNumbers(directory, kind)) {}

    std::vector<CheckStep> Run() const {
        std::vector<CheckStep> steps = {Step("duplicates", Duplicates()),
                                        Step("reserved", Reserved()), Step("local", Local())};
        const std::optional<Pool> pool = directory_.PoolOf(kind_);
        if (!pool) {
            steps.push_back(Step("pool", {.result = StepResult::kSkipped,
                                          .detail = "the directory has no pool of numbers"}));
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

    static CheckStep Ok(std::string detail) { return {.step = {}, .detail = std::move(detail)}; }
    static CheckStep Finding(StepResult result, std::string detail, std::string hint) {
        return {.step = {}, .result = result, .detail = std::move(detail), .hint = std::move(hint)};
    }

    // Who carries a number.
    std::string Carriers(std::uint64_t number) const {
        std::vector<std::string> names;
        for (const std::string &dn :
             directory_.WithNumber(kind_, static_cast<std::uint32_t>(number)))
            names.push_back(directory_.NameOf(kind_, dn));
        return Enumerated(names);
    }

    CheckStep Duplicates() const {
        constexpr size_t kMost = 20;
        std::vector<std::uint64_t> twice;
        for (size_t i = 1; i < numbers_.size(); ++i) {
            const bool again = numbers_[i] == numbers_[i - 1];
            if (again && (twice.empty() || twice.back() != numbers_[i]))
                twice.push_back(numbers_[i]);
        }
        if (twice.empty())
            return Ok(fmt::format("{} numbers, each of one {}", numbers_.size(), kind_.noun));
        std::string detail;
        for (size_t i = 0; i < std::min(twice.size(), kMost); ++i)
            detail += fmt::format("{}{} of {}", i > 0 ? "; " : "", twice[i], Carriers(twice[i]));
        if (twice.size() > kMost) detail += fmt::format("; and {} more", twice.size() - kMost);
        return Finding(StepResult::kFailed, "the same number: " + detail,
                       fmt::format("give all but one of them another number: zafoldap {} edit NAME "
                                   "--{} N. With several writable servers numbers must be taken "
                                   "from one of them only",
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
        if (detail.empty()) return Ok("nobody has 0, 65534, 65535 or 4294967295");
        return Finding(StepResult::kFailed, "reserved: " + detail,
                       "0 is the administrator of every machine and the others mean nobody: give "
                       "another number");
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
            detail += fmt::format("{}{} of {} is also the local {}'s", detail.empty() ? "" : "; ",
                                  number, Carriers(number), *local);
        }
        if (detail.empty()) return Ok("none is a local account's");
        return Finding(StepResult::kWarning, detail,
                       "the two own each other's files here: give one of them another number");
    }

    CheckStep Outside(const Pool &pool) const {
        const size_t inside = CountIn(numbers_, pool.lowest, pool.highest);
        if (inside == numbers_.size())
            return Ok(fmt::format("all are in {} to {}", pool.lowest, pool.highest));
        const size_t below = CountIn(numbers_, 0, pool.lowest - 1);
        const std::uint64_t low = below > 0 ? numbers_.front() : numbers_[inside];
        const std::uint64_t high =
            below + inside < numbers_.size() ? numbers_.back() : numbers_[below - 1];
        return Finding(StepResult::kWarning,
                       fmt::format("{} of {} numbers are outside the pool {} to {}: from {} to {}",
                                   numbers_.size() - inside, numbers_.size(), pool.lowest,
                                   pool.highest, low, high),
                       "they never come from the pool; other programs may give them a second time");
    }

    // The counter hands out what is free from where it stands: numbers in use above it were made
    // by something that did not move it.
    CheckStep Counter(const Pool &pool) const {
        const std::uint64_t current = directory_.PoolValue(kind_.current);
        if (current < pool.lowest || current > pool.highest) {
            return Finding(StepResult::kWarning,
                           fmt::format("the next number, {}, is outside the pool", current),
                           "set cn=CurID,cn=zafoconf to a free number of the pool");
        }
        const size_t ahead = CountIn(numbers_, current, pool.highest);
        if (ahead == 0) return Ok(fmt::format("the next number is {}", current));
        return Finding(StepResult::kWarning,
                       fmt::format("the counter stands at {} and is behind: {} of the pool's "
                                   "numbers from there on are in use",
                                   current, ahead),
                       "a sign that two servers of the directory were written to, or numbers given "
                       "by hand: take numbers from one server only");
    }

    static constexpr std::uint64_t kHighestLocal = 65533;
    const AccountDirectory &directory_;
    const AccountKind &kind_;
    std::vector<std::uint64_t> numbers_;
};

}  // namespace

int NextId(Session &session) {
    const AccountKind &kind = KindOf(session);
    AccountDirectory directory(session);
    directory.LearnServer(kind);
    const bool pool = directory.Record()->nServerType == ZAFOLDAP_SERVER_ZAFO;
    std::uint64_t number = 0;
    if (session.Options().dry_run && pool) {
        number = directory.PoolValue(kind.current);
        session.streams.Note(
            "dry run: the counter of the pool, which stays as it is; the number "
            "itself may be in use");
    } else if (pool) {
        Logged(session, "cn=CurID,cn=zafoconf," + directory.Saved().base,
               {std::string(kind.number_attr)}, [&] { number = SuggestNumber(directory, kind); });
    } else {
        number = SuggestNumber(directory, kind);
    }
    if (session.Options().form == Form::kJson) {
        session.document.Whole({{"which", kind.number},
                                {"number", number},
                                {"reserved", pool && !session.Options().dry_run}});
    } else {
        session.streams.Out(fmt::format("{}\n", number));
    }
    return 0;
}

int ShowIdPool(Session &session) {
    AccountDirectory directory(session);
    directory.LearnServer(kUserKind);
    std::vector<Json> rows;
    for (const AccountKind *kind : {&kUserKind, &kGroupKind}) {
        const std::optional<Pool> pool = directory.PoolOf(*kind);
        if (!pool) throw OwnFailure("no_pool", directory.Known(directory.Saved().base));
        const size_t used = CountIn(AllNumbers(directory, *kind), pool->lowest, pool->highest);
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

int CheckIds(Session &session) {
    AccountDirectory directory(session);
    directory.LearnServer(kUserKind);
    StepPrinter printer(session, /*width=*/16);
    for (const AccountKind *kind : {&kUserKind, &kGroupKind}) {
        for (const CheckStep &step : NumberChecks(directory, *kind).Run())
            printer.Print(step);
    }
    const size_t failed = printer.Count(StepResult::kFailed);
    printer.Finish(failed == 0);
    if (failed > 0)
        throw OwnFailure("ids_wrong", {.reason = fmt::format("{} of the checks failed", failed)});
    return 0;
}

int CountAccounts(Session &session) {
    const std::string &subject = session.Argument("WHAT");
    const AccountDirectory directory(session);
    const int count = directory.Run(directory.Saved().base, [&] {
        return ZAFOLDAPBrowserStatUGNum(directory.Record(), subject == "users" ? "user" : "group");
    });
    if (session.Options().form == Form::kJson) {
        session.document.Whole({{subject, count}});
    } else {
        session.streams.Out(fmt::format("{}\n", count));
    }
    return 0;
}

}  // namespace zafo::cli
