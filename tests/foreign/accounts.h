// SPDX-License-Identifier: Apache-2.0
//
// Shared by the account tests: a connection, and the searches and changes sent to its server.
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

inline const std::string kBase = "dc=x,dc=example";
inline const std::string kUsers = "objectClass=posixAccount";
inline const std::string kGroups = "objectClass=posixGroup";
inline const std::string kAnn = "uid=ann,cn=users,dc=x,dc=example";
inline const std::string kStaff = "cn=staff,cn=groups,dc=x,dc=example";
inline const std::string kGetNextFailed = "ZAFOLDAPSearchGetNext get next failed";

class AccountsTest : public ForeignTest {
  protected:
    Host host;

    static Strings With(Strings first, const Strings &more) {
        first.insert(first.end(), more.begin(), more.end());
        return first;
    }

    // The end of a search's arguments, after those of the connection.
    static Strings Below(const std::string &filter, const Strings &attributes = {}) {
        return With({"-b", kBase, filter}, attributes);
    }
    static Strings At(const std::string &dn, const std::string &filter,
                      const Strings &attributes = {}) {
        return With({"-b", dn, filter}, attributes);
    }
    static std::string And(const std::string &first, const std::string &second) {
        return "(&(" + first + ")(" + second + "))";
    }

    // The answer to the next search that has none yet.
    Tool &Finds(const std::string &ldif = {}) { return platform().On("ldapsearch").Prints(ldif); }
    Tool &FindsNothing() { return Finds(); }
    Tool &SearchFails(int code) { return Finds().Exits(code); }

    // The end of the arguments of every search so far; checks that those of the connection precede
    // it.
    std::vector<Strings> Searches() {
        const Strings connection{
            "-LLL", "-x", "-H", "ldap://ldap.x.example", "-D", "cn=admin," + kBase, "-w", "secret"};
        std::vector<Strings> searches;
        for (const Run &run : platform().RunsOf("ldapsearch")) {
            EXPECT_EQ(run.path, "/usr/zafo/bin/ldapsearch");
            EXPECT_EQ(run.how, "QLIBCPopenv r");
            const size_t head = std::min(run.argv.size(), connection.size());
            EXPECT_EQ(Strings(run.argv.begin(), run.argv.begin() + static_cast<long>(head)),
                      connection);
            searches.emplace_back(run.argv.begin() + static_cast<long>(head), run.argv.end());
        }
        return searches;
    }

    // The change files run so far, in order; each must change existing entries.
    Strings Changes() {
        Strings changes;
        for (const Run &run : platform().RunsOf("ldapmodify")) {
            EXPECT_EQ(run.path, "/usr/zafo/bin/ldapmodify");
            EXPECT_EQ(run.how, "QLIBCPopen r");
            EXPECT_EQ(run.argv.size(), 9u);
            if (run.argv.size() == 9) {
                EXPECT_EQ(Strings(run.argv.begin(), run.argv.begin() + 6),
                          (Strings{"-x", "-H", "ldap://ldap.x.example", "-D", "cn=admin," + kBase,
                                   "-f"}));
                EXPECT_EQ(Strings(run.argv.begin() + 7, run.argv.end()), (Strings{"-w", "secret"}));
            }
            changes.push_back(run.change);
        }
        return changes;
    }

    // Expects that every tool's stream has been closed.
    void ExpectAllClosed() {
        for (const Run &run : platform().Runs()) {
            EXPECT_TRUE(run.closed || !run.how.starts_with("QLIBCPopen")) << run.tool;
        }
    }

    // Like ExpectArgumentFailure, but without the exact text of the condition: NULL may be spelt
    // either way, and other lines may follow.
    template <class Function>
    void ExpectArgumentFailureOn(const std::string &argument, Function call) {
        platform().Forget();
        TakeLog();
        Stale();
        EXPECT_EQ(call(), -1) << argument;
        EXPECT_EQ(PlatformError(), 0x0D00) << argument;
        EXPECT_EQ(LibraryError(), kStaleLibraryError) << argument;
        const Strings log = TakeLog();
        ASSERT_FALSE(log.empty()) << argument;
        if (argument.empty())
            EXPECT_TRUE(log[0].starts_with("Invaild Argument (")) << log[0];
        else
            EXPECT_TRUE(log[0] == "Invaild Argument (((void *)0) != " + argument + ")=[0]\n" ||
                        log[0] == "Invaild Argument (NULL != " + argument + ")=[0]\n")
                << log[0];
        EXPECT_EQ(Tools(), Strings{}) << argument;
    }

    // The checks of the connection that every call makes first: not NULL, an address, and the field
    // named by `lacking`. If several are missing, the first is reported.
    template <class Function>
    void ExpectHostChecked(const std::string &lacking, std::optional<std::string> Host::*field,
                           Function call) {
        Host nowhere;
        nowhere.uri.reset();
        (nowhere.*field).reset();
        Host without;
        (without.*field).reset();
        ExpectArgumentFailure("((void *)0) != pHost", [&] { return call(nullptr); });
        ExpectArgumentFailure("NULL != pHost->szUri", [&] { return call(nowhere); });
        ExpectArgumentFailureOn("pHost->" + lacking, [&] { return call(without); });
    }

    // Runs `call` once unchanged to count the calls of a platform function, then once for each of
    // these with that one failing, and passes the result to `check`. The tools' answers must be
    // Always.
    template <class Function, class Check>
    void FailEach(const std::string &function, Function call, Check check, int slot = 0x0200) {
        platform().Forget();
        call();
        const size_t calls = platform().CallsOf(function).size();
        EXPECT_GT(calls, 0u) << function << " is not called";
        const Strings before = platform().Outstanding();
        for (size_t nth = 1; nth <= calls; ++nth) {
            SCOPED_TRACE(function + " fails, call " + std::to_string(nth));
            platform().Forget();
            TakeLog();
            Stale();
            platform().Fail(function, static_cast<int>(nth), -1, slot);
            check(call());
            ExpectAllClosed();
            EXPECT_EQ(platform().Outstanding(), before);
        }
        TakeLog();
    }
};

inline std::string TextOf(const char *text) {
    return text == nullptr ? "(null)" : text;
}

inline std::string Joined(const Strings &lines) {
    std::string text;
    for (const std::string &line : lines)
        text += line + "\n";
    return text;
}

}  // namespace zafo::foreign
