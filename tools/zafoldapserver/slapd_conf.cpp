// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/slapd_conf.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>

#include "base/appliance_paths.h"
#include "base/directives.h"
#include "base/whole_file.h"
#include "platform/ldap.h"
#include "platform/szhash.h"
#include "tools/cli/display_text.h"
#include "tools/cli/tool_run.h"
#include "zafoldap/server.h"

namespace zafo::cli {

namespace {

constexpr const char *kSlaptest = "/usr/sbin/slaptest";

void WriteTextFile(const std::string &path, std::string_view text) {
    std::ofstream file(path);
    file << text;
    file.close();
    if (!file)
        throw OwnFailure(Message::kFolderUnwritable,
                         {.subject = path, .reason = std::strerror(errno)});
}

}  // namespace

std::optional<std::string> ReadTextFile(const std::string &path) {
    std::string text;
    return ReadWhole(path, &text) == ReadResult::kDone ? std::optional(text) : std::nullopt;
}

std::optional<std::string> FaultOfConfiguration(Streams &streams, const std::string &path) {
    streams.ForgetToolWords();
    const std::optional<ToolRun> run = RunTool({kSlaptest, "-u", "-f", path});
    if (!run) throw OwnFailure(Message::kSlapdMissing, {.subject = kSlaptest});
    if (run->status == 0) return std::nullopt;
    const std::string words = run->output + streams.ToolWords();
    return words.empty() ? "slaptest gave no reason" : words;
}

Staging::Staging() : folder_("zafoldapserver") {
    if (folder_.Error() != 0)
        throw OwnFailure(Message::kFolderUnwritable,
                         {.subject = "/tmp", .reason = std::strerror(folder_.Error())});
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

// The copy refers to the rules in the staging folder and to a data folder there, because slapd
// checks that it exists.
std::optional<std::string> Staging::Test(Streams &streams, const std::string &configuration,
                                         const std::string &rules) const {
    const std::string data = Path("data");
    mkdir(data.c_str(), 0700);
    WriteTextFile(Path("slapd-acls.conf"), rules);
    WriteTextFile(Path("slapd.conf"),
                  Directives(configuration).Rewritten([&](const Directive &directive) {
                      if (directive.Is("include") && directive.Unquoted() == kAccessRules)
                          return "include " + Path("slapd-acls.conf") + "\n";
                      if (directive.Is("directory")) return "directory " + data + "\n";
                      return directive.text;
                  }));
    std::optional<std::string> words = FaultOfConfiguration(streams, Path("slapd.conf"));
    if (words) words = Replaced(*words, folder_.Path(), kServerFolder);
    return words;
}

bool SameConfiguration(std::string_view a, std::string_view b) {
    const auto without_password = [](std::string_view text) {
        std::string rest = Directives(text).Rewritten([](const Directive &directive) {
            return directive.Is("rootpw") ? directive.key + "\n" : directive.text;
        });
        return rest.ends_with('\n') ? rest : rest + "\n";
    };
    return without_password(a) == without_password(b);
}

RulesState StateOfRules(const Staging &staging, const std::string &suffix) {
    const std::optional<std::string> rules = ReadTextFile(kAccessRules);
    if (!rules) return RulesState::kMissing;
    return *rules == staging.AccessRules(suffix) ? RulesState::kAsWritten : RulesState::kByHand;
}

}  // namespace zafo::cli
