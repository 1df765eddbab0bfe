// SPDX-License-Identifier: Apache-2.0
//
// The library's initial state, recorded before the first test.
#include <unistd.h>

#include "tests/seam/seam.h"
#include "zafoldap.h"

namespace zafo::seam_test {
namespace {

struct FirstValues : testing::Environment {
    void SetUp() override {
        error = ZAFOLDAPErrGet();
        g_hooks.open = [](const Texts &, const std::string &) { return nullptr; };
        ZAFOLDAP_HOST host{};
        host.szUri = "server";
        for (std::string &name : error_files) {
            ZAFOLDAP_SEARCH_REQUEST request{};
            ZAFOLDAP_RESULT result{};
            ZAFOLDAPSearchInit(&host, &request, &result);
            name = result.szErrFile;
            ZAFOLDAPSearchFree(&request, &result);
        }
        g_hooks = {};
        for (std::string &name : change_files) {
            ZAFOLDAP_LDIF ldif;
            ZAFOLDAPLdifInit(&ldif, nullptr);
            name = ldif.szPath;
            ZAFOLDAPLdifClose(&ldif);
            ZAFOLDAPLdifUnlink(&ldif);
        }
    }

    int error = -1;
    std::string error_files[2], change_files[2];
};

FirstValues *const g_first = [] {
    auto *first = new FirstValues;
    testing::AddGlobalTestEnvironment(first);
    return first;
}();

TEST(FirstValues, LibraryErrorIsZero) {
    EXPECT_EQ(g_first->error, 0);
}

TEST(FirstValues, NumbersOfErrorFilesStartAtZero) {
    const std::string start = "/tmp/ldapsearch.err." + std::to_string(getpid());
    EXPECT_EQ(g_first->error_files[0], start + ".0") << "a search that cannot start counts, too";
    EXPECT_EQ(g_first->error_files[1], start + ".1");
}

TEST(FirstValues, NumbersOfChangeFilesStartAtZero) {
    const std::string start = "/tmp/" + std::to_string(getpid());
    EXPECT_EQ(g_first->change_files[0], start + "_0.ldif");
    EXPECT_EQ(g_first->change_files[1], start + "_1.ldif");
}

}  // namespace
}  // namespace zafo::seam_test
