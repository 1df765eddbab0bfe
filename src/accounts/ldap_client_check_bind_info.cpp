// SPDX-License-Identifier: Apache-2.0
//
// Checks whether a connection can be used for accounts.
#include "platform/ldap.h"
#include "src/core/own_record.h"
#include "src/frame/log.h"
#include "zafoldap/browser.h"
#include "zafoldap/connection.h"
#include "zafoldap/error.h"
#include "zafoldap/object_class.h"

namespace {

constexpr unsigned int kNeededClasses = ZAFOLDAP_CLASS_POSIX_ACCOUNT | ZAFOLDAP_CLASS_POSIX_GROUP |
                                        ZAFOLDAP_CLASS_INET_ORG_PERSON |
                                        ZAFOLDAP_CLASS_SHADOW_ACCOUNT;

int CheckListing(const ZAFOLDAP_HOST &host) {
    if (ZAFOLDAPPosixCheckEnumUser(&host) == 0) return 0;
    return ZAFO_FAILURE("check enum failed, dn=[%s], %s (%d)",
                        host.szBindDN != nullptr ? host.szBindDN : "(null)", zafo::ErrorKey(),
                        ZAFOLDAPErrGet());
}

int CheckBinding() {
    if (ZAFOLDAPIsBinded(0) != 1) return ZAFO_DEBUG_FAILURE("is not binded");
    zafo::OwnHost binding;
    if (ZAFOLDAPHostInitByBindConfig(&binding) < 1) {
        return ZAFO_DEBUG_FAILURE("get bind info failed");
    }
    return CheckListing(binding);
}

// A missing class only sets the library error; the check itself has passed.
void JudgeClasses(unsigned int schema) {
    if ((schema & kNeededClasses) == kNeededClasses) return;
    ZAFOLDAPErrSet(ZAFOLDAP_ERR_SERVER_NOT_SUPPORT);
}

int CheckSavedConnection(const char *section) {
    zafo::OwnHost saved;
    if (ZAFOLDAPHostInitByBrowserConfig(&saved, section) < 1) return -1;
    const int result = ZAFOLDAPPosixCheckEnumUser(&saved);
    if (result >= 0) JudgeClasses(saved.nSchema);
    return result;
}

}  // namespace

int ZAFOLDAPClientCheckBindInfo(const ZAFOLDAP_HOST *host) {
    if (host == nullptr) return CheckBinding();
    if (CheckListing(*host) != 0) return -1;
    zafo::OwnHost clone;  // the caller's record keeps its schema bits
    if (ZAFOLDAPHostClone(&clone, host) != 0) return ZAFO_DEBUG_FAILURE("clone host info failed");
    const int result = ZAFOLDAPHostGetSupportedSchema(&clone);
    if (result < 0) {
        ZAFO_LOG("get support schema failed(%d), %s (%d)", result, zafo::ErrorKey(),
                 ZAFOLDAPErrGet());
        ZAFOLDAPErrSet(ZAFOLDAP_ERR_SERVER_NOT_SUPPORT);
        return -1;
    }
    return 0;
}

int ZAFOLDAPBrowserCheckBindInfo(ZAFOLDAP_HOST *host, const char *section) {
    if (host == nullptr) return CheckSavedConnection(section);
    const int result = ZAFOLDAPPosixCheckEnumUser(host);
    if (result < 0) return result;
    zafo::OwnHost clone;
    if (ZAFOLDAPHostClone(&clone, host) != 0) return result;
    if (ZAFOLDAPHostGetSupportedSchema(&clone) < 0) return result;
    JudgeClasses(clone.nSchema);
    return result;
}
