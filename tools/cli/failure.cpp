// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/failure.h"

#include "base/appliance_paths.h"
#include "tools/cli/display_text.h"

#include "platform/error.h"
#include "platform/process.h"
#include "tools/cli/temporary_folder.h"
#include "zafoldap/error.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <optional>
#include <utility>

namespace zafo::cli {

namespace {

constexpr std::string_view kOwn = "zafoldap";

// LDAP result codes for which the library has no message of its own, and the
// client library's codes (negative, seen as an exit status of eight bits).
struct CodeRow {
    int code;
    std::string_view key;
};

constexpr CodeRow kCodeRows[] = {
    {4, "size_limit"},         {7, "auth_method"},         {10, "referral"},
    {11, "size_limit"},        {13, "confidentiality"},    {19, "invalid_value"},
    {20, "invalid_value"},     {21, "invalid_value"},      {48, "auth_method"},
    {51, "server_busy"},       {52, "server_unavailable"}, {65, "invalid_value"},
    {249, "bad_filter"},        // LDAP_FILTER_ERROR (-7)
    {251, "server_timed_out"},  // LDAP_TIMEOUT (-5)
    {16, "attribute_missing"}, {66, "has_children"},
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

// The server's code in the words of a tool whose exit code the library does not hand on:
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

// The tool front ends a search that does not end by itself, or holds too much.
std::string_view BoundOfFront(std::string_view tool_words) {
    if (tool_words.find("ldapsearch: the answer has an entry") != std::string_view::npos)
        return "entry_too_large";
    if (tool_words.find("ldapsearch: the answer ") != std::string_view::npos)
        return "answer_endless";
    return {};
}

// With StartTLS the tools exit with 1 whatever the reason, with ldaps:// a refused
// certificate exits like a dead server, and a silent one like a general failure: their
// words tell these apart.
std::string_view TransportKey(int library_code, std::string_view tool_words) {
    constexpr int kServerDown = -1, kTimeout = -5, kConnectError = -11;
    const int code = ClientCode(tool_words).value_or(0);
    const bool additional = tool_words.find("additional info:") != std::string_view::npos;
    if (const std::string_view bound = BoundOfFront(tool_words); !bound.empty()) return bound;
    if (code == kTimeout || tool_words.find("Timed out") != std::string_view::npos) {
        return "server_timed_out";
    }
    if (code == kConnectError) return "tls_failed";
    if (code == kServerDown && tool_words.starts_with("ldap_result:")) return "answer_broken";
    if (code == kServerDown) {
        return additional && SpeaksOfTls(tool_words) ? "tls_failed" : "server_unreachable";
    }
    if (tool_words.starts_with("ldap_start_tls:")) return "tls_failed";
    if (library_code == 255) return "server_unreachable";
    return {};
}

// A fact is a part of one line, wherever it comes from: a line break in a name must not begin a
// "hint:" of its own.
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
    return {.exit_code = row.exit_code,
            .section = std::string(row.section),
            .key = std::string(row.key),
            .message = Fill(row.message, facts),
            .hint = Fill(row.hint, facts)};
}

Failure FromLdapCode(int code, Facts facts, std::string_view tool_words) {
    if (code == 1 || code == 255) {
        const std::string_view key = TransportKey(code, tool_words);
        if (!key.empty()) return OwnFailure(key, facts);
    }
    const char *section = "";
    const std::string_view key = ZAFOLDAPErrGetString(code, &section);
    if (const MessageRow *row = key.empty() ? nullptr : FindMessage(section, key)) {
        return FromRow(*row, facts);
    }
    const auto row = std::ranges::find(kCodeRows, code, &CodeRow::code);
    if (row != std::end(kCodeRows)) return OwnFailure(row->key, facts);
    facts.reason = std::to_string(code);
    return OwnFailure("ldap_result", facts);
}

// What a tool cannot be started for says what to do: nothing is wrong with the tool when descriptors or
// processes lack.
Failure ToolNotStarted(Facts facts) {
    std::array<char, 128> path{};
    const int error = QLIBCStartError(path.data(), path.size());
    facts.subject = error != 0 ? path.data() : kLdapsearch;
    facts.reason = "started";
    if (const std::optional<Failure> failure = WantOfDescriptors(error, facts)) return *failure;
    switch (error) {
        case EAGAIN:
            return OwnFailure("process_limit", facts);
        case ENOMEM:
            return OwnFailure("out_of_memory", facts);
        default:
            return OwnFailure("tool_not_started", facts);
    }
}

// A change is a file in "/tmp" before it is a request.
Failure TemporaryFolderFailure(std::string reason) {
    return OwnFailure("temporary_folder",
                      {.subject = kTemporaryFolder, .reason = std::move(reason)});
}

Failure FromPlatformCode(int code, Facts facts) {
    switch (code) {
        case QLIB_ERR_OUT_OF_MEMORY:
            return OwnFailure("out_of_memory", facts);
        case QLIB_ERR_READ_FAILED:
            return OwnFailure("answer_unreadable", facts);
        case QLIB_ERR_NO_SUCH_USER:
            return OwnFailure("user_missing", facts);
        case QLIB_ERR_NO_SUCH_GROUP:
            return OwnFailure("group_missing", facts);
        case QLIB_ERR_BUFFER_TOO_SMALL:
            return OwnFailure("too_long", facts);
        case QLIB_ERR_WRITE_FAILED: {
            const std::string fault = FaultOfTemporaryFolder();
            return TemporaryFolderFailure(fault.empty() ? "the system log has the reason" : fault);
        }
        case QLIB_ERR_OPEN_FAILED:
            // Of a tool or of the change file: the code is the same.
            if (QLIBCStartError(nullptr, 0) == 0) {
                if (std::string fault = FaultOfTemporaryFolder(); !fault.empty())
                    return TemporaryFolderFailure(std::move(fault));
            }
            return ToolNotStarted(std::move(facts));
        default:
            return OwnFailure("tool_ended", facts);
    }
}

// The tool's words without the blanks around them, line by line. A server has a part in them: what
// it goes on to say beyond a few lines is counted, not printed.
std::string Tidy(std::string_view words) {
    constexpr size_t kMostLines = 4, kLongestLine = 500;
    std::string tidy;
    size_t lines = 0;
    while (!words.empty()) {
        const size_t end = std::min(words.find('\n'), words.size());
        std::string_view line = words.substr(0, end);
        while (!line.empty() && (line.front() == ' ' || line.front() == '\t'))
            line.remove_prefix(1);
        while (!line.empty() && (line.back() == ' ' || line.back() == '\r'))
            line.remove_suffix(1);
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

Failure OwnFailure(std::string_view key, const Facts &facts, std::string detail) {
    Failure failure = FromRow(*FindMessage(kOwn, key), facts);
    failure.detail = std::move(detail);
    return failure;
}

std::optional<Failure> WantOfDescriptors(int error, const Facts &facts) {
    if (error == EMFILE) return OwnFailure("open_files_limit", facts);
    if (error == ENFILE) return OwnFailure("open_files_of_system", facts);
    return std::nullopt;
}

Failure LibraryRefusal(std::string_view key, const Facts &facts) {
    return FromRow(*FindMessage("ldap_error", key), facts);
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

}  // namespace zafo::cli
