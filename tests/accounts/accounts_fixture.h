// SPDX-License-Identifier: Apache-2.0
//
// Account functions against the fake tools: scripted answers of the directory, and the searches and
// changes that it receives.
#pragma once

#include <string>
#include <vector>

#include "tests/core/core_fixture.h"

namespace zafo::core_test {

class AccountsTest : public CoreTest {
  protected:
    // Output of the next searches, one text per search; the last is repeated.
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
    // The arguments of an anonymous search.
    static Texts Searched(const Texts &rest) {
        Texts arguments = {"-LLL", "-x", "-H", "ldap://server"};
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        return arguments;
    }
    // The change files passed to ldapmodify.
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

// An entry's answer "ATTRIBUTE: VALUE".
inline std::string Entry1(const std::string &attribute, const std::string &value) {
    return "dn: cn=entry\n" + attribute + ": " + value + "\n\n";
}

}  // namespace zafo::core_test
