// SPDX-License-Identifier: Apache-2.0
//
// Where the appliance's directory server keeps what (zafoldap/server.h, platform/service.h).
#pragma once

namespace zafo::cli {

constexpr const char *kService = "ldap-server";
constexpr const char *kOwnConnection = "root";

constexpr const char *kServerFolder = "/usr/zafo/etc/openldap";
constexpr const char *kSlapdConf = "/usr/zafo/etc/openldap/slapd.conf";
constexpr const char *kSlapdTemplate = "/usr/zafo/etc.defaults/openldap/slapd.conf.template";
constexpr const char *kAccessRules = "/usr/zafo/etc/openldap/slapd-acls.conf";
constexpr const char *kDataFolder = "/usr/zafo/etc/openldap/data";
constexpr const char *kDataFile = "/usr/zafo/etc/openldap/data/data.mdb";
constexpr const char *kPrivateFolder = "/usr/zafo/etc/private";
constexpr const char *kServiceFolder = "/usr/zafo/etc/service";
constexpr const char *kServiceDefaults = "/usr/zafo/etc.defaults/service/ldap-server.conf";
constexpr const char *kServiceSettings = "/usr/zafo/etc/service/ldap-server.conf";
constexpr const char *kTrustFolder = "/usr/zafo/etc/ssl";
constexpr const char *kAuthority = "/usr/zafo/etc/ssl/ca.pem";
constexpr const char *kRunFolder = "/var/run";
constexpr const char *kPidFile = "/var/run/slapd.pid";
constexpr const char *kSystemLog = "/var/log/messages";

}  // namespace zafo::cli
