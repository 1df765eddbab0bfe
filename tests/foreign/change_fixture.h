// SPDX-License-Identifier: Apache-2.0
//
// Shared by the suites of change files, predefined searches, connection sources, passwords,
// counters and new accounts.
#pragma once

#include <sys/resource.h>

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

class ChangeTest : public ForeignTest {
  protected:
    // Like ExpectArgumentFailure, where the condition's text may be one of several.
    template <class Function>
    void ExpectArgumentFailureOf(std::initializer_list<const char *> conditions, Function call,
                                 int expected = -1) {
        Stale();
        TakeLog();
        const size_t runs = platform().Runs().size();
        EXPECT_EQ(call(), expected) << *conditions.begin();
        EXPECT_EQ(PlatformError(), 0x0D00) << *conditions.begin();
        EXPECT_EQ(LibraryError(), kStaleLibraryError) << *conditions.begin();
        EXPECT_EQ(platform().Runs().size(), runs) << *conditions.begin();
        const Strings log = TakeLog();
        ASSERT_EQ(log.size(), 1U) << *conditions.begin();
        const bool known = std::any_of(conditions.begin(), conditions.end(), [&](const char *text) {
            return log[0].find("Invaild Argument (" + std::string(text) + ")=[0]") == 0;
        });
        EXPECT_TRUE(known) << log[0];
    }

    // The position (from 1) of the last call of a function with that first text among the
    // function's calls since Forget.
    int NumberOfCall(const std::string &function, const std::string &text) {
        int number = 0;
        int found = 0;
        for (const Call &call : platform().CallsOf(function)) {
            ++number;
            if (std::find(call.arguments.begin(), call.arguments.end(), text) !=
                call.arguments.end())
                found = number;
        }
        EXPECT_NE(found, 0) << function << " was never called with " << text;
        return found;
    }

    // The arguments of every search so far.
    std::vector<Strings> Searches() {
        std::vector<Strings> vectors;
        for (const Run &run : platform().RunsOf("ldapsearch"))
            vectors.push_back(run.argv);
        return vectors;
    }
};

// Writes a change file of one record.
inline void WriteChange(ZAFOLDAP_LDIF *ldif, const char *path) {
    ASSERT_EQ(ZAFOLDAPLdifInit(ldif, path), 0);
    ZAFOLDAPLdifTargetDN(ldif, "dc=a");
    ZAFOLDAPLdifChangeType(ldif, "modify");
    ZAFOLDAPLdifAttrReplace(ldif, "cn", "b");
}

// The object classes known to the library, each with its schema bit.
inline const std::pair<const char *, unsigned> kSchemaClasses[] = {{"top", 0x0001},
                                                                   {"domain", 0x0002},
                                                                   {"extensibleObject", 0x4},
                                                                   {"organizationalPerson", 0x0008},
                                                                   {"person", 0x0010},
                                                                   {"posixAccount", 0x0020},
                                                                   {"posixGroup", 0x0040},
                                                                   {"inetOrgPerson", 0x0080},
                                                                   {"shadowAccount", 0x0100},
                                                                   {"apple-user", 0x0200},
                                                                   {"apple-group", 0x0400},
                                                                   {"sambaSamAccount", 0x0800},
                                                                   {"sambaGroupMapping", 0x1000}};

// The arguments of a search over Host's default connection.
inline Strings SearchVector(std::initializer_list<const char *> rest) {
    Strings vector{"-LLL", "-x",    "-H", "ldap://ldap.x.example", "-D", "cn=admin,dc=x,dc=example",
                   "-w",   "secret"};
    vector.insert(vector.end(), rest.begin(), rest.end());
    return vector;
}

// Uses up all descriptors for its lifetime, so that nothing can be opened.
class NoDescriptors {
  public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{0, before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
    NoDescriptors(const NoDescriptors &) = delete;
    NoDescriptors &operator=(const NoDescriptors &) = delete;

  private:
    rlimit before_{};
};

inline bool Exists(const std::string &path) {
    return FileText(path).has_value();
}

inline std::string Last(const Strings &texts) {
    return texts.empty() ? "(none)" : texts.back();
}

// The lines of a text, without line breaks.
inline Strings Lines(const std::string &text) {
    Strings lines;
    size_t start = 0;
    for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    if (start < text.size()) lines.push_back(text.substr(start));
    return lines;
}

}  // namespace zafo::foreign
