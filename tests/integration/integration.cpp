// SPDX-License-Identifier: Apache-2.0
#include "tests/integration/integration.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <new>
#include <stdexcept>

#include "platform/error.h"

namespace zafo::test {

namespace {

const char *OrNull(const std::string &text) {
    return text.empty() ? nullptr : text.c_str();
}

}  // namespace

Connection::Connection(const std::string &uri, int ssl_type, const std::string &base) {
    if (ZAFOLDAPHostInit(&host_) != 0) throw std::bad_alloc();
    ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_URI, uri.c_str());
    ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BASEDN, base.c_str());
    host_.nSSLType = ssl_type;
    const ExampleDirectory &directory = ExampleDirectory::Get();
    BindAs(directory.BindDN(), directory.Password().c_str());
}

Connection::Connection(const ExampleDirectory &directory) {
    if (ZAFOLDAPHostInit(&host_) != 0) throw std::bad_alloc();
    ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_URI, directory.Uri().c_str());
    ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BASEDN, rig::kExampleBase);
    ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_LOGIN_SUFFIX, "example.com");
    BindAs(directory.BindDN(), directory.Password().c_str());
    if (ZAFOLDAPBrowserCheckServerType(&host_) != 0 ||
        ZAFOLDAPHostGetSupportedSchema(&host_) != 0) {
        throw std::runtime_error("the server does not say what it is");
    }
}

Connection::~Connection() {
    ZAFOLDAPHostFree(&host_);
}

Connection &Connection::BindAs(const char *dn, const char *password) {
    ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BINDDN, dn);
    ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BINDPW, password);
    return *this;
}

ZAFOLDAP_SEARCH_REQUEST Request(const Query &query) {
    ZAFOLDAP_SEARCH_REQUEST request;
    if (ZAFOLDAPSearchRequestInit(&request, 1) != 0) throw std::bad_alloc();
    request.szBase = OrNull(query.base);
    request.blBaseAsIs = query.base.empty() ? 0 : 1;
    request.szFilter = OrNull(query.filter);
    request.szScope = OrNull(query.scope);
    for (const std::string &attribute : query.attributes) {
        QLIBCSzListPush(&request.plistAttr, attribute.c_str());
    }
    request.nOffset = query.offset;
    request.nCount = query.count;
    request.nSizeLimit = query.size_limit;
    return request;
}

std::vector<std::string> SearchOutcome::DNs() const {
    std::vector<std::string> dns;
    for (const LdifEntry &entry : entries)
        dns.push_back(entry.dn);
    return dns;
}

LdifEntry EntryOf(const ZAFOLDAP_RESULT &result) {
    const char *value = nullptr;
    const char *name = ZAFOLDAPResultGetAt(&result, 0, &value);
    if (name == nullptr || std::string(name) != "dn") {
        throw std::runtime_error("an entry does not begin with its DN");
    }
    LdifEntry entry(value);
    for (int index = 1; index < ZAFOLDAPResultGetAttrCount(&result); ++index) {
        name = ZAFOLDAPResultGetAt(&result, index, &value);
        entry.values.emplace_back(name, value);
    }
    return entry;
}

SearchOutcome Search(const ZAFOLDAP_HOST *host, const Query &query) {
    SearchOutcome outcome{};
    ZAFOLDAP_SEARCH_REQUEST request = Request(query);
    ZAFOLDAP_RESULT result;
    ZAFOLDAPErrReset();
    QLIBCErrSet(QLIB_ERR_NONE);
    const auto begin = std::chrono::steady_clock::now();
    outcome.result = ZAFOLDAPSearchInit(host, &request, &result);
    if (outcome.result == 0) {
        while ((outcome.result = ZAFOLDAPSearchGetNext(&request, &result)) == 1) {
            outcome.entries.push_back(EntryOf(result));
        }
    }
    outcome.ldap_error = ZAFOLDAPErrGet();
    outcome.platform_error = QLIBCErrGet();
    outcome.time = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - begin);
    ZAFOLDAPSearchFree(&request, &result);
    return outcome;
}

LdifEntry AsText(LdifEntry entry) {
    for (auto &[name, value] : entry.values)
        value.resize(std::min(value.find('\0'), value.size()));
    return entry;
}

StringList::StringList() : list_(QLIBCSzListAlloc(1024)) {
    if (list_ == nullptr) throw std::bad_alloc();
}

StringList::~StringList() {
    QLIBCSzListFree(list_);
}

std::vector<std::string> StringList::Content() const {
    std::vector<std::string> content;
    for (int index = 0; index < list_->nItem; ++index) {
        content.emplace_back(QLIBCSzListGet(list_, index));
    }
    return content;
}

// If a process ends while its files are being read, returns what was read so far.
std::string FileContent(const std::string &path) {
    std::string content;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return content;
    char buffer[1 << 14];
    for (ssize_t n = 0; (n = read(fd, buffer, sizeof buffer)) > 0;) {
        content.append(buffer, static_cast<size_t>(n));
    }
    close(fd);
    return content;
}

void WriteFile(const std::string &path, const std::string &content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!(file << content).flush()) throw std::runtime_error("cannot write " + path);
}

std::vector<int> ProcessesRunning(const std::string &text) {
    std::vector<int> pids;
    for (const auto &item : std::filesystem::directory_iterator("/proc")) {
        const std::string name = item.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        if (name == std::to_string(getpid())) continue;
        if (FileContent(item.path() / "cmdline").find(text) != std::string::npos) {
            pids.push_back(std::stoi(name));
        }
    }
    return pids;
}

}  // namespace zafo::test
