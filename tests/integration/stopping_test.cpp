// SPDX-License-Identifier: Apache-2.0
//
// A caller may stop reading at any point: nothing of the search is left behind.
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/integration.h"
#include "tests/integration/listener.h"

namespace zafo::test {
namespace {

using testing::IsEmpty;

constexpr const char *kTool = "ldapsearch";

// Living children and zombies of this process, from proc_pid_stat(5): the parent is the second
// field after the name in parentheses.
std::vector<int> Children() {
    std::vector<int> children;
    for (const auto &item : std::filesystem::directory_iterator("/proc")) {
        const std::string name = item.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        const std::string status = FileContent(item.path() / "stat");
        const size_t end_of_name = status.rfind(')');
        if (end_of_name == std::string::npos) continue;  // it has ended meanwhile
        if (std::stoi(status.substr(end_of_name + 4)) == getpid())
            children.push_back(std::stoi(name));
    }
    return children;
}

ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

class Stopping : public testing::Test {
  protected:
    void Open(const ZAFOLDAP_HOST *host) {
        request_ = Request(query_);
        ASSERT_EQ(ZAFOLDAPSearchInit(host, &request_, &result_), 0);
    }

    std::chrono::milliseconds Free() {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &result_), 0);
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - begin);
    }

    void ExpectNothingLeft() {
        EXPECT_EQ(Children(), children_before_);
        EXPECT_THAT(ProcessesRunning(kTool), IsEmpty());
    }

    const std::vector<int> children_before_ = Children();
    Query query_;
    ZAFOLDAP_SEARCH_REQUEST request_;
    ZAFOLDAP_RESULT result_;
};

TEST_F(Stopping, AfterTheFirstEntryLeavesNoProcess) {
    const Connection connection;
    Open(connection);
    ASSERT_EQ(ZAFOLDAPSearchGetNext(&request_, &result_), 1);
    Free();
    ExpectNothingLeft();
}

TEST_F(Stopping, BeforeTheFirstEntryLeavesNoProcess) {
    const Connection connection;
    Open(connection);
    Free();
    ExpectNothingLeft();
}

// The answer is larger than the pipe, so the tool is blocked when the reader goes away.
TEST_F(Stopping, WhileTheToolIsBlockedByAFullPipeLeavesNoProcess) {
    const Connection connection;
    ExampleDirectory::Get().Add(LdifEntry("ou=large,dc=example,dc=com")
                                    .Add("objectClass", "organizationalUnit")
                                    .Add("ou", "large"));
    for (int n = 0; n < 8; ++n) {
        ExampleDirectory::Get().Add(
            LdifEntry("cn=" + std::to_string(n) + ",ou=large,dc=example,dc=com")
                .Add("objectClass", "organizationalRole")
                .Add("cn", std::to_string(n))
                .Add("description", std::string(1 << 20, 'x')));
    }
    query_.base = "ou=large,dc=example,dc=com";
    Open(connection);
    ASSERT_EQ(ZAFOLDAPSearchGetNext(&request_, &result_), 1);
    EXPECT_LT(Free().count(), 1000);
    ExpectNothingLeft();
    ExampleDirectory::Get().Client("ldapdelete", {"-r", "ou=large,dc=example,dc=com"});
}

TEST_F(Stopping, WhileTheServerIsSilentDoesNotWaitForTheTimeLimit) {
    SilentServer server;
    const Connection connection(server.Uri());
    Open(connection);
    for (int wait = 0; wait < 200 && server.Heard().empty(); ++wait)
        usleep(10'000);
    EXPECT_LT(Free().count(), 1000);
    ExpectNothingLeft();
}

TEST_F(Stopping, ByTheHandlerLeavesNoProcess) {
    const Connection connection;
    request_ = Request(query_);
    const auto handler = [](const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *,
                            const ZAFOLDAP_RESULT *, void *) { return 1; };
    EXPECT_EQ(ZAFOLDAPSearchResultGet(connection, &request_, handler, nullptr), 0);
    ExpectNothingLeft();
    ZAFOLDAPSearchRequestFree(&request_);
}

TEST_F(Stopping, AtTheEndOfTheWindowLeavesNoProcess) {
    const Connection connection;
    EXPECT_EQ(Search(connection, {.offset = 3, .count = 2}).entries.size(), 2U);
    ExpectNothingLeft();
}

TEST_F(Stopping, NothingStaysOpenWhateverTheOutcome) {
    const Connection good;
    const Connection down("127.0.0.1:1");
    Search(good, {.filter = "(uid=reader)"});
    const ptrdiff_t before = OpenDescriptors();
    for (int round = 0; round < 5; ++round) {
        Search(good, {});
        Search(good, {.base = "ou=nowhere,dc=example,dc=com"});
        Search(down, {});
        Open(good);
        ASSERT_EQ(ZAFOLDAPSearchGetNext(&request_, &result_), 1);
        Free();
    }
    EXPECT_EQ(OpenDescriptors(), before);
    ExpectNothingLeft();
}

}  // namespace
}  // namespace zafo::test
