// SPDX-License-Identifier: Apache-2.0
#include "bench/own_server.h"

#include <unistd.h>

#include <stdexcept>

#include "bench/places.h"
#include "platform/process.h"
#include "platform/service.h"
#include "zafoldap/connection.h"

namespace zafo::bench {

namespace {

bool g_filled = false;

// The files that the library writes itself.
void WriteFiles(const ZAFOLDAP_SERVER_PARAM &settings) {
    MustBe(ZAFOLDAPServerConfSet(&settings) == 0, "cannot write slapd.conf");
    MustBe(ZAFOLDAPBrowserConfSetByServerParam(&settings) == 0, "cannot save the connection");
    MustBe(ZAFOLDAPServerACLConfGen(&settings) == 0, "cannot write the access rules");
}

}  // namespace

void MustBe(bool done, const char *what) {
    if (!done) throw std::runtime_error(what);
}

ZAFOLDAP_SERVER_PARAM OwnSettings() {
    ZAFOLDAP_SERVER_PARAM settings{};
    settings.szSuffix = "dc=bench,dc=example";
    settings.szRootDN = "cn=admin,dc=bench,dc=example";
    settings.szRootPW = "Geheimnis1";
    return settings;
}

void EnableOwnServer() {
    const ZAFOLDAP_SERVER_PARAM settings = OwnSettings();
    MustBe(ZAFOLDAPServerEnable(&settings) == 0, "the server was not enabled");
}

void EmptyOwnServer() {
    static const int enabled = QLIBServiceEnable("ldap-server");
    MustBe(enabled == 0, "cannot enable the service");
    g_filled = false;
    if (access("/usr/zafo/etc/openldap/slapd.conf", F_OK) != 0) return;
    MustBe(ZAFOLDAPServerDBReset() == 0, "cannot reset the server");
}

void FillOwnServer() {
    if (g_filled) return;
    EmptyOwnServer();
    ZAFOLDAP_SERVER_PARAM settings = OwnSettings();
    settings.szSuffix = kBaseDN;
    settings.szRootDN = kBindDN;
    WriteFiles(settings);
    MustBe(QLIBCExec("/usr/zafo/bin/slapadd", "-q", "-l", kOwnEntries, nullptr) == 0,
           "cannot load the entries");
    MustBe(ZAFOLDAPServerStart() == 0, "cannot start the server");
    g_filled = true;
}

}  // namespace zafo::bench
