// SPDX-License-Identifier: Apache-2.0
#include "tests/integration/own_server.h"

#include <filesystem>
#include <stdexcept>

#include "platform/service.h"

namespace zafo::test {

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kDefaultGroup = 1000001;

}  // namespace

ZAFOLDAP_SERVER_PARAM ServerSettings::Record() const {
    ZAFOLDAP_SERVER_PARAM record{};
    record.szSuffix = suffix.c_str();
    record.szRootDN = admin.c_str();
    record.szRootPW = password.c_str();
    return record;
}

OwnServer::OwnServer(ServerSettings settings) : settings_(std::move(settings)) {
    const ZAFOLDAP_SERVER_PARAM record = settings_.Record();
    if (QLIBServiceEnable(kService) != 0) throw std::runtime_error("the service is not enabled");
    if (ZAFOLDAPServerEnable(&record) != 0) throw std::runtime_error("the server is not enabled");
    if (ZAFOLDAPHostInitByBrowserConfig(&host_, nullptr) != 1)
        throw std::runtime_error("the server does not answer");
}

OwnServer::~OwnServer() {
    ZAFOLDAPHostFree(&host_);
    ForgetServer();
}

OwnServer &OwnServer::Get() {
    static OwnServer server;
    return server;
}

std::string OwnServer::UserDN(const std::string &name) const {
    return "uid=" + name + ",cn=users," + settings_.suffix;
}

std::string OwnServer::GroupDN(const std::string &name) const {
    return "cn=" + name + ",cn=groups," + settings_.suffix;
}

void OwnServer::AddUser(const std::string &name, const std::string &password) const {
    std::string login = name, secret = password, full_name = "User " + name,
                mail = name + "@example.com";
    ZAFOUSER user{};
    user.szName = login.data();
    user.szPasswd = secret.data();
    user.szFullname = full_name.data();
    user.szMail = mail.data();
    user.pw_uid = static_cast<uint32_t>(ZAFOLDAPSambaUIDGen(&host_));
    user.pw_gid = kDefaultGroup;
    user.nExpire = -1;
    if (ZAFOLDAPBrowserUserCreate(&host_, &user, nullptr, nullptr) != 0)
        throw std::runtime_error("user " + name + " was not created");
}

rig::ProgramRun OwnServer::Client(const Identity &who, const std::string &tool,
                                  const std::vector<std::string> &arguments,
                                  std::string_view input) const {
    std::vector<std::string> argv{tool, "-x", "-ZZ", "-H", "ldap://localhost"};
    if (!who.dn.empty()) argv.insert(argv.end(), {"-D", who.dn, "-w", who.password});
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return rig::RunProgram(argv, input);
}

void OwnServer::Change(std::string_view ldif) const {
    const rig::ProgramRun run = Client(Admin(), "ldapmodify", {}, ldif);
    if (run.exit_code != 0) throw std::runtime_error("ldapmodify: " + run.err);
}

void ForgetServer() {
    ZAFOLDAPServerStop();
    QLIBServiceDisable(kService);
    for (const char *path :
         {"/usr/zafo/etc/openldap", "/usr/zafo/etc/private/ldapbrowser.conf", "/usr/zafo/etc/ssl"})
        fs::remove_all(path);
    fs::create_directories("/usr/zafo/etc/openldap/data");
}

}  // namespace zafo::test
