// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include "platform/process.h"
#include "src/frame/log.h"
#include "src/server/server_files.h"
#include "zafoldap/server.h"

namespace {

constexpr const char *kRemove = "/bin/rm";
constexpr const char *kCopy = "/bin/cp";
constexpr const char *kDatabaseSettings = "/usr/zafo/etc.defaults/openldap/data/DB_CONFIG";

#define ZAFO_DATABASE "/usr/zafo/etc/openldap/data/"

int EmptyDatabase() {
    if (QLIBCExec(kRemove, "-rf", ZAFO_DATABASE "/*", nullptr, nullptr) == 0) return 0;
    return ZAFO_FAILURE("run cmd [%s -rf %s/*] failed.", kRemove, ZAFO_DATABASE);
}

int CopySettings() {
    if (QLIBCExec(kCopy, kDatabaseSettings, ZAFO_DATABASE "/", nullptr, nullptr) == 0) return 0;
    return ZAFO_FAILURE("run cmd [%s %s %s/] failed.", kCopy, kDatabaseSettings, ZAFO_DATABASE);
}

int Remove(const char *path) {
    if (unlink(path) == 0) return 0;
    return ZAFO_FAILURE("remove %s failed.", path);
}

}  // namespace

int ZAFOLDAPServerDBReset(void) {
    if (ZAFOLDAPServerStop() != 0) return ZAFO_FAILURE("stop server daemon failed.");
    if (EmptyDatabase() != 0 || CopySettings() != 0) return -1;
    return Remove(zafo::kSlapdConf) == 0 ? Remove(zafo::kAccessRules) : -1;
}
