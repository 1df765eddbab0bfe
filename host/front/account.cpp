// SPDX-License-Identifier: Apache-2.0
//
// The account files are read here, line by line: a static program must not use
// the C library's lookups, which load the name services of another build.
#include "host/front/account.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "base/lines.h"
#include "base/server_account.h"
#include "host/front/failure.h"
#include "host/front/text_file.h"

namespace zafo::front {

namespace {

constexpr size_t kMaxGroups = 256;

struct Account {
    unsigned uid = 0;
    unsigned gid = 0;
};

bool FindAccount(std::string_view user, Account &account) {
    const TextFile file("/etc/passwd");
    for (std::string_view rest = file.Text(); !rest.empty();) {
        std::string_view line = TakeLine(&rest);
        if (TakeField(&line, ':') != user) continue;
        TakeField(&line, ':');
        return ParseNumber(TakeField(&line, ':'), account.uid) &&
               ParseNumber(TakeField(&line, ':'), account.gid);
    }
    return false;
}

bool Lists(std::string_view members, std::string_view user) {
    while (!members.empty()) {
        if (TakeField(&members, ',') == user) return true;
    }
    return false;
}

size_t FindGroups(std::string_view user, gid_t primary, gid_t *groups) {
    const TextFile file("/etc/group");
    size_t count = 0;
    groups[count++] = primary;
    for (std::string_view rest = file.Text(); !rest.empty() && count < kMaxGroups;) {
        std::string_view line = TakeLine(&rest);
        TakeField(&line, ':');
        TakeField(&line, ':');
        unsigned gid = 0;
        if (!ParseNumber(TakeField(&line, ':'), gid) || gid == primary) continue;
        if (Lists(line, user)) groups[count++] = gid;
    }
    return count;
}

// In an ordinary user's namespace only that user's own number is real; the server runs as this
// user, too.
bool IsMapped(unsigned uid) {
    const TextFile file("/proc/self/uid_map");
    for (std::string_view rest = file.Text(); !rest.empty();) {
        std::string_view line = TakeLine(&rest);
        unsigned first = 0;
        unsigned count = 0;
        if (!ParseNumber(TakeWord(&line), first)) continue;
        TakeWord(&line);
        if (ParseNumber(TakeWord(&line), count) && uid >= first && uid - first < count) return true;
    }
    return false;
}

// False unless the caller is root and the root has that user.
bool FindServerUser(Account &account) {
    return geteuid() == 0 && FindAccount(kServerAccount, account) && IsMapped(account.uid);
}

}  // namespace

void BecomeServerUser() {
    Account account;
    if (!FindServerUser(account)) return;
    gid_t groups[kMaxGroups];
    const size_t count = FindGroups(kServerAccount, account.gid, groups);
    if (setgroups(count, groups) != 0 || setresgid(account.gid, account.gid, account.gid) != 0 ||
        setresuid(account.uid, account.uid, account.uid) != 0) {
        Fail(kRefused, "cannot become the directory server's user", errno);
    }
}

bool GiveToServerUser(const char *folder) {
    Account account;
    if (!FindServerUser(account)) return true;
    return chown(folder, account.uid, account.gid) == 0 && chmod(folder, 0700) == 0;
}

}  // namespace zafo::front
