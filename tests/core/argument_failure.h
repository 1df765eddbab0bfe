// SPDX-License-Identifier: Apache-2.0
//
// The table of exported functions, each with its argument checks: their order, what they log and
// which error they set. Each binary has its own rows; the tests over them are in
// argument_failure_cases.cpp.
#pragma once

#include <bitset>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "tests/core/core_fixture.h"

namespace zafo::core_test {

inline constexpr unsigned kMaxChecks = 16;

// Which of a function's checks shall fail.
class Bad {
  public:
    explicit Bad(unsigned checks) : checks_(checks) {}
    bool operator()(unsigned check) const { return checks_[check]; }

  private:
    std::bitset<kMaxChecks> checks_;
};

// Arguments that pass every check, or the requested NULL or broken record.
struct Arguments {
    Arguments() {
        ZAFOLDAPHostInit(&host);
        ZAFOLDAPHostSet(&host, LDAP_HOST_ATTR_URI, "server");
        ZAFOLDAPHostSet(&host, LDAP_HOST_ATTR_LOGIN_SUFFIX, "example.com");
        ZAFOLDAPResultInit(&result);
        ZAFOLDAPResultSet(&result, "dn", "dc=com");
        ZAFOLDAPLdifInit(&ldif, nullptr);
        user.szName = name;
    }
    ~Arguments() {
        ZAFOLDAPHostFree(&host);
        ZAFOLDAPResultFree(&result);
        if (ldif.pFile != nullptr) ZAFOLDAPLdifClose(&ldif);
        ZAFOLDAPLdifUnlink(&ldif);
    }
    Arguments(const Arguments &) = delete;
    Arguments &operator=(const Arguments &) = delete;

    // pHost and pHost->szUri are the checks `at` and `at` + 1.
    ZAFOLDAP_HOST *Host(Bad bad, unsigned at = 0) {
        no_uri = host;
        no_uri.szUri = nullptr;
        return bad(at) ? nullptr : bad(at + 1) ? &no_uri : &host;
    }
    // pHost, pHost->szUri and pHost->szLoginSuffix are the checks 0 to 2, then the line check of
    // pHost->szBaseDN.
    ZAFOLDAP_HOST *LoginHost(Bad bad, bool two_lines = false) {
        changed = host;
        changed.szBaseDN = two_lines ? "dc=com\nx: y" : "dc=com";
        if (bad(1)) changed.szUri = nullptr;
        if (bad(2)) changed.szLoginSuffix = nullptr;
        return bad(0) ? nullptr : &changed;
    }
    // A list, or an address that holds none.
    QLIBSZLIST **Slot(bool none) { return none ? &no_list : list.Address(); }
    // A list, NULL, or a list with an item that contains a line break.
    const QLIBSZLIST *Items(bool null, bool two_lines) const {
        return null ? nullptr : two_lines ? lines.Get() : list.Get();
    }
    // pResult, pResult->plistAttr and pResult->plistValue are the checks from `at` on.
    ZAFOLDAP_RESULT *Result(Bad bad, unsigned at = 0) {
        broken = result;
        if (bad(at + 1)) broken.plistAttr = nullptr;
        if (bad(at + 2)) broken.plistValue = nullptr;
        return bad(at) ? nullptr : &broken;
    }
    // pLDIF and pLDIF->pFile are the checks 0 and 1.
    ZAFOLDAP_LDIF *Ldif(Bad bad) {
        no_file = ldif;
        no_file.pFile = nullptr;
        return bad(0) ? nullptr : bad(1) ? &no_file : &ldif;
    }

    ZAFOLDAP_HOST host{}, no_uri{}, changed{};
    ZAFOLDAP_RESULT result{}, broken{};
    ZAFOLDAP_LDIF ldif{}, no_file{};
    Request request;
    List list, other_list;
    const List lines{"v", "v\nx: y"};
    QLIBSZLIST *no_list = nullptr;
    const char *value = nullptr;
    char buffer[64] = "";
    unsigned int schema = 0;
    uint64_t number = 0;
    ZAFOUSER user{};
    char name[8] = "ann";
};

template <class T>
T *Unless(bool bad, T *pointer) {
    return bad ? nullptr : pointer;
}

// A valid text, NULL, or one with a line break.
inline const char *Text(bool null, bool two_lines, const char *good = "v") {
    return null ? nullptr : two_lines ? "v\nx: y" : good;
}

// The texts of the checks; a leading `~` allows any spelling of NULL.
#define NOT_NULL "((void *)0) != "
#define ONE_LINE(text) "NULL == strpbrk(" text ", \"\\r\\n\")"

struct Function {
    const char *name;
    const char *file;  // base names of the source in the log line, separated by "|"
    std::vector<const char *> checks;
    std::function<long(Arguments &, Bad)> call;
    long failure = -1;
};

using Functions = std::vector<Function>;

// Supplied by each binary: its rows, the headers that they must cover, and those functions of the
// headers that accept anything.
Functions AllFunctions();
const std::set<std::string> &CoveredHeaders();
const std::set<std::string> &FunctionsWithoutChecks();

}  // namespace zafo::core_test
