// SPDX-License-Identifier: Apache-2.0
//
// For tests of loading and saving connections: an appliance without any settings, and a scripted
// server that describes itself.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>

#include "platform/file.h"
#include "tests/core/core_fixture.h"

namespace zafo::core_test {

inline constexpr const char *kBrowserConf = "/usr/zafo/etc/private/ldapbrowser.conf";
inline constexpr const char *kNslcdConf = "/usr/zafo/etc/nslcd.conf";
inline constexpr const char *kSecretFile = "/usr/zafo/etc/private/ldap.secret";
inline constexpr const char *kClientConf = "/usr/zafo/etc/ldapclient.conf";

class ConnectionTest : public CoreTest {
  protected:
    ConnectionTest() { RemoveSettings(); }
    ~ConnectionTest() override {
        ZAFOLDAPHostFree(&record_);
        RemoveSettings();
    }

    static void RemoveSettings() {
        for (const char *path : {kBrowserConf, kNslcdConf, kSecretFile, kClientConf}) {
            std::filesystem::remove(path);
        }
        std::filesystem::remove(std::string(kBrowserConf) + ".lock");
    }
    static void Write(const char *path, const std::string &text) { std::ofstream(path) << text; }

    // The key-value pairs of a saved connection.
    static std::map<std::string, std::string> Section(const char *name) {
        QLIBSZHASH *pairs = QLIBCSzHashAlloc(16);
        std::map<std::string, std::string> section;
        QLIBCFileGetSection(kBrowserConf, name, pairs);
        for (const char *key :
             {"uri", "basedn", "binddn", "loginsuffix", "bindpw", "ssl", "note"}) {
            if (const char *value = QLIBCSzHashGetValue(pairs, key)) section[key] = value;
        }
        QLIBCSzHashFree(pairs);
        return section;
    }

    // Scripts the appliance's own server, whose schema contains posixAccount.
    void ScriptWholeServer() {
        tools_.On("ldapsearch").IgnoreSignals().Output("dn: cn=zafoconf,dc=x\n\n");
        ScriptSchema("objectClasses: ( 1.3.6.1.1.1.2.0 NAME 'posixAccount' SUP top )\n");
    }
    void ScriptSchema(const std::string &lines) {
        tools_.On("ldapsearch").IgnoreSignals().Output("dn:\nsubschemaSubentry: cn=Subschema\n\n");
        tools_.On("ldapsearch").IgnoreSignals().Output("dn: cn=Subschema\n" + lines + "\n");
    }

    ZAFOLDAP_HOST record_{};
};

}  // namespace zafo::core_test
