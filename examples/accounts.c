/* SPDX-License-Identifier: Apache-2.0
 *
 * Accounts through the C interface: opens the saved connection named on the command line, makes a
 * group and a user with a password, puts one into the other, renames the user, and deletes both.
 *
 *     cc $(pkg-config --cflags --libs zafoldap) accounts.c -o accounts
 */
#include <stdio.h>
#include <string.h>

#include "platform/error.h"
#include "zafoldap.h"

/* Why the last call failed: a message key of the user interface, and the numbers. */
static int failed(const char *szWhat) {
    const char *szSection = "common";
    const char *szKey = ZAFOLDAPErrGetString(ZAFOLDAPErrGet(), &szSection);
    fprintf(stderr, "%s: %s/%s (LDAP %d, platform 0x%04X)\n", szWhat, szSection, szKey,
            ZAFOLDAPErrGet(), (unsigned)QLIBCErrGet());
    return -1;
}

static int create_group(const ZAFOLDAP_HOST *pHost, const char *szName, unsigned int *pGid) {
    ZAFOGROUP *pGroup = NULL;
    int gid = ZAFOLDAPBrowserSuggestGid(pHost), result;
    if (gid < 0) return failed("suggest a gid");
    if (ZAFOGroupAlloc(&pGroup, szName, (uint32_t)gid, NULL) != 0) return failed("group record");
    result = ZAFOLDAPBrowserGroupCreate(pHost, pGroup, "Made by an example", NULL, NULL);
    ZAFOGroupFree(pGroup);
    if (result != 0) return failed("create the group");
    *pGid = (unsigned int)gid;
    printf("group %s has gid %u\n", szName, *pGid);
    return 0;
}

static int create_user(const ZAFOLDAP_HOST *pHost, const char *szName, unsigned int gid) {
    ZAFOUSER *pUser = NULL;
    int uid = ZAFOLDAPBrowserSuggestUid(pHost), result;
    if (uid < 0) return failed("suggest a uid");
    /* Expiry -1: never. No shell and no home: "/bin/sh" and "/home/NAME". */
    if (ZAFOUserAlloc(&pUser, szName, "correct horse battery", (uint32_t)uid, gid, "Zoë Example",
                      NULL, NULL, -1, 0, "zoe@example.com") != 0) {
        return failed("user record");
    }
    result = ZAFOLDAPBrowserUserCreate(pHost, pUser, NULL, NULL);
    ZAFOUserFree(pUser);
    if (result != 0) return failed("create the user");
    printf("user %s has uid %d\n", szName, uid);
    return 0;
}

static int add_to_group(const ZAFOLDAP_HOST *pHost, const char *szUser, const char *szGroup) {
    char szGroupDN[1024];
    QLIBSZLIST *pGroups = QLIBCSzListAlloc(64);
    int result = -1;
    if (ZAFOLDAPBrowserGetDNByGroupCN(pHost, szGroup, szGroupDN, sizeof szGroupDN) == 1 &&
        QLIBCSzListPush(&pGroups, szGroupDN) == 0) {
        result = ZAFOLDAPBrowserGroupEditByUserUID(pHost, szUser, pGroups, NULL);
    }
    QLIBCSzListFree(pGroups);
    return result == 0 ? 0 : failed("add to the group");
}

static int rename_user(const ZAFOLDAP_HOST *pHost, const char *szName, const char *szNewName) {
    ZAFOUSER change = {0}; /* unchanged fields: NULL, UID_ERR, GID_ERR */
    char szDN[1024];
    change.szName = (char *)szNewName;
    change.pw_uid = UID_ERR;
    change.pw_gid = GID_ERR;
    if (ZAFOLDAPBrowserGetDNByUserUID(pHost, szName, szDN, sizeof szDN) != 1) {
        return failed("find the user");
    }
    if (ZAFOLDAPBrowserUserEdit(pHost, szDN, &change, NULL, NULL) != 0) return failed("rename");
    return 0;
}

static int show_groups(const ZAFOLDAP_HOST *pHost, const char *szName) {
    QLIBSZLIST *pNames = QLIBCSzListAlloc(64);
    int i, count = ZAFOLDAPBrowserGroupEnumByUserUID(pHost, szName, NULL, &pNames);
    for (i = 0; i < count; ++i)
        printf("user %s is in %s\n", szName, QLIBCSzListGet(pNames, i));
    QLIBCSzListFree(pNames);
    return count < 0 ? failed("list the groups") : 0;
}

static int walk_through(const ZAFOLDAP_HOST *pHost) {
    unsigned int gid = 0;
    if (create_group(pHost, "crew", &gid) != 0 || create_user(pHost, "zoe", gid) != 0 ||
        add_to_group(pHost, "zoe", "crew") != 0 || rename_user(pHost, "zoe", "zora") != 0 ||
        show_groups(pHost, "zora") != 0) {
        return 1;
    }
    if (ZAFOLDAPBrowserDeleteUser(pHost, "zora") != 0) return failed("delete the user"), 1;
    if (ZAFOLDAPBrowserDeleteGroup(pHost, "crew") != 0) return failed("delete the group"), 1;
    printf("both are gone again\n");
    return 0;
}

int main(int argc, char **argv) {
    ZAFOLDAP_HOST host;
    int result = 1;
    if (argc != 2) {
        fprintf(stderr, "usage: accounts CONNECTION\n");
        return 2;
    }
    if (ZAFOLDAPHostInitByBrowserConfig(&host, argv[1]) == 1) {
        result = walk_through(&host);
    } else {
        failed("connect");
    }
    ZAFOLDAPHostFree(&host);
    return result;
}
