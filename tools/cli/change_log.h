// SPDX-License-Identifier: Apache-2.0
//
// One line in the system log for each change: who, where, what and the result; never a value of an
// entry or a secret.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "tools/cli/session.h"

namespace zafo::cli {

// "COMMAND: WHERE by=WHO WHAT result=RESULT"
void LogChange(std::string_view command, std::string_view where, std::string_view what,
               std::string_view result);

// "a,b", or "-" for none.
std::string LoggedNames(const std::vector<std::string> &names);

// A change to an entry: its DN and the attributes' names.
void LogEntryChange(const Session &session, const std::string &dn,
                    const std::vector<std::string> &attributes, std::string_view result);

// Makes a change and passes the result to `log`.
template <typename Work, typename Log>
void LoggedChange(Work work, Log log) {
    try {
        work();
    } catch (const Failure &failure) {
        const char *result = failure.id == Message::kPartlyDone ? "partly" : "failed";
        log(fmt::format("{} ({})", result, failure.Key()));
        throw;
    }
    log(std::string("done"));
}

// The same for the session's command.
template <typename Work>
void LoggedChange(const Session &session, std::string_view where, std::string_view what,
                  Work work) {
    LoggedChange(work, [&](const std::string &result) {
        LogChange(FullName(*session.invocation.command), where, what, result);
    });
}

// The same for an entry.
template <typename Work>
void Logged(const Session &session, const std::string &dn,
            const std::vector<std::string> &attributes, Work work) {
    LoggedChange(
        work, [&](const std::string &result) { LogEntryChange(session, dn, attributes, result); });
}

}  // namespace zafo::cli
