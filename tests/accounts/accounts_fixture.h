// SPDX-License-Identifier: Apache-2.0
//
// Account functions against the fake tools: what the directory answers, and what was asked of
// it and written to it.
#pragma once

#include <string>
#include <vector>

#include "tests/core/core_fixture.h"

namespace zafo::core_test {

class AccountsTest : public CoreTest {
  protected:
    // What the next searches print, one text a search; the last is printed again and again.
    void Answer(const Texts &answers) {
        for (const std::string &ldif : answers)
            tools_.On("ldapsearch").IgnoreSignals().Output(ldif);
    }
    // The next search fails with an LDAP result code.
    void Refuse(int code) { tools_.On("ldapsearch").Exit(code); }

    // The arguments of a tool's calls, without its path.
    std::vector<Texts> CallsOf(const std::string &tool) const {
        std::vector<Texts> calls;
        for (const rig::FakeCall &call : tools_.Calls()) {
            if (call.tool == tool) calls.emplace_back(call.argv.begin() + 1, call.argv.end());
        }
        return calls;
    }
    // What a search looks like that is bound to nobody.
    static Texts Searched(const Texts &rest) {
        Texts arguments = {"-LLL", "-x", "-H", "ldap://server"};
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        return arguments;
    }
    // The change files that ldapmodify was given.
    Texts Changes() const {
        Texts changes;
        for (const rig::FakeCall &call : tools_.Calls()) {
            for (const auto &[path, file] : call.files) {
                if (call.tool == "ldapmodify") changes.push_back(file.content);
            }
        }
        return changes;
    }
};

// The answer "ATTRIBUTE: VALUE" of an entry.
inline std::string Entry1(const std::string &attribute, const std::string &value) {
    return "dn: cn=entry\n" + attribute + ": " + value + "\n\n";
}

}  // namespace zafo::core_test
