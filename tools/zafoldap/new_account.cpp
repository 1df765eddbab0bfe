// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/new_account.h"

#include <random>
#include <utility>

#include <fmt/format.h>

#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/local_accounts.h"

namespace zafo::cli {

namespace {

constexpr int kAttempts = 8;
constexpr int kAlreadyExists = 68;

bool IsUsable(const AccountKind &kind, std::uint32_t number) {
    return !IsReservedNumber(number) && !LocalAccount(kind, number);
}

unsigned int UpTo(unsigned int most) {
    std::random_device source;
    return std::uniform_int_distribution<unsigned int>(0, most)(source);
}

// The first unused number from `number` on.
std::uint32_t FreeFrom(const AccountDirectory &directory, const AccountKind &kind,
                       std::uint32_t number) {
    while (!IsUsable(kind, number) || !directory.WithNumber(kind, number).empty())
        ++number;
    return number;
}

// One number of the library's choice. The library does not report that the pool is full.
std::uint32_t AskForNumber(const AccountDirectory &directory, const AccountKind &kind) {
    int number = -1;
    const std::optional<Failure> failure =
        directory.Try("cn=zafoconf," + directory.Saved().base,
                      [&] { return number = kind.suggest(directory.Record()); });
    if (Interrupted()) throw OwnFailure(Message::kInterrupted, {});
    if (failure && failure->id == Message::kToolEnded) throw OwnFailure(Message::kPoolFailed, {});
    if (failure) throw *failure;
    return static_cast<std::uint32_t>(number);
}

// What the library reports as a taken name or number may be a failed look-up: looks again, which
// throws that failure.
bool IsTaken(const AccountDirectory &directory, const AccountKind &kind, const Failure &failure,
             const std::string &name, std::uint32_t number) {
    if (failure.id == kind.name_taken) return directory.Find(kind, name).has_value();
    return failure.id == kind.number_taken && !directory.WithNumber(kind, number).empty();
}

}  // namespace

std::uint32_t SuggestNumber(const AccountDirectory &directory, const AccountKind &kind,
                            unsigned int spread) {
    const bool pool = directory.Record()->nServerType == ZAFOLDAP_SERVER_ZAFO;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::uint32_t number = AskForNumber(directory, kind);
        if (!pool && spread > 0) return FreeFrom(directory, kind, number + UpTo(spread));
        if (IsUsable(kind, number)) return number;
        if (!pool) return FreeFrom(directory, kind, number + 1);
    }
    throw OwnFailure(Message::kPoolFailed, {});
}

Created CreateAccount(const AccountDirectory &directory, const AccountKind &kind,
                      const NewAccount &account, const std::string &dn,
                      const std::function<int(std::uint32_t)> &create) {
    const auto &[name, container, wanted] = account;
    for (int attempt = 0;; ++attempt) {
        const std::uint32_t number = wanted ? *wanted : SuggestNumber(directory, kind);
        std::optional<Failure> failure = directory.Try(name, [&] { return create(number); });
        if (!failure) return {number, std::nullopt};
        const bool number_taken = failure->id == kind.number_taken;
        if (number_taken || failure->id == kind.name_taken) {
            const bool taken = IsTaken(directory, kind, *failure, name, number);
            if (number_taken && !wanted && attempt < kAttempts) continue;
            if (!taken) throw *failure;
            throw OwnFailure(failure->id,
                             directory.FactsAbout(number_taken ? std::to_string(number) : name));
        }
        // Someone else created an entry with that name in the meantime.
        if (failure->ldap_code == kAlreadyExists)
            throw OwnFailure(kind.name_taken, directory.FactsAbout(name));
        const std::optional<bool> exists = directory.Exists(dn);
        if (!exists) {
            ThrowUnknown(directory, *failure,
                         directory.CommandLine(fmt::format("{} show", kind.noun), {name}));
        }
        if (*exists) return {number, std::move(failure)};
        if (Interrupted()) throw OwnFailure(Message::kInterrupted, {});
        throw *failure;
    }
}

std::uint32_t SettleNumber(const AccountDirectory &directory, const AccountKind &kind,
                           std::uint32_t number,
                           const std::function<int(std::uint32_t)> &renumber) {
    if (directory.Record()->nServerType == ZAFOLDAP_SERVER_ZAFO) return number;
    for (unsigned int spread = 4; directory.WithNumber(kind, number).size() > 1; spread *= 2) {
        const std::uint32_t next = SuggestNumber(directory, kind, spread);
        const std::optional<Failure> failure =
            directory.Try(std::to_string(next), [&] { return renumber(next); });
        if (!failure) {
            number = next;
        } else if (failure->id != kind.number_taken || spread > 1024) {
            throw *failure;
        }
    }
    return number;
}

}  // namespace zafo::cli
