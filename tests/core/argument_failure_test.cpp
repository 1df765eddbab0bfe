// SPDX-License-Identifier: Apache-2.0
//
// Every function of the directory core and the frame, with each of its
// arguments bad in turn: the checks' order, what they log and what they set.
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

#include <bitset>
#include <cstring>
#include <filesystem>
#include <functional>

#include "platform/error.h"
#include "tests/core/core_fixture.h"
#include "tests/core/variadic_writers.h"
#include "tests/meta/source_tree.h"

namespace zafo::core_test {
namespace {

// Which of a function's checks are to fail.
class Bad {
  public:
    explicit Bad(unsigned checks) : checks_(checks) {}
    bool operator()(unsigned check) const { return checks_[check]; }

  private:
    std::bitset<8> checks_;
};

// Arguments that pass every check, or the NULL or broken record asked for.
struct Arguments {
    Arguments() {
        ZAFOLDAPHostInit(&host);
        ZAFOLDAPHostSet(&host, LDAP_HOST_ATTR_URI, "server");
        ZAFOLDAPResultInit(&result);
        ZAFOLDAPResultSet(&result, "dn", "dc=com");
        ZAFOLDAPLdifInit(&ldif, nullptr);
    }
    ~Arguments() {
        ZAFOLDAPHostFree(&host);
        ZAFOLDAPResultFree(&result);
        if (ldif.pFile != nullptr) ZAFOLDAPLdifClose(&ldif);
        ZAFOLDAPLdifUnlink(&ldif);
    }
    Arguments(const Arguments &) = delete;
    Arguments &operator=(const Arguments &) = delete;

    // pHost and pHost->szUri, the checks `at` and `at` + 1.
    ZAFOLDAP_HOST *Host(Bad bad, unsigned at = 0) {
        no_uri = host;
        no_uri.szUri = nullptr;
        return bad(at) ? nullptr : bad(at + 1) ? &no_uri : &host;
    }
    // pResult, pResult->plistAttr and pResult->plistValue, the checks from `at` on.
    ZAFOLDAP_RESULT *Result(Bad bad, unsigned at = 0) {
        broken = result;
        if (bad(at + 1)) broken.plistAttr = nullptr;
        if (bad(at + 2)) broken.plistValue = nullptr;
        return bad(at) ? nullptr : &broken;
    }
    // pLDIF and pLDIF->pFile, the checks 0 and 1.
    ZAFOLDAP_LDIF *Ldif(Bad bad) {
        no_file = ldif;
        no_file.pFile = nullptr;
        return bad(0) ? nullptr : bad(1) ? &no_file : &ldif;
    }

    ZAFOLDAP_HOST host{}, no_uri{};
    ZAFOLDAP_RESULT result{}, broken{};
    ZAFOLDAP_LDIF ldif{}, no_file{};
    Request request;
    List list, other_list;
    QLIBSZLIST *no_list = nullptr;
    const char *value = nullptr;
    char buffer[64] = "";
    unsigned int schema = 0;
};

template <class T>
T *Unless(bool bad, T *pointer) {
    return bad ? nullptr : pointer;
}

int StopAtOnce(const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *, const ZAFOLDAP_RESULT *,
               void *) {
    return 1;
}

// What stands left of "!=": NULL is logged as the preprocessor met it, so some texts
// hold its expansion. `~` leaves the spelling open.
std::string Pattern(const std::string &condition) {
    const bool open = condition[0] == '~';
    std::string pattern = open ? R"((NULL|\(\(void \*\)0\)) != )" : "";
    for (const char c : condition.substr(open)) {
        if (std::strchr(".^$|()[]{}*+?\\", c) != nullptr) pattern += '\\';
        pattern += c;
    }
    return pattern;
}

struct Function {
    const char *name;
    const char *file;  // base name of the source in the log line, alternatives with "|"
    std::vector<const char *> checks;
    std::function<long(Arguments &, Bad)> call;
    long failure = -1;
};

void PrintTo(const Function &function, std::ostream *out) {
    *out << function.name;
}

constexpr const char *kLockFile = "/tmp/argument_failure.lock";

#define NOT_NULL "((void *)0) != "

const std::vector<Function> &FrameFunctions() {
    static const std::vector<Function> kFunctions = {
        {"ZAFOLDAPLock",
         "ldap_lock",
         {NOT_NULL "szFile", "(flag & (1 | 2))",
          "(flag & (LOCK_SH | LOCK_EX)) != (LOCK_SH | LOCK_EX)"},
         [](Arguments &, Bad bad) {
             const int flag = bad(1) ? 0 : bad(2) ? LOCK_SH | LOCK_EX : LOCK_EX;
             const int fd = ZAFOLDAPLock(Unless(bad(0), kLockFile), flag);
             ZAFOLDAPUnLock(fd);
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

const std::vector<Function> &ResultFunctions() {
    static const std::vector<Function> kFunctions = {
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

const std::vector<Function> &HostFunctions() {
    static const std::vector<Function> kFunctions = {
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

const std::vector<Function> &SearchFunctions() {
    static const std::vector<Function> kFunctions = {
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
         [](Arguments &a, Bad) {  // only "dn" exactly does without values
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

const std::vector<Function> &ChangeFunctions() {
    static const std::vector<Function> kFunctions = {
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

const std::vector<Function> &ConnectionFunctions() {
    static const std::vector<Function> kFunctions = {
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

std::vector<Function> AllFunctions() {
    std::vector<Function> all;
    for (const auto *group : {&FrameFunctions(), &ResultFunctions(), &HostFunctions(),
                              &SearchFunctions(), &ChangeFunctions(), &ConnectionFunctions()}) {
        all.insert(all.end(), group->begin(), group->end());
    }
    return all;
}

class ArgumentFailure : public CoreTest, public testing::WithParamInterface<Function> {
  protected:
    // The checks in `bad` fail; check `first` is the one to be reported.
    void ExpectFailure(unsigned first, unsigned bad) {
        const Function &function = GetParam();
        SCOPED_TRACE(testing::Message()
                     << function.checks[first] << ", failing checks: " << std::bitset<8>(bad));
        Arguments arguments;
        log_.Clear();
        SetStaleCodes();
        EXPECT_EQ(function.call(arguments, Bad(bad)), function.failure);
        EXPECT_EQ(QLIBCErrGet(), 0x0D00);
        EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
        EXPECT_THAT(log_.Priorities(), testing::ElementsAre(LOG_USER | LOG_ERR));
        EXPECT_THAT(log_.Messages(), testing::ElementsAre(testing::MatchesRegex(
                                         std::string("(") + function.file +
                                         R"()\.cpp:[1-9][0-9]* )" + R"(Invaild Argument \()" +
                                         Pattern(function.checks[first]) + R"(\)=\[0\])" + "\n")));
    }
};

TEST_P(ArgumentFailure, EachBadArgumentIsReportedByItsOwnCondition) {
    for (unsigned i = 0; i < GetParam().checks.size(); ++i)
        ExpectFailure(i, 1u << i);
    EXPECT_TRUE(tools_.Calls().empty());
}

TEST_P(ArgumentFailure, FirstOfSeveralBadArgumentsIsReported) {
    for (unsigned i = 0; i < GetParam().checks.size(); ++i)
        ExpectFailure(i, 0xFFu << i & 0xFFu);
    EXPECT_TRUE(tools_.Calls().empty());
}

std::string NameOf(const testing::TestParamInfo<Function> &info) {
    return std::string(info.param.name) + "_" + std::to_string(info.index);
}

INSTANTIATE_TEST_SUITE_P(EveryFunction, ArgumentFailure, testing::ValuesIn(AllFunctions()), NameOf);

// These take anything: codes, nothing at all, or NULL as "nothing to do".
const std::set<std::string> kWithoutChecks = {
    "ZAFOLDAPErrSet",    "ZAFOLDAPErrReset",     "ZAFOLDAPErrGet",     "ZAFOLDAPErrGetString",
    "ZAFOLDAPUnLock",    "ZAFOLDAPDebugEnabled", "ZAFOLDAPResultFree", "ZAFOLDAPSearchRequestFree",
    "ZAFOLDAPSearchFree"};

const std::set<std::string> kHeaders = {"debug", "dn",     "error",  "host",   "ldif",
                                        "lock",  "modify", "result", "search", "connection"};

TEST(ArgumentFailureTable, HoldsEveryFunctionOfTheseLayers) {
    std::set<std::string> tested = kWithoutChecks;
    for (const Function &function : AllFunctions())
        tested.insert(function.name);
    for (const auto &declaration : meta::ExportedDeclarations()) {
        const std::string family = std::filesystem::path(declaration.header).stem();
        if (kHeaders.contains(family)) {
            EXPECT_TRUE(tested.contains(declaration.function)) << declaration.function;
        }
    }
}

class GoodArguments : public CoreTest {};

TEST_F(GoodArguments, AreNotReported) {
    for (const Function &function : AllFunctions()) {
        if (function.checks.size() == 1) continue;  // its one bad argument is fixed
        SCOPED_TRACE(function.name);
        Arguments arguments;
        log_.Clear();
        function.call(arguments, Bad(0));
        EXPECT_THAT(LoggedTexts(), testing::Not(testing::Contains(testing::StartsWith("Invaild"))));
    }
    unlink(kLockFile);
}

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
