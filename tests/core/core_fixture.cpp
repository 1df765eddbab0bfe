// SPDX-License-Identifier: Apache-2.0
#include "tests/core/core_fixture.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/error.h"

namespace zafo::core_test {

namespace fs = std::filesystem;

void SetStaleCodes() {
    ZAFOLDAPErrSet(kStaleLdapCode);
    QLIBCErrSet(kStalePlatformCode);
}

namespace {

// Names and targets, without the descriptor that reads the folder itself.
std::set<std::string> OpenDescriptors() {
    std::set<std::string> open;
    for (const auto &entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const fs::path target = fs::read_symlink(entry.path(), error);
        if (error || target.string().ends_with("/fd")) continue;
        open.insert(entry.path().filename().string() + " " + target.string());
    }
    return open;
}

std::set<std::string> TemporaryFiles() {
    std::set<std::string> names;
    for (const auto &entry : fs::directory_iterator("/tmp")) {
        if (entry.path().filename() != "fake-tools") names.insert(entry.path().filename());
    }
    return names;
}

// Includes zombies: "PID (NAME) STATE PPID …". The private root's system log daemon is one of them.
std::set<std::string> Children() {
    std::set<std::string> children;
    for (const auto &entry : fs::directory_iterator("/proc")) {
        std::ifstream file(entry.path() / "stat");
        std::string stat;
        if (!isdigit(entry.path().filename().c_str()[0]) || !std::getline(file, stat)) continue;
        std::istringstream rest(stat.substr(stat.rfind(')') + 1));
        char state = 0;
        pid_t parent = 0;
        if (rest >> state >> parent && parent == getpid()) children.insert(entry.path().filename());
    }
    return children;
}

}  // namespace

Belongings Belongings::Now() {
    return {OpenDescriptors(), TemporaryFiles(), Children()};
}

void PrintTo(const Belongings &belongings, std::ostream *out) {
    *out << testing::PrintToString(belongings.descriptors) << " "
         << testing::PrintToString(belongings.temporary_files) << " "
         << testing::PrintToString(belongings.children);
}

CoreTest::CoreTest() : before_(Belongings::Now()) {
    host_.szUri = "server";
    host_.szBaseDN = "dc=example,dc=com";
    log_.Clear();
    SetStaleCodes();
}

CoreTest::~CoreTest() {
    EXPECT_EQ(Belongings::Now(), before_) << "something was left behind";
    ZAFOLDAPErrReset();
}

Texts CoreTest::LibraryMessages() {
    Texts messages = log_.Messages();
    std::erase_if(messages, [](const std::string &text) { return !text.starts_with("ldap_"); });
    return messages;
}

Texts CoreTest::LoggedTexts() {
    Texts texts;
    for (const std::string &message : log_.Messages()) {
        const size_t blank = message.find(' ');
        texts.push_back(blank == std::string::npos ? message : message.substr(blank + 1));
    }
    return texts;
}

Texts Items(const QLIBSZLIST *list) {
    Texts items;
    for (int i = 0; list != nullptr && i < list->nItem; ++i) {
        items.push_back(QLIBCSzListGet(list, i));
    }
    return items;
}

Texts FieldsOf(const ZAFOLDAP_HOST &host) {
    Texts fields;
    for (const char *field :
         {host.szUri, host.szBaseDN, host.szBindDN, host.szBindPasswd, host.szLoginSuffix}) {
        fields.emplace_back(field == nullptr ? "-" : field);
    }
    return fields;
}

std::string ContentOf(const std::string &path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

Texts List::Items() const {
    return core_test::Items(list_);
}

Entry PairsOf(const ZAFOLDAP_RESULT &result) {
    Entry entry;
    for (int i = 0; i < ZAFOLDAPResultGetAttrCount(&result); ++i) {
        const char *value = nullptr;
        const char *name = ZAFOLDAPResultGetAt(&result, i, &value);
        entry.emplace_back(name, value);
    }
    return entry;
}

Request::Request(std::initializer_list<const char *> attributes) {
    ZAFOLDAPSearchRequestInit(this, 1);
    for (const char *attribute : attributes)
        QLIBCSzListPush(&plistAttr, attribute);
}

Search RunSearch(const ZAFOLDAP_HOST &host, const ZAFOLDAP_SEARCH_REQUEST &request) {
    Search search;
    ZAFOLDAP_SEARCH_REQUEST own{};
    ZAFOLDAP_RESULT result;
    ZAFOLDAPSearchRequestClone(&own, &request);
    search.last = ZAFOLDAPSearchInit(&host, &own, &result);
    if (search.last == 0) {
        while ((search.last = ZAFOLDAPSearchGetNext(&own, &result)) == 1) {
            search.entries.push_back(PairsOf(result));
        }
    }
    search.exit_code = result.nExitCode;
    search.counted = result.nEntry;
    ZAFOLDAPSearchFree(&own, &result);
    return search;
}

}  // namespace zafo::core_test
