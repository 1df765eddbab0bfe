// SPDX-License-Identifier: Apache-2.0
//
// The argument checks of the frame and the directory core.
#include "tests/core/argument_failure.h"

#include <sys/file.h>
#include <unistd.h>

#include "platform/error.h"
#include "tests/core/variadic_writers.h"

namespace zafo::core_test {
namespace {

int StopAtOnce(const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *, const ZAFOLDAP_RESULT *,
               void *) {
    return 1;
}

constexpr const char *kLockFile = "/tmp/argument_failure.lock";

const Functions &FrameFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPLock",
         "ldap_lock",
         {NOT_NULL "szFile", "(flag & (1 | 2))",
          "(flag & (LOCK_SH | LOCK_EX)) != (LOCK_SH | LOCK_EX)"},
         [](Arguments &, Bad bad) {
             const int flag = bad(1) ? 0 : bad(2) ? LOCK_SH | LOCK_EX : LOCK_EX;
             const int fd = ZAFOLDAPLock(Unless(bad(0), kLockFile), flag);
             ZAFOLDAPUnLock(fd);
             unlink(kLockFile);
             return fd;
         }},
        {"ZAFOLDAPDNParserParentDN",
         "ldap_dn_parser",
         {NOT_NULL "szDN", NOT_NULL "szParentDN", "0 < cbParentDN"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPDNParserParentDN(Unless(bad(0), "dc=com"), Unless(bad(1), a.buffer),
                                             bad(2) ? 0 : sizeof a.buffer);
         }},
    };
    return kFunctions;
}

const Functions &ResultFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPResultInit",
         "ldap_result",
         {NOT_NULL "pResult"},
         [](Arguments &, Bad) { return ZAFOLDAPResultInit(nullptr); }},
        {"ZAFOLDAPResultClone",
         "ldap_result",
         {NOT_NULL "pDst", NOT_NULL "pSrc", NOT_NULL "pDst->plistAttr", "NULL != pDst->plistValue"},
         [](Arguments &a, Bad bad) {
             a.broken = a.result;
             if (bad(2)) a.broken.plistAttr = nullptr;
             if (bad(3)) a.broken.plistValue = nullptr;
             return ZAFOLDAPResultClone(Unless(bad(0), &a.broken), Unless(bad(1), &a.result));
         }},
        {"ZAFOLDAPResultSet",
         "ldap_result",
         {NOT_NULL "pResult", NOT_NULL "pResult->plistAttr", "NULL != pResult->plistValue",
          "~szAttr", "~szValue"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPResultSet(a.Result(bad), Unless(bad(3), "cn"), Unless(bad(4), "v"));
         }},
        {"ZAFOLDAPResultConcateAttr",
         "ldap_result",
         {NOT_NULL "pResult", NOT_NULL "pResult->plistAttr", "NULL != pResult->plistValue",
          "~szValue"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPResultConcateAttr(a.Result(bad), Unless(bad(3), "v"));
         }},
        {"ZAFOLDAPResultGetAt",
         "ldap_result",
         {NOT_NULL "pResult", NOT_NULL "pResult->plistAttr", "NULL != pResult->plistValue",
          "NULL != pszValue"},
         [](Arguments &a, Bad bad) {
             return reinterpret_cast<long>(
                 ZAFOLDAPResultGetAt(a.Result(bad), 0, Unless(bad(3), &a.value)));
         },
         0},
        {"ZAFOLDAPResultGetAt",
         "ldap_result",
         {"0 <= index"},
         [](Arguments &a, Bad) {
             return reinterpret_cast<long>(ZAFOLDAPResultGetAt(&a.result, -1, &a.value));
         },
         0},
        {"ZAFOLDAPResultGetAt",
         "ldap_result",
         {"index < pResult->plistAttr->nItem"},
         [](Arguments &a, Bad) {
             return reinterpret_cast<long>(ZAFOLDAPResultGetAt(&a.result, 1, &a.value));
         },
         0},
        {"ZAFOLDAPResultGetAttrCount",
         "ldap_result",
         {NOT_NULL "pResult", NOT_NULL "pResult->plistAttr", "NULL != pResult->plistValue"},
         [](Arguments &a, Bad bad) { return ZAFOLDAPResultGetAttrCount(a.Result(bad)); }},
        {"ZAFOLDAPResultGetAll",
         "ldap_result",
         {NOT_NULL "pResult", NOT_NULL "pResult->plistAttr", "NULL != pResult->plistValue",
          "~szAttr", NOT_NULL "pplistValues", "NULL != *pplistValues"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPResultGetAll(a.Result(bad), Unless(bad(3), "cn"),
                                         Unless(bad(4), bad(5) ? &a.no_list : a.list.Address()));
         }},
        {"ZAFOLDAPResultGetFirst",
         "ldap_result",
         {NOT_NULL "pResult", NOT_NULL "pResult->plistAttr", "NULL != pResult->plistValue",
          "~szAttr"},
         [](Arguments &a, Bad bad) {
             return reinterpret_cast<long>(
                 ZAFOLDAPResultGetFirst(a.Result(bad), Unless(bad(3), "dn")));
         },
         0},
        {"ZAFOLDAPResultRemoveAll",
         "ldap_result",
         {NOT_NULL "pResult", NOT_NULL "pResult->plistAttr", "NULL != pResult->plistValue"},
         [](Arguments &a, Bad bad) { return ZAFOLDAPResultRemoveAll(a.Result(bad)); }},
    };
    return kFunctions;
}

const Functions &HostFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPHostInit",
         "ldap_host",
         {NOT_NULL "pHost"},
         [](Arguments &, Bad) { return ZAFOLDAPHostInit(nullptr); }},
        {"ZAFOLDAPHostSet",
         "ldap_host",
         {NOT_NULL "pHost", "NULL != pHost->plistBuffer", "LDAP_HOST_ATTR_MIN < attr"},
         [](Arguments &a, Bad bad) {
             ZAFOLDAP_HOST unused{};
             return ZAFOLDAPHostSet(Unless(bad(0), bad(1) ? &unused : &a.host), bad(2) ? -1 : 0,
                                    "v");
         }},
        {"ZAFOLDAPHostSet",
         "ldap_host",
         {NOT_NULL "pHost", "NULL != pHost->plistBuffer", "LDAP_HOST_ATTR_MAX > attr"},
         [](Arguments &a, Bad bad) {
             ZAFOLDAP_HOST unused{};
             return ZAFOLDAPHostSet(Unless(bad(0), bad(1) ? &unused : &a.host), bad(2) ? 5 : 4,
                                    nullptr);
         }},
        {"ZAFOLDAPHostFree",
         "ldap_host",
         {NOT_NULL "pHost"},
         [](Arguments &, Bad) { return ZAFOLDAPHostFree(nullptr); }},
        {"ZAFOLDAPHostClone",
         "ldap_host",
         {"~pDst", "~pSrc"},
         [](Arguments &a, Bad bad) {
             const int result =
                 ZAFOLDAPHostClone(Unless(bad(0), &a.no_uri), Unless(bad(1), &a.host));
             if (result == 0) ZAFOLDAPHostFree(&a.no_uri);
             return result;
         }},
    };
    return kFunctions;
}

const Functions &SearchFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPSearchRequestInit",
         "ldap_search_request",
         {NOT_NULL "pRequest"},
         [](Arguments &, Bad) { return ZAFOLDAPSearchRequestInit(nullptr, 1); }},
        {"ZAFOLDAPSearchRequestClone",
         "ldap_search_request",
         {"~pDst", "~pSrc"},
         [](Arguments &a, Bad bad) {
             ZAFOLDAP_SEARCH_REQUEST copy{};
             const int result = ZAFOLDAPSearchRequestClone(
                 Unless(bad(0), &copy), Unless<const ZAFOLDAP_SEARCH_REQUEST>(bad(1), &a.request));
             ZAFOLDAPSearchRequestFree(&copy);
             return result;
         }},
        {"ZAFOLDAPSearchInit",
         "ldap_search",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "pRequest"},
         [](Arguments &a, Bad bad) {
             const int result =
                 ZAFOLDAPSearchInit(a.Host(bad), Unless(bad(2), &a.request), &a.broken);
             if (result == 0) ZAFOLDAPResultFree(&a.broken);
             return result;
         }},
        {"ZAFOLDAPSearchInit",
         "ldap_search|ldap_result",
         {NOT_NULL "pResult"},
         [](Arguments &a, Bad) { return ZAFOLDAPSearchInit(&a.host, &a.request, nullptr); }},
        {"ZAFOLDAPSearchGetNext",
         "ldap_search",
         {NOT_NULL "pResult", NOT_NULL "pResult->plistAttr", "NULL != pResult->plistValue",
          NOT_NULL "pRequest"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPSearchGetNext(Unless(bad(3), &a.request), a.Result(bad));
         }},
        {"ZAFOLDAPSearchBuildRequestCmd",
         "ldap_search",
         {"~pHost", NOT_NULL "pRequest", NOT_NULL "szCmd", "0 < cbCmd"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPSearchBuildRequestCmd(
                 Unless(bad(0), &a.host), Unless(bad(1), &a.request), Unless(bad(2), a.buffer),
                 bad(3) ? 0 : sizeof a.buffer);
         }},
        {"ZAFOLDAPSearchResultGet",
         "ldap_search_result_get",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "pRequest", "NULL != pResultHandler"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPSearchResultGet(a.Host(bad), Unless(bad(2), &a.request),
                                            bad(3) ? nullptr : StopAtOnce, nullptr);
         }},
        {"ZAFOLDAPSearchEachValue",
         "ldap_search_values",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "pRequest", NOT_NULL "szAttr",
          NOT_NULL "pplistDN", "NULL != *pplistDN", NOT_NULL "pplistValue", "NULL != *pplistValue"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPSearchEachValue(
                 a.Host(bad), Unless(bad(2), &a.request), Unless(bad(3), "cn"),
                 Unless(bad(4), bad(5) ? &a.no_list : a.list.Address()),
                 Unless(bad(6), bad(7) ? &a.no_list : a.other_list.Address()));
         }},
        {"ZAFOLDAPSearchEachValue",
         "ldap_search_values",
         {NOT_NULL "pplistValue"},
         [](Arguments &a, Bad) {  // only exactly "dn" needs no values
             return ZAFOLDAPSearchEachValue(&a.host, &a.request, "DN", a.list.Address(), nullptr);
         }},
        {"ZAFOLDAPSearchMultiValue",
         "ldap_search_values",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "pRequest", NOT_NULL "szAttr",
          NOT_NULL "pplistValue", "NULL != *pplistValue"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPSearchMultiValue(
                 a.Host(bad), Unless(bad(2), &a.request), Unless(bad(3), "cn"),
                 Unless(bad(4), bad(5) ? &a.no_list : a.list.Address()));
         }},
        {"ZAFOLDAPSearchGetValueByDN",
         "ldap_search_values",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "szDN", NOT_NULL "szAttr",
          NOT_NULL "szValue", "0 < cbValue"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPSearchGetValueByDN(a.Host(bad), Unless(bad(2), "dc=com"), nullptr,
                                               Unless(bad(3), "cn"), Unless(bad(4), a.buffer),
                                               bad(5) ? 0 : sizeof a.buffer);
         }},
        {"ZAFOLDAPSearchObjectClasses",
         "ldap_search_object_classes",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "szDN", "NULL != pSchema"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPSearchObjectClasses(a.Host(bad), Unless(bad(2), "dc=com"), nullptr,
                                                Unless(bad(3), &a.schema));
         }},
    };
    return kFunctions;
}

const Functions &ChangeFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPLdifInit",
         "ldap_ldif",
         {NOT_NULL "pLDIF"},
         [](Arguments &, Bad) { return ZAFOLDAPLdifInit(nullptr, nullptr); }},
        {"ZAFOLDAPLdifTargetDN",
         "ldap_ldif",
         {NOT_NULL "pLDIF", "~pLDIF->pFile", "NULL != szDN"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPLdifTargetDN(a.Ldif(bad), Unless(bad(2), "dc=com"));
         }},
        {"ZAFOLDAPLdifChangeType",
         "ldap_ldif",
         {NOT_NULL "pLDIF", "~pLDIF->pFile", "NULL != szType"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPLdifChangeType(a.Ldif(bad), Unless(bad(2), "modify"));
         }},
        {"ZAFOLDAPLdifLine",
         "ldap_ldif",
         {NOT_NULL "pLDIF", "~pLDIF->pFile", "~szFmt"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPLdifLine(a.Ldif(bad), Unless(bad(2), "%s"), "-");
         }},
        {"ZAFOLDAPLdifSepAttr",
         "ldap_ldif",
         {NOT_NULL "pLDIF", "~pLDIF->pFile"},
         [](Arguments &a, Bad bad) { return ZAFOLDAPLdifSepAttr(a.Ldif(bad)); }},
        {"ZAFOLDAPLdifAttr",
         "ldap_ldif",
         {NOT_NULL "pLDIF", "~pLDIF->pFile", "~szAttr", "NULL != szValueFmt"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPLdifAttr(a.Ldif(bad), Unless(bad(2), "cn"), Unless(bad(3), "%s"), "v");
         }},
        {"ZAFOLDAPLdifVAttr",
         "ldap_ldif",
         {NOT_NULL "pLDIF", "~pLDIF->pFile", "~szAttr", "NULL != szValueFmt"},
         [](Arguments &a, Bad bad) {
             return VAttr(a.Ldif(bad), Unless(bad(2), "cn"), Unless(bad(3), "%s"), "v");
         }},
        {"ZAFOLDAPLdifAttr64",
         "ldap_ldif",
         {NOT_NULL "pLDIF", "~pLDIF->pFile", "~szAttr", "NULL != szValueFmt"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPLdifAttr64(a.Ldif(bad), Unless(bad(2), "cn"), Unless(bad(3), "%s"),
                                       "v");
         }},
        {"ZAFOLDAPLdifVAttr64",
         "ldap_ldif",
         {NOT_NULL "pLDIF", "~pLDIF->pFile", "~szAttr", "NULL != szValueFmt"},
         [](Arguments &a, Bad bad) {
             return VAttr64(a.Ldif(bad), Unless(bad(2), "cn"), Unless(bad(3), "%s"), "v");
         }},
        {"ZAFOLDAPLdifAttrReplace",
         "ldap_ldif",
         {NOT_NULL "pLDIF", "~pLDIF->pFile", "~szAttr", "NULL != szValueFmt"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPLdifAttrReplace(a.Ldif(bad), Unless(bad(2), "cn"), Unless(bad(3), "%s"),
                                            "v");
         }},
        {"ZAFOLDAPLdifAttrDelete",
         "ldap_ldif",
         {NOT_NULL "pLDIF", "~pLDIF->pFile", "~szAttr"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPLdifAttrDelete(a.Ldif(bad), Unless(bad(2), "cn"), nullptr);
         }},
        {"ZAFOLDAPLdifIsEmpty",
         "ldap_ldif",
         {NOT_NULL "pLDIF"},
         [](Arguments &, Bad) { return ZAFOLDAPLdifIsEmpty(nullptr); },
         1},
        {"ZAFOLDAPLdifClose",
         "ldap_ldif",
         {NOT_NULL "pLDIF"},
         [](Arguments &, Bad) { return ZAFOLDAPLdifClose(nullptr); }},
        {"ZAFOLDAPLdifUnlink",
         "ldap_ldif",
         {NOT_NULL "pLDIF"},
         [](Arguments &, Bad) { return ZAFOLDAPLdifUnlink(nullptr); }},
        {"ZAFOLDAPModify",
         "ldap_modify",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "pLDIF"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPModify(a.Host(bad), Unless(bad(2), &a.ldif), 0);
         }},
    };
    return kFunctions;
}

const Functions &ConnectionFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPHostInitByBrowserConfig",
         "ldap_host_init|ldap_host",
         {NOT_NULL "pHost"},
         [](Arguments &, Bad) { return ZAFOLDAPHostInitByBrowserConfig(nullptr, nullptr); }},
        {"ZAFOLDAPHostInitByBindConfig",
         "ldap_host_init",
         {NOT_NULL "pHost"},
         [](Arguments &, Bad) { return ZAFOLDAPHostInitByBindConfig(nullptr); }},
        {"ZAFOLDAPHostGetSchemaDN",
         "ldap_host_init",
         {NOT_NULL "pHost", "~szDN", "0 < cbDN"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPHostGetSchemaDN(Unless(bad(0), &a.host), Unless(bad(1), a.buffer),
                                            bad(2) ? 0 : sizeof a.buffer);
         }},
        {"ZAFOLDAPHostGetSupportedSchema",
         "ldap_host_init",
         {NOT_NULL "pHost"},
         [](Arguments &, Bad) { return ZAFOLDAPHostGetSupportedSchema(nullptr); }},
        {"ZAFOLDAPSSLGetByBindConfig",
         "ldap_host_init",
         {NOT_NULL "pHost"},
         [](Arguments &, Bad) { return ZAFOLDAPSSLGetByBindConfig(nullptr); }},
        {"ZAFOLDAPBrowserCheckServerType",
         "ldap_browser_check_server_type",
         {NOT_NULL "pHost", "NULL != pHost->szUri"},
         [](Arguments &a, Bad bad) { return ZAFOLDAPBrowserCheckServerType(a.Host(bad)); }},
        {"ZAFOLDAPBrowserConfSet",
         "ldap_browser_conf",
         {NOT_NULL "pHost"},
         [](Arguments &, Bad) { return ZAFOLDAPBrowserConfSet(nullptr, nullptr); }},
        {"ZAFOLDAPBrowserConfSetByServerParam",
         "ldap_browser_conf",
         {"~pParam"},
         [](Arguments &, Bad) { return ZAFOLDAPBrowserConfSetByServerParam(nullptr); }},
    };
    return kFunctions;
}

}  // namespace

Functions AllFunctions() {
    Functions all;
    for (const auto *group : {&FrameFunctions(), &ResultFunctions(), &HostFunctions(),
                              &SearchFunctions(), &ChangeFunctions(), &ConnectionFunctions()}) {
        all.insert(all.end(), group->begin(), group->end());
    }
    return all;
}

// These accept anything: codes, no arguments, or NULL as a no-op.
const std::set<std::string> &FunctionsWithoutChecks() {
    static const std::set<std::string> kFunctions = {
        "ZAFOLDAPErrSet",     "ZAFOLDAPErrReset",
        "ZAFOLDAPErrGet",     "ZAFOLDAPErrGetString",
        "ZAFOLDAPUnLock",     "ZAFOLDAPDebugEnabled",
        "ZAFOLDAPResultFree", "ZAFOLDAPSearchRequestFree",
        "ZAFOLDAPSearchFree"};
    return kFunctions;
}

const std::set<std::string> &CoveredHeaders() {
    static const std::set<std::string> kHeaders = {
        "debug", "dn", "error", "host", "ldif", "lock", "modify", "result", "search", "connection"};
    return kHeaders;
}

namespace {

class FreeFunctions : public CoreTest {};

TEST_F(FreeFunctions, AcceptNullSilently) {
    EXPECT_EQ(ZAFOLDAPResultFree(nullptr), 0);
    EXPECT_EQ(ZAFOLDAPSearchRequestFree(nullptr), 0);
    EXPECT_EQ(ZAFOLDAPSearchFree(nullptr, nullptr), 0);
    EXPECT_TRUE(log_.Messages().empty());
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
}

}  // namespace
}  // namespace zafo::core_test
