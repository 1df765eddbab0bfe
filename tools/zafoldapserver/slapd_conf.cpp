// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/slapd_conf.h"

#include "tools/zafoldapserver/server_paths.h"

#include "platform/ldap.h"
#include "platform/process.h"
#include "platform/szhash.h"
#include "zafoldap/server.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <sstream>
#include <system_error>

namespace zafo::cli {

namespace {

constexpr const char *kSlaptest = "/usr/sbin/slaptest";
constexpr size_t kLongestValue = 4096;

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

// Case does not count in directives.
bool IsKey(std::string_view key, std::string_view wanted) {
    return key.size() == wanted.size() &&
           strncasecmp(key.data(), wanted.data(), wanted.size()) == 0;
}

void WriteTextFile(const std::string &path, std::string_view text) {
    std::ofstream file(path);
    file << text;
    file.close();
    if (!file)
        throw OwnFailure(Message::kFolderUnwritable,
                         {.subject = path, .reason = std::strerror(errno)});
}

// The lines of a text, those of one directive together.
std::vector<std::string> LogicalLines(std::string_view text) {
    std::vector<std::string> lines;
    std::istringstream stream{std::string(text)};
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && IsBlank(line.front()) && !lines.empty()) {
            lines.back().append("\n").append(line);
        } else {
            lines.push_back(line);
        }
    }
    return lines;
}

// A configuration, each of its directives as `replace` gives it.
template <typename Replace>
std::string WithReplaced(std::string_view text, Replace replace) {
    std::string result;
    for (const std::string &line : LogicalLines(text)) {
        const std::vector<Directive> directives = ParseDirectives(line);
        result += directives.empty() ? line : replace(directives.front(), line);
        result += '\n';
    }
    return result;
}

}  // namespace

std::vector<Directive> ParseDirectives(std::string_view text) {
    std::vector<Directive> directives;
    for (const std::string &line : LogicalLines(text)) {
        if (line.empty() || line.front() == '#' || IsBlank(line.front())) continue;
        const size_t end = std::min(line.find_first_of(" \t\n"), line.size());
        Directive directive{line.substr(0, end), {}};
        bool gap = false;
        for (const char c : std::string_view(line).substr(end)) {
            if (IsBlank(c) || c == '\n') {
                gap = true;
                continue;
            }
            if (gap && !directive.value.empty()) directive.value += ' ';
            gap = false;
            directive.value += c;
        }
        directives.push_back(std::move(directive));
    }
    return directives;
}

std::string DirectiveOf(const std::string &path, const char *key) {
    std::array<char, kLongestValue> value{};
    const int found = ZAFOLDAPInfoGetFromConf(path.c_str(), key, value.data(), value.size());
    return found == 1 ? value.data() : "";
}

std::optional<std::string> ReadTextFile(const std::string &path) {
    std::ifstream file(path);
    if (!file) return std::nullopt;
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::optional<std::string> FaultOfConfiguration(Streams &streams, const std::string &path) {
    streams.ForgetToolWords();
    FILE *stream =
        QLIBCPopen(kSlaptest, "r", "-u", "-f", path.c_str(), static_cast<char *>(nullptr));
    if (stream == nullptr) throw OwnFailure(Message::kSlapdMissing, {.subject = kSlaptest});
    std::string words;
    std::array<char, 1024> buffer{};
    while (const size_t n = fread(buffer.data(), 1, buffer.size(), stream))
        words.append(buffer.data(), n);
    if (QLIBCPclose(stream) == 0) return std::nullopt;
    words += streams.ToolWords();
    return words.empty() ? "slaptest gave no reason" : words;
}

Staging::Staging() : folder_("/tmp/zafoldapserver.XXXXXX") {
    if (mkdtemp(folder_.data()) == nullptr)
        throw OwnFailure(Message::kFolderUnwritable,
                         {.subject = "/tmp", .reason = std::strerror(errno)});
}

Staging::~Staging() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string Staging::Configuration(const std::string &suffix, const std::string &admin_dn) const {
    const std::unique_ptr<QLIBSZHASH, void (*)(QLIBSZHASH *)> values(QLIBCSzHashAlloc(16),
                                                                     QLIBCSzHashFree);
    if (!values || QLIBCSzHashSetValue(values.get(), "suffix", suffix.c_str()) != 0 ||
        QLIBCSzHashSetValue(values.get(), "rootdn", admin_dn.c_str()) != 0) {
        throw std::bad_alloc();
    }
    const std::string path = Path("made.conf");
    if (ZAFOLDAPConfSet(path.c_str(), kSlapdTemplate, values.get(), 0) != 0) {
        throw OwnFailure(Message::kTemplateUnreadable,
                         {.subject = kSlapdTemplate, .reason = std::strerror(errno)});
    }
    return ReadTextFile(path).value_or("");
}

std::string Staging::AccessRules(const std::string &suffix) const {
    ZAFOLDAP_SERVER_PARAM settings{};
    settings.szSuffix = suffix.c_str();
    const std::string path = Path("made-acls.conf");
    if (ZAFOLDAPServerWriteACL(path.c_str(), &settings) != 0)
        throw OwnFailure(Message::kFolderUnwritable,
                         {.subject = path, .reason = std::strerror(errno)});
    return ReadTextFile(path).value_or("");
}

// The copy points into the staging folder: to the rules there, and to a data folder, for slapd
// looks whether that one exists.
std::optional<std::string> Staging::Test(Streams &streams, const std::string &configuration,
                                         const std::string &rules) const {
    const std::string data = Path("data");
    mkdir(data.c_str(), 0700);
    WriteTextFile(Path("slapd-acls.conf"), rules);
    WriteTextFile(Path("slapd.conf"),
                  WithReplaced(configuration, [&](const Directive &one, const std::string &line) {
                      if (IsKey(one.key, "include") && one.value == kAccessRules)
                          return "include " + Path("slapd-acls.conf");
                      if (IsKey(one.key, "directory")) return "directory " + data;
                      return line;
                  }));
    std::optional<std::string> words = FaultOfConfiguration(streams, Path("slapd.conf"));
    for (size_t at = 0; words && (at = words->find(folder_)) != std::string::npos;)
        words->replace(at, folder_.size(), kServerFolder);
    return words;
}

bool SameConfiguration(std::string_view a, std::string_view b) {
    const auto without_password = [](std::string_view text) {
        return WithReplaced(text, [](const Directive &one, const std::string &line) {
            return IsKey(one.key, "rootpw") ? one.key : line;
        });
    };
    return without_password(a) == without_password(b);
}

RulesState StateOfRules(const Staging &staging, const std::string &suffix) {
    const std::optional<std::string> rules = ReadTextFile(kAccessRules);
    if (!rules) return RulesState::kMissing;
    return *rules == staging.AccessRules(suffix) ? RulesState::kAsWritten : RulesState::kByHand;
}

}  // namespace zafo::cli
