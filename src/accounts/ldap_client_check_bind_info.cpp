// SPDX-License-Identifier: Apache-2.0
//
// Whether a connection can be used for accounts.
#include "core/own_record.h"
#include "frame/log.h"
#include "platform/ldap.h"
#include "zafoldap/browser.h"
#include "zafoldap/connection.h"
#include "zafoldap/debug.h"
#include "zafoldap/error.h"
#include "zafoldap/object_class.h"

namespace {

constexpr unsigned int kNeededClasses = ZAFOLDAP_CLASS_POSIX_ACCOUNT | ZAFOLDAP_CLASS_POSIX_GROUP |
                                        ZAFOLDAP_CLASS_INET_ORG_PERSON |
                                        ZAFOLDAP_CLASS_SHADOW_ACCOUNT;

int CheckListing(const ZAFOLDAP_HOST &host) {
    if (ZAFOLDAPPosixCheckEnumUser(&host) == 0) return 0;
    ZAFO_LOG("check enum failed, dn=[%s], %s (%d)",
             host.szBindDN != nullptr ? host.szBindDN : "(null)", zafo::ErrorKey(),
             ZAFOLDAPErrGet());
    return -1;
}

int CheckBinding() {
    if (ZAFOLDAPIsBinded(0) != 1) {
        ZAFO_DEBUG_LOG("is not binded");
        return -1;
    }
    zafo::OwnHost binding;
    if (ZAFOLDAPHostInitByBindConfig(&binding) < 1) {
        ZAFO_DEBUG_LOG("get bind info failed");
        return -1;
    }
    return CheckListing(binding);
}

// A server that lacks a class is told by the library error alone; the check itself has passed.
void JudgeClasses(unsigned int nSchema) {
    if ((nSchema & kNeededClasses) == kNeededClasses) return;
    ZAFOLDAPErrSet(ZAFOLDAP_ERR_SERVER_NOT_SUPPORT);
}

int CheckSavedConnection(const char *szSection) {
    zafo::OwnHost saved;
    if (ZAFOLDAPHostInitByBrowserConfig(&saved, szSection) < 1) return -1;
    const int nResult = ZAFOLDAPPosixCheckEnumUser(&saved);
    if (nResult >= 0) JudgeClasses(saved.nSchema);
    return nResult;
}

}  // namespace

int ZAFOLDAPClientCheckBindInfo(const ZAFOLDAP_HOST *pHost) {
    if (pHost == nullptr) return CheckBinding();
    if (CheckListing(*pHost) != 0) return -1;
    zafo::OwnHost clone;  // the caller's record keeps its schema bits
    if (ZAFOLDAPHostClone(&clone, pHost) != 0) {
        ZAFO_DEBUG_LOG("clone host info failed");
        return -1;
    }
    const int nResult = ZAFOLDAPHostGetSupportedSchema(&clone);
    if (nResult < 0) {
        ZAFO_LOG("get support schema failed(%d), %s (%d)", nResult, zafo::ErrorKey(),
                 ZAFOLDAPErrGet());
        ZAFOLDAPErrSet(ZAFOLDAP_ERR_SERVER_NOT_SUPPORT);
        return -1;
    }
    return 0;
}

int ZAFOLDAPBrowserCheckBindInfo(ZAFOLDAP_HOST *pHost, const char *szSection) {
    if (pHost == nullptr) return CheckSavedConnection(szSection);
    const int nResult = ZAFOLDAPPosixCheckEnumUser(pHost);
    if (nResult < 0) return nResult;
    zafo::OwnHost clone;
    if (ZAFOLDAPHostClone(&clone, pHost) != 0) return nResult;
    if (ZAFOLDAPHostGetSupportedSchema(&clone) < 0) return nResult;
    JudgeClasses(clone.nSchema);
    return nResult;
}
