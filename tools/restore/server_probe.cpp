// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/server_probe.h"

#include "platform/ldap.h"
#include "tools/backup/child.h"
#include "tools/backup/problem.h"
#include "tools/zafoldapserver/server_paths.h"

#include <sys/wait.h>

#include <fmt/format.h>

#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <sstream>
#include <string_view>
#include <thread>
#include <vector>

namespace zafo::backup {

namespace {

constexpr const char *kSlapcat = "/usr/zafo/bin/slapcat";
constexpr const char *kSearch = "/usr/zafo/bin/ldapsearch";
constexpr const char *kServiceFiles[] = {cli::kServiceSettings, cli::kServiceDefaults};
constexpr const char *kListenByDefault = "ldap:/// ldaps:///";
constexpr std::size_t kLongestSuffix = 4096;
constexpr int kHighestResult = 80;  // of LDAP (RFC 4511); tools end with others when they got none
constexpr std::chrono::seconds kAnswerLimit{10};

struct LookedUp {
    bool found = false;
    bool done = false;  // slapcat has read the database
    std::string words = {};
};

// As a component of a URL (RFC 4516).
std::string Escaped(std::string_view dn) {
    std::string text;
    for (const char c : dn) {
        const auto byte = static_cast<unsigned char>(c);
        text += std::isalnum(byte) != 0 ? std::string(1, c) : fmt::format("%{:02X}", byte);
    }
    return text;
}

std::string SettingIn(const char *path, std::string_view key) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string name;
        std::string equals;
        if (words >> name >> equals && name == key && equals == "=") {
            std::string value;
            std::getline(words >> std::ws, value);
            return value;
        }
    }
    return {};
}

// A URL that says no host means all addresses; a client means this machine by it.
std::vector<std::string> ListenUrls() {
    std::string setting;
    for (const char *path : kServiceFiles) {
        if (setting.empty()) setting = SettingIn(path, "listen");
    }
    std::istringstream words(setting.empty() ? kListenByDefault : setting);
    std::vector<std::string> urls;
    for (std::string url; words >> url;)
        urls.push_back(std::move(url));
    return urls;
}

Answer Ask(const std::string &url, const std::string &suffix) {
    Pipe pipe = MakePipe();
    Child search({.argv = {kSearch, "-x", "-LLL", "-o", "TLS_REQCERT=never", "-o",
                           "NETWORK_TIMEOUT=10", "-o", "TIMEOUT=10", "-H", url, "-s", "base", "-b",
                           suffix, "(objectClass=*)", "1.1"},
                  .output = pipe.writer.Get()});
    pipe.writer.Reset(-1);
    std::array<char, 4096> bytes{};
    bool found = false;
    for (ssize_t n = 0; (n = ReadSome(pipe.reader.Get(), bytes.data(), bytes.size())) > 0;)
        found = true;
    const int status = search.Wait();
    if (!WIFEXITED(status) || WEXITSTATUS(status) > kHighestResult) return Answer::kSilent;
    return found && WEXITSTATUS(status) == 0 ? Answer::kFound : Answer::kOther;
}

LookedUp LookUp(const std::string &configuration, const std::string &dn) {
    Pipe pipe = MakePipe();
    Child slapcat({.argv = {kSlapcat, "-f", configuration, "-H",
                            fmt::format("ldap:///{}??base", Escaped(dn))},
                   .output = pipe.writer.Get()});
    pipe.writer.Reset(-1);
    char byte = '\0';
    const bool found = ReadSome(pipe.reader.Get(), &byte, 1) == 1;
    // It ends with its reader.
    pipe.reader.Reset(-1);
    const int status = slapcat.Wait();
    return {.found = found, .done = status == 0, .words = OneLine(slapcat.Words())};
}

}  // namespace

std::string SuffixOf(const std::string &configuration) {
    std::array<char, kLongestSuffix> value{};
    if (ZAFOLDAPInfoGetFromConf(configuration.c_str(), "suffix", value.data(), value.size()) != 1 ||
        value[0] == '\0')
        throw Problem(Exit::kSystem, configuration + " names no suffix");
    return value.data();
}

bool HoldsSuffix(const std::string &configuration, const std::string &suffix) {
    return LookUp(configuration, suffix).found;
}

bool HoldsEntry(const std::string &configuration, const std::string &dn) {
    const LookedUp result = LookUp(configuration, dn);
    if (!result.found && !result.done)
        throw Problem(Exit::kSystem,
                      fmt::format("slapcat cannot tell whether there is an entry {}: {}",
                                  OneLine(dn), result.words));
    return result.found;
}

Answer AskServer(const std::string &suffix) {
    Answer best = Answer::kSilent;
    for (const std::string &url : ListenUrls()) {
        const Answer answer = Ask(url, suffix);
        if (answer == Answer::kFound) return answer;
        if (answer == Answer::kOther) best = answer;
    }
    return best;
}

void ExpectServes(const std::string &configuration, const std::string &suffix) {
    const auto end = std::chrono::steady_clock::now() + kAnswerLimit;
    Answer answer = AskServer(suffix);
    while (answer == Answer::kSilent && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        answer = AskServer(suffix);
    }
    if (answer == Answer::kSilent)
        throw Problem(Exit::kServer, "the server does not answer with the restored entries");
    if (answer == Answer::kOther && !HoldsSuffix(configuration, suffix))
        throw Problem(Exit::kServer, "the server does not have the entry " + suffix);
}

}  // namespace zafo::backup
