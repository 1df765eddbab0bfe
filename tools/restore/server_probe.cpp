// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/server_probe.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <thread>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/directives.h"
#include "base/dn.h"
#include "base/listen_urls.h"
#include "tools/backup/child.h"
#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

constexpr int kHighestResult = 80;  // of LDAP (RFC 4511); tools exit with others for no result
constexpr std::chrono::seconds kAnswerLimit{10};

struct LookedUp {
    bool found = false;
    bool done = false;  // slapcat has read the whole database
    std::string words = {};
};

Answer Ask(const std::string &url, const std::string &suffix) {
    Pipe pipe = MakePipe();
    Child search({.argv = {kLdapsearch, "-x", "-LLL", "-o", "TLS_REQCERT=never", "-o",
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
                            fmt::format("ldap:///{}??base", EscapedForUrl(dn))},
                   .output = pipe.writer.Get()});
    pipe.writer.Reset(-1);
    char byte = '\0';
    const bool found = ReadSome(pipe.reader.Get(), &byte, 1) == 1;
    // slapcat ends when its reader does.
    pipe.reader.Reset(-1);
    const int status = slapcat.Wait();
    return {.found = found, .done = status == 0, .words = OneLine(slapcat.Words())};
}

}  // namespace

std::string SuffixOf(const std::string &configuration) {
    std::string suffix = DirectiveOf(configuration, "suffix");
    if (!suffix.empty()) return suffix;
    const bool readable = access(configuration.c_str(), R_OK) == 0;
    throw JobError(Exit::kSystem, fmt::format("{} {}: the server is not set up", configuration,
                                              readable ? "names no suffix" : "cannot be read"));
}

bool HoldsSuffix(const std::string &configuration, const std::string &suffix) {
    return LookUp(configuration, suffix).found;
}

bool HoldsEntry(const std::string &configuration, const std::string &dn) {
    const LookedUp result = LookUp(configuration, dn);
    if (!result.found && !result.done)
        throw JobError(Exit::kSystem,
                       fmt::format("slapcat cannot tell whether there is an entry {}: {}",
                                   OneLine(dn), result.words));
    return result.found;
}

Answer AskServer(const std::string &suffix) {
    Answer best = Answer::kSilent;
    // A URL without a host means all addresses to the server, and this machine to a client.
    for (const std::string &url : ListenUrls({kServiceSettings, kServiceDefaults})) {
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
        throw JobError(Exit::kServer, "the server does not answer with the restored entries");
    if (answer == Answer::kOther && !HoldsSuffix(configuration, suffix))
        throw JobError(Exit::kServer, "the server does not have the entry " + suffix);
}

}  // namespace zafo::backup
