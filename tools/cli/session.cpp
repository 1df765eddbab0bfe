// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/session.h"

#include <unistd.h>

#include <fmt/format.h>

#include "base/dn.h"
#include "tools/cli/display_text.h"

namespace zafo::cli {

void RefuseUsage(const Session &session, std::string reason) {
    throw OwnFailure(Message::kUsage,
                     {.subject = fmt::format("{} {} --help", session.program.name,
                                             FullName(*session.invocation.command)),
                      .reason = std::move(reason)});
}

void RequireRoot(const Session &session) {
    if (geteuid() == 0) return;
    throw OwnFailure(Message::kNotRoot,
                     {.subject = fmt::format("{} {}", session.program.name,
                                             FullName(*session.invocation.command))});
}

void PrintResult(Session &session, const Json &data, std::string_view text) {
    if (session.WantsJson()) {
        session.document.Whole(data);
    } else {
        session.streams.Out(text);
    }
}

void TellResult(Session &session, const Json &data, std::string_view sentence) {
    if (session.WantsJson()) session.document.Whole(data);
    session.streams.Note(sentence);
}

void Confirm(Session &session, const std::string &doing, const std::string &question,
             const std::vector<std::string> &details) {
    Streams &streams = session.streams;
    if (session.Options().yes) return;
    std::string lines;
    for (const std::string &detail : details)
        lines += (lines.empty() ? "" : "\n") + OneLine(detail);
    if (!streams.CanAsk())
        throw OwnFailure(Message::kConfirmationNeeded, {.subject = doing}, lines);
    const std::string answer = streams.Ask(
        fmt::format("{}{}{} [y/N] ", lines, lines.empty() ? "" : "\n", question), /*echo=*/true);
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw OwnFailure(Message::kRefused, {.subject = doing});
    }
}

void ConfirmByTyping(Session &session, const std::string &word, const std::string &doing,
                     const std::string &question, const std::string &lost) {
    if (session.Options().yes) return;
    if (!session.streams.CanAsk())
        throw OwnFailure(Message::kConfirmationNeeded, {.subject = doing}, lost);
    if (!SameDn(session.streams.Ask(question, /*echo=*/true), word))
        throw OwnFailure(Message::kSuffixNotTyped, {.subject = doing});
}

void ConfirmDeleting(Session &session, const std::string &what,
                     const std::vector<std::string> &details) {
    Confirm(session, "deleting " + OneLine(what), fmt::format("Delete {}?", OneLine(what)),
            details);
}

}  // namespace zafo::cli
