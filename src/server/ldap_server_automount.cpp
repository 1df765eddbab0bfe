// SPDX-License-Identifier: Apache-2.0
#include <string>

#include "platform/error.h"
#include "src/accounts/account_record.h"
#include "src/accounts/automount_value.h"
#include "src/core/change_file.h"
#include "src/core/own_record.h"
#include "src/core/result_codes.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/server/entry.h"
#include "zafoldap/connection.h"
#include "zafoldap/error.h"
#include "zafoldap/home.h"

namespace {

// On failure the library error holds the server's result code, if there is one.
int Add(const ZAFOLDAP_HOST &host, const zafo::Entry &entry) {
    ZAFOLDAPErrReset();
    return zafo::AddEntry(host, entry);
}

int AddUnlessThere(const ZAFOLDAP_HOST &host, const zafo::Entry &entry) {
    return Add(host, entry) == 0 || ZAFOLDAPErrGet() == zafo::kEntryAlreadyExists ? 0 : -1;
}

int AddMap(const ZAFOLDAP_HOST &host, const char *map) {
    return AddUnlessThere(
        host,
        {zafo::AutomountMapDN(host, map),
         {{"automountMapName", map}, {"objectClass", "top"}, {"objectClass", "automountMap"}}});
}

int AddMaps(const ZAFOLDAP_HOST &host) {
    if (AddMap(host, zafo::kMasterMap) != 0) return -1;
    if (AddUnlessThere(host, {zafo::AutomountKeyDN(host, zafo::kHomeKey, zafo::kMasterMap),
                              {{"automountKey", zafo::kHomeKey},
                               {zafo::kAutomountInformation, zafo::kHomeMap},
                               {"objectClass", "top"},
                               {"objectClass", "automount"}}}) != 0) {
        return -1;
    }
    return AddMap(host, zafo::kHomeMap);
}

int ReplaceInformation(const ZAFOLDAP_HOST &host, const std::string &dn, const std::string &value) {
    zafo::ChangeFile change;
    if (change.Open() != 0) return -1;
    ZAFOLDAPLdifTargetDN(change.get(), dn.c_str());
    ZAFOLDAPLdifChangeType(change.get(), "modify");
    zafo::ReplaceValue(change.get(), zafo::kAutomountInformation, value.c_str());
    return change.Apply(&host);
}

// Adds the wildcard key that covers all users, or updates the existing one.
int PublishHomes(const ZAFOLDAP_HOST &host, const std::string &value) {
    const std::string dn = zafo::AutomountKeyDN(host, zafo::kAnyKey, zafo::kHomeMap);
    if (Add(host, {dn,
                   {{"automountKey", zafo::kAnyKey},
                    {zafo::kAutomountInformation, value},
                    {"objectClass", "top"},
                    {"objectClass", "automount"}}}) == 0) {
        return 0;
    }
    if (ZAFOLDAPErrGet() != zafo::kEntryAlreadyExists) return -1;
    if (ReplaceInformation(host, dn, value) == 0) return 0;
    return ZAFO_FAILURE("Failed to update 'automountInformation' %s (%d)", zafo::ErrorKey(),
                        ZAFOLDAPErrGet());
}

int Publish(const char *host_name, const char *home_folder_path) {
    zafo::OwnHost server;
    if (ZAFOLDAPHostInitByBrowserConfig(&server, nullptr) <= 0) {
        return ZAFO_FAILURE("Init config failed. Start server first.");
    }
    if (AddMaps(server) != 0) return -1;
    const auto escaped = zafo::EscapedPath(home_folder_path);
    if (!escaped) {
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return ZAFO_FAILURE("Escape [%s] failed. [0x%04X]", home_folder_path,
                            zafo::PlatformError());
    }
    if (PublishHomes(server, zafo::AutomountValue(host_name, *escaped)) != 0) return -1;
    if (ZAFOLDAPBrowserUserHomeCreateAll(&server, host_name, home_folder_path) != 0) {
        ZAFO_LOG("Create user home folders failed. [%s] [%s] [0x%04X]", host_name, home_folder_path,
                 zafo::PlatformError());
    }
    return 0;
}

}  // namespace

int ZAFOLDAPServerAutomountCreate(const char *host_name, const char *home_folder_path) {
    if (host_name == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szHost");
    if (home_folder_path == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szHomeFolderPath");
    if (!zafo::IsOneLine(host_name)) return ZAFO_NOT_ONE_LINE("szHost");
    if (!zafo::IsOneLine(home_folder_path)) return ZAFO_NOT_ONE_LINE("szHomeFolderPath");
    return zafo::Guarded(-1, [=] { return Publish(host_name, home_folder_path); });
}
