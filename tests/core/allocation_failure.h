// SPDX-License-Identifier: Apache-2.0
//
// The table of calls whose allocations fail one by one. Each binary has its own rows; the tests
// over them are in allocation_failure_cases.cpp.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

#include "tests/core/connection_fixture.h"
#include "tests/core/failing_allocator.h"
#include "tests/rig/cipher.h"

namespace zafo::core_test {

// The effects of a call, recorded without allocating anything.
struct Outcome {
    int result = 0;
    char text[4096] = "";

    void Note(const char *format, ...) __attribute__((format(printf, 2, 3))) {
        const size_t used = std::strlen(text);
        va_list args;
        va_start(args, format);
        vsnprintf(text + used, sizeof text - used, format, args);
        va_end(args);
    }
    void Note(const QLIBSZLIST *list) {
        for (int i = 0; list != nullptr && i < list->nItem; ++i) {
            Note("[%s]", QLIBCSzListGet(list, i));
        }
    }
    void Note(const ZAFOLDAP_RESULT &entry) {
        for (int i = 0; entry.plistAttr != nullptr && i < entry.plistAttr->nItem; ++i) {
            Note("%s=%s;", QLIBCSzListGet(entry.plistAttr, i), QLIBCSzListGet(entry.plistValue, i));
        }
    }
};

struct Call {
    const char *name;
    std::function<void(rig::FakeTools &)> script;
    std::function<void(Outcome &)> run;  // calls StopFailing before it cleans up
    std::vector<int> failures = {-1};
    std::vector<int> codes = {0x0200};
    std::vector<int> ldap_codes = {kStaleLdapCode};
    std::vector<std::string> logged = {};  // lines logged for some of the allocations
};

using Calls = std::vector<Call>;

// The rows of a binary.
const Calls &AllCalls();

// Runs steps until one fails; the outcome is the result of the last one.
template <class... Step>
void InOrder(Outcome &outcome, Step... steps) {
    (void)((outcome.result = steps(), outcome.result >= 0) && ...);
}

inline void NoScript(rig::FakeTools &) {}

// A server and an identity to bind as.
inline const ZAFOLDAP_HOST kHost = [] {
    ZAFOLDAP_HOST host{};
    host.szUri = "server";
    host.szBaseDN = "dc=example,dc=com";
    host.szBindDN = "cn=admin";
    host.szBindPasswd = rig::PlatformHasCipher() ? "secret" : nullptr;
    return host;
}();

}  // namespace zafo::core_test
