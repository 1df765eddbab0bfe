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
    MustBe(ZAFOLDAPServerConfSet(&settings) == 0, "slapd.conf cannot be written");
    MustBe(ZAFOLDAPBrowserConfSetByServerParam(&settings) == 0, "the connection cannot be saved");
    MustBe(ZAFOLDAPServerACLConfGen(&settings) == 0, "the rules cannot be written");
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
    MustBe(enabled == 0, "the service cannot be enabled");
    g_filled = false;
    if (access("/usr/zafo/etc/openldap/slapd.conf", F_OK) != 0) return;
    MustBe(ZAFOLDAPServerDBReset() == 0, "the server cannot be reset");
}

void FillOwnServer() {
    if (g_filled) return;
    EmptyOwnServer();
    ZAFOLDAP_SERVER_PARAM settings = OwnSettings();
    settings.szSuffix = kBaseDN;
    settings.szRootDN = kBindDN;
    WriteFiles(settings);
    MustBe(QLIBCExec("/usr/zafo/bin/slapadd", "-q", "-l", kOwnEntries, nullptr) == 0,
           "the entries cannot be loaded");
    MustBe(ZAFOLDAPServerStart() == 0, "the server does not start");
    g_filled = true;
}

}  // namespace zafo::bench
