/* SPDX-License-Identifier: Apache-2.0
 *
 * The C interface in one page: opens the saved connection named on the command
 * line, counts the users, adds an entry, changes it, reads it back and deletes
 * it again.
 *
 *     cc $(pkg-config --cflags --libs zafoldap) search_and_change.c -o search_and_change
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
    return 1;
}

static int count_users(const ZAFOLDAP_HOST *pHost) {
    ZAFOLDAP_SEARCH_REQUEST request;
    ZAFOLDAP_RESULT entry;
    int found = -1;

    ZAFOLDAPSearchRequestInit(&request, 1);
    request.szFilter = "objectClass=posixAccount";
    QLIBCSzListPush(&request.plistAttr, "uid");
    if (ZAFOLDAPSearchInit(pHost, &request, &entry) == 0) {
        while ((found = ZAFOLDAPSearchGetNext(&request, &entry)) == 1)
            continue;
        if (found == 0) printf("users: %d\n", entry.nEntry);
    }
    ZAFOLDAPSearchFree(&request, &entry);
    return found;
}

static int add(const ZAFOLDAP_HOST *pHost, const char *szDN) {
    ZAFOLDAP_LDIF ldif;
    if (ZAFOLDAPLdifInit(&ldif, NULL) != 0) return -1;
    ZAFOLDAPLdifTargetDN(&ldif, szDN);
    ZAFOLDAPLdifChangeType(&ldif, "add");
    ZAFOLDAPLdifAttr(&ldif, "objectClass", "%s", "organizationalRole");
    ZAFOLDAPLdifAttr(&ldif, "cn", "%s", "printers");
    return ZAFOLDAPModify(pHost, &ldif, 0);
}

static int describe(const ZAFOLDAP_HOST *pHost, const char *szDN, const char *szText) {
    ZAFOLDAP_LDIF ldif;
    if (ZAFOLDAPLdifInit(&ldif, NULL) != 0) return -1;
    ZAFOLDAPLdifTargetDN(&ldif, szDN);
    ZAFOLDAPLdifChangeType(&ldif, "modify");
    ZAFOLDAPLdifAttrReplace(&ldif, "description", "%s", szText);
    return ZAFOLDAPModify(pHost, &ldif, 0);
}

static int delete_entry(const ZAFOLDAP_HOST *pHost, const char *szDN) {
    ZAFOLDAP_LDIF ldif;
    if (ZAFOLDAPLdifInit(&ldif, NULL) != 0) return -1;
    /* Written as attribute lines: a file with none of them counts as empty and is not run. */
    ZAFOLDAPLdifAttr(&ldif, "dn", "%s", szDN);
    ZAFOLDAPLdifAttr(&ldif, "changetype", "delete");
    return ZAFOLDAPModify(pHost, &ldif, 0);
}

static int walk_through(const ZAFOLDAP_HOST *pHost) {
    char szDN[1024], szText[256];

    printf("connected to %s, server type %d, object classes 0x%04X\n", pHost->szUri,
           pHost->nServerType, pHost->nSchema);
    if (count_users(pHost) != 0) return failed("count users");

    snprintf(szDN, sizeof szDN, "cn=printers,%s", pHost->szBaseDN);
    if (add(pHost, szDN) != 0) return failed("add");
    printf("added   %s\n", szDN);
    if (describe(pHost, szDN, "All printers of the house") != 0) return failed("modify");
    if (ZAFOLDAPSearchGetValueByDN(pHost, szDN, NULL, "description", szText, sizeof szText) != 1) {
        return failed("read back");
    }
    printf("changed description: %s\n", szText);
    if (add(pHost, szDN) == 0) return 1;
    printf("adding it again is refused: %s\n", ZAFOLDAPErrGetString(ZAFOLDAPErrGet(), NULL));
    if (delete_entry(pHost, szDN) != 0) return failed("delete");
    printf("deleted %s\n", szDN);
    return 0;
}

int main(int argc, char **argv) {
    ZAFOLDAP_HOST host;
    int result = 1;
    if (argc != 2) {
        fprintf(stderr, "usage: search_and_change CONNECTION\n");
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
