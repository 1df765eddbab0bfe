// SPDX-License-Identifier: Apache-2.0
//
// The checks of configuration, process and answer.
#include "tools/zafoldapserver/server_checks.h"

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/dn.h"
#include "base/proc_file.h"
#include "tools/cli/display_text.h"
#include "tools/cli/saved_connection.h"

namespace zafo::cli {

namespace {

std::string EnableAgain(const CheckedServer &checked) {
    return fmt::format("zafoldapserver enable --suffix {}", checked.server.suffix);
}

}  // namespace

CheckStep CheckConfigurationFile(CheckedServer &checked) {
    const auto words = FaultOfConfiguration(checked.session.streams, kSlapdConf);
    if (!words) return Good(fmt::format("slapd accepts {}", kSlapdConf));
    return Wrong(
        fmt::format("slapd does not accept {}: {}", kSlapdConf, Replaced(*words, "\n", "; ")),
        fmt::format("correct it, or rewrite it: {}", EnableAgain(checked)));
}

CheckStep CheckAccessRules(CheckedServer &checked) {
    switch (StateOfRules(Staging(), checked.server.suffix)) {
        case RulesState::kAsWritten:
            return Good("unchanged");
        case RulesState::kMissing:
            return Wrong(fmt::format("{} is missing", kAccessRules),
                         fmt::format("rewrite it: {}", EnableAgain(checked)));
        case RulesState::kByHand:
            break;
    }
    return Warned(
        fmt::format("{} was changed by hand", kAccessRules),
        fmt::format("see zafoldapserver acl show; {} rewrites it and keeps the old one beside it",
                    EnableAgain(checked)));
}

CheckStep CheckEnabled(CheckedServer &checked) {
    if (checked.server.enabled) return Good("the service ldap-server is enabled");
    return Wrong("the service ldap-server is not enabled: it cannot be started",
                 EnableAgain(checked));
}

CheckStep CheckRunning(CheckedServer &checked) {
    const int pid = checked.server.pid;
    if (!checked.server.Running())
        return Wrong(
            "the server is not running",
            fmt::format("zafoldapserver start; if it stops again, {} has the reason", kSystemLog));
    const auto since = StartTimeOf(pid);
    return Good(
        fmt::format("process {}{}{}", pid, since ? " since " : "", since ? TimeText(*since) : ""));
}

// As the programs connect: over StartTLS, with the saved connection's name and password.
CheckStep CheckAnswer(CheckedServer &checked) {
    if (!checked.server.Running()) return Skipped("the server is not running");
    const std::string again = EnableAgain(checked);
    try {
        const Connection connection = ReadConnection(kOwnConnection);
        if (!SameDn(connection.base, checked.server.suffix))
            return Wrong(fmt::format("the saved connection \"root\" is for {}", connection.base),
                         again);
        Search search(checked.session.streams, OpenConnection(kOwnConnection, connection),
                      ForEntry(checked.server.suffix), connection.AsFacts());
        if (search.Next() == nullptr)
            return Wrong(fmt::format("the entry {} is not visible", checked.server.suffix), again);
        return Good(fmt::format("{} can log in over {}", connection.bind_dn,
                                connection.SslName() == "off" ? "clear text" : "TLS"));
    } catch (const Failure &failure) {
        if (failure.exit_code == 130) throw;
        std::string cause = failure.message;
        if (!failure.detail.empty()) cause += ": " + Replaced(failure.detail, "\n", "; ");
        return Wrong(cause, failure.id == Message::kTlsFailed
                                ? "see certificate-chain, -names and -end below"
                                : failure.hint);
    }
}

}  // namespace zafo::cli
