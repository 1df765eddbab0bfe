// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/blanks.h"
#include "platform/error.h"
#include "platform/process.h"
#include "tools/cli/display_text.h"
#include "tools/cli/temporary_folder.h"
#include "zafoldap/error.h"

namespace zafo::cli {

namespace {

// LDAP result codes for which the library has no message of its own, and the client library's
// (negative) codes, seen as an 8-bit exit status.
struct CodeRow {
    int code;
    Message id;
};

constexpr CodeRow kCodeRows[] = {
    {4, Message::kSizeLimit},          {7, Message::kAuthMethod},
    {10, Message::kReferral},          {11, Message::kSizeLimit},
    {13, Message::kConfidentiality},   {19, Message::kInvalidValue},
    {20, Message::kInvalidValue},      {21, Message::kInvalidValue},
    {48, Message::kAuthMethod},        {51, Message::kServerBusy},
    {52, Message::kServerUnavailable}, {65, Message::kInvalidValue},
    {249, Message::kBadFilter},       // LDAP_FILTER_ERROR (-7)
    {251, Message::kServerTimedOut},  // LDAP_TIMEOUT (-5)
    {16, Message::kAttributeMissing},  {66, Message::kHasChildren},
};

// The client library's code in the tool's own words: "ldap_start_tls: Connect error (-11)".
std::optional<int> ClientCode(std::string_view tool_words) {
    const size_t line = tool_words.find("(-");
    if (line == std::string_view::npos) return std::nullopt;
    int code = 0;
    const char *begin = tool_words.data() + line + 1;
    const auto parsed = std::from_chars(begin, tool_words.data() + tool_words.size(), code);
    if (parsed.ec != std::errc() || *parsed.ptr != ')') return std::nullopt;
    return code;
}

// The server's code, from the words of a tool whose exit code the library does not pass on:
// "Result: Constraint violation (19)", "ldap_bind: Invalid credentials (49)".
int ServerCode(std::string_view tool_words) {
    const size_t begin = tool_words.find(" (");
    if (begin == std::string_view::npos) return 0;
    int code = 0;
    const char *digits = tool_words.data() + begin + 2;
    const auto parsed = std::from_chars(digits, tool_words.data() + tool_words.size(), code);
    return parsed.ec == std::errc() && *parsed.ptr == ')' && code > 0 ? code : 0;
}

bool SpeaksOfTls(std::string_view tool_words) {
    for (std::string_view word : {"TLS", "SSL", "ertificate", "error code"}) {
        if (tool_words.find(word) != std::string_view::npos) return true;
    }
    return false;
}

// The tool front ends a search that never finishes, or whose answer is too large.
std::optional<Message> BoundOfFront(std::string_view tool_words) {
    if (tool_words.find("ldapsearch: the answer has an entry") != std::string_view::npos)
        return Message::kEntryTooLarge;
    if (tool_words.find("ldapsearch: the answer ") != std::string_view::npos)
        return Message::kAnswerEndless;
    return std::nullopt;
}

// With StartTLS the tools exit with 1 whatever the reason; with ldaps:// a refused certificate
// exits like a dead server, and a silent server like a general failure. Their words tell these
// apart.
std::optional<Message> TransportMessage(int library_code, std::string_view tool_words) {
    constexpr int kServerDown = -1, kTimeout = -5, kConnectError = -11;
    const int code = ClientCode(tool_words).value_or(0);
    const bool additional = tool_words.find("additional info:") != std::string_view::npos;
    if (const auto bound = BoundOfFront(tool_words)) return bound;
    if (code == kTimeout || tool_words.find("Timed out") != std::string_view::npos) {
        return Message::kServerTimedOut;
    }
    if (code == kConnectError) return Message::kTlsFailed;
    if (code == kServerDown && tool_words.starts_with("ldap_result:"))
        return Message::kAnswerBroken;
    if (code == kServerDown) {
        return additional && SpeaksOfTls(tool_words) ? Message::kTlsFailed
                                                     : Message::kServerUnreachable;
    }
    if (tool_words.starts_with("ldap_start_tls:")) return Message::kTlsFailed;
    if (library_code == 255) return Message::kServerUnreachable;
    return std::nullopt;
}

// A fact is part of one line, wherever it comes from: a line break in a name must not start a
// "hint:" line.
std::string Worded(const std::string &fact, std::string_view otherwise) {
    return fact.empty() ? std::string(otherwise) : OneLine(fact);
}

std::string Fill(std::string_view text, const Facts &facts) {
    return fmt::format(fmt::runtime(text), fmt::arg("connection", Worded(facts.connection, "NAME")),
                       fmt::arg("server", Worded(facts.server, "the server")),
                       fmt::arg("bind_dn", Worded(facts.bind_dn, "an anonymous client")),
                       fmt::arg("subject", Worded(facts.subject, "the entry")),
                       fmt::arg("reason", Worded(facts.reason, "")),
                       fmt::arg("finish", Worded(facts.finish, "")));
}

Failure FromRow(const MessageRow &row, const Facts &facts) {
    return {.id = row.id,
            .exit_code = row.exit_code,
            .message = Fill(row.message, facts),
            .hint = Fill(row.hint, facts)};
}

Failure FromLdapCode(int code, Facts facts, std::string_view tool_words) {
    if (code == 1 || code == 255) {
        if (const auto id = TransportMessage(code, tool_words)) return OwnFailure(*id, facts);
    }
    const char *section = "";
    const std::string_view key = ZAFOLDAPErrGetString(code, &section);
    if (const MessageRow *row = key.empty() ? nullptr : FindMessage(section, key)) {
        return FromRow(*row, facts);
    }
    const auto row = std::ranges::find(kCodeRows, code, &CodeRow::code);
    if (row != std::end(kCodeRows)) return OwnFailure(row->id, facts);
    facts.reason = std::to_string(code);
    return OwnFailure(Message::kLdapResult, facts);
}

// The reason a tool cannot be started decides the advice: nothing is wrong with the tool when the
// system runs out of descriptors or processes.
Failure ToolNotStarted(Facts facts) {
    std::array<char, 128> path{};
    const int error = QLIBCStartError(path.data(), path.size());
    facts.subject = error != 0 ? path.data() : kLdapsearch;
    facts.reason = "started";
    if (const std::optional<Failure> failure = WantOfDescriptors(error, facts)) return *failure;
    switch (error) {
        case EAGAIN:
            return OwnFailure(Message::kProcessLimit, facts);
        case ENOMEM:
            return OwnFailure(Message::kOutOfMemory, facts);
        default:
            return OwnFailure(Message::kToolNotStarted, facts);
    }
}

// A change is written to a file in "/tmp" before it is sent.
Failure TemporaryFolderFailure(std::string reason) {
    return OwnFailure(Message::kTemporaryFolder,
                      {.subject = kTemporaryFolder, .reason = std::move(reason)});
}

Failure FromPlatformCode(int code, Facts facts) {
    switch (code) {
        case QLIB_ERR_OUT_OF_MEMORY:
            return OwnFailure(Message::kOutOfMemory, facts);
        case QLIB_ERR_READ_FAILED:
            return OwnFailure(Message::kAnswerUnreadable, facts);
        case QLIB_ERR_NO_SUCH_USER:
            return OwnFailure(Message::kUserMissing, facts);
        case QLIB_ERR_NO_SUCH_GROUP:
            return OwnFailure(Message::kGroupMissing, facts);
        case QLIB_ERR_BUFFER_TOO_SMALL:
            return OwnFailure(Message::kTooLong, facts);
        case QLIB_ERR_WRITE_FAILED: {
            const std::string fault = FaultOfTemporaryFolder();
            return TemporaryFolderFailure(fault.empty() ? "the system log has the reason" : fault);
        }
        case QLIB_ERR_OPEN_FAILED:
            // The code is the same for a tool and for the change file.
            if (QLIBCStartError(nullptr, 0) == 0) {
                if (std::string fault = FaultOfTemporaryFolder(); !fault.empty())
                    return TemporaryFolderFailure(std::move(fault));
            }
            return ToolNotStarted(std::move(facts));
        default:
            return OwnFailure(Message::kToolEnded, facts);
    }
}

// The tool's words, each line trimmed. Part of them comes from the server, so after a few lines the
// rest is counted, not printed.
std::string Tidy(std::string_view words) {
    constexpr size_t kMostLines = 4, kLongestLine = 500;
    std::string tidy;
    size_t lines = 0;
    while (!words.empty()) {
        const size_t end = std::min(words.find('\n'), words.size());
        const std::string_view line = Trim(words.substr(0, end));
        if (!line.empty() && ++lines <= kMostLines) {
            if (!tidy.empty()) tidy += '\n';
            const bool cut = line.size() > kLongestLine;
            tidy += OneLine(cut ? line.substr(0, kLongestLine) : line);
            if (cut) tidy += fmt::format("… ({} bytes)", line.size());
        }
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    if (lines > kMostLines) tidy += fmt::format("\n… ({} lines more)", lines - kMostLines);
    return tidy;
}

}  // namespace

Failure OwnFailure(Message id, const Facts &facts, std::string detail) {
    Failure failure = FromRow(RowOf(id), facts);
    failure.detail = std::move(detail);
    return failure;
}

std::optional<Failure> WantOfDescriptors(int error, const Facts &facts) {
    if (error == EMFILE) return OwnFailure(Message::kOpenFilesLimit, facts);
    if (error == ENFILE) return OwnFailure(Message::kOpenFilesOfSystem, facts);
    return std::nullopt;
}

Failure LibraryFailure(int library_code, int platform_code, const Facts &facts,
                       std::string_view tool_words) {
    if (library_code == 0 && platform_code == QLIB_ERR_NONE) library_code = ServerCode(tool_words);
    Failure failure = library_code != 0 ? FromLdapCode(library_code, facts, tool_words)
                                        : FromPlatformCode(platform_code, facts);
    if (library_code > 0) failure.ldap_code = library_code;
    failure.detail = Tidy(tool_words);
    return failure;
}

bool IsCutOff(const Failure &failure) {
    constexpr int kSizeLimitExceeded = 4, kAdminLimitExceeded = 11;
    return failure.ldap_code == kSizeLimitExceeded || failure.ldap_code == kAdminLimitExceeded ||
           failure.id == Message::kAnswerEndless;
}

}  // namespace zafo::cli
