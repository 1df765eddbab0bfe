// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "tests/foreign/platform/state.h"

namespace zafo::foreign {

namespace {

// Lives until the next test, so that a test's own members can still be freed after TearDown.
std::unique_ptr<Platform> &Owner() {
    static std::unique_ptr<Platform> owner;
    return owner;
}

char *Pointer(std::optional<std::string> &text) {
    return text ? text->data() : nullptr;
}

bool NeedsBase64(const std::string &value) {
    if (!value.empty() &&
        (value[0] == ' ' || value[0] == ':' || value[0] == '<' || value.back() == ' '))
        return true;
    for (const char c : value)
        if (c < 32 || c == 127) return true;
    return false;
}

std::string Line(const std::string &attribute, const std::string &value) {
    return NeedsBase64(value) ? attribute + ":: " + Base64(value) + "\n"
                              : attribute + ": " + value + "\n";
}

}  // namespace

Host::operator ZAFOLDAP_HOST *() {
    if (!filled_) {
        record_.szUri = Pointer(uri);
        record_.szBaseDN = Pointer(base);
        record_.szBindDN = Pointer(bind_dn);
        record_.szBindPasswd = Pointer(password);
        record_.szLoginSuffix = Pointer(login_suffix);
        record_.nServerType = server_type;
        record_.nSchema = schema;
        record_.nSSLType = ssl;
        filled_ = true;
    }
    return &record_;
}

ZAFOLDAP_HOST *Host::operator->() {
    return *this;
}

std::string Entry(const std::string &dn,
                  const std::vector<std::pair<std::string, std::string>> &attributes) {
    std::string text = Line("dn", dn);
    for (const auto &[attribute, value] : attributes)
        text += Line(attribute, value);
    return text + "\n";
}

std::optional<std::string> FileText(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void WriteFile(const std::string &path, const std::string &text, mode_t mode) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    EXPECT_EQ(chmod(path.c_str(), mode), 0) << path;
}

int InAnotherProcess(const std::function<int()> &body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

ForeignTest::ForeignTest() {
    Owner() = nullptr;
    Owner() = std::make_unique<Platform>(GetParam());
}

void ForeignTest::SetUp() {
    Stale();
    platform().Forget();
}

void ForeignTest::TearDown() {
    EXPECT_EQ(platform().Outstanding(), Strings{});
    EXPECT_EQ(platform().Faults(), Strings{});
    EXPECT_EQ(platform().AnswersLeft(), 0) << "answers that no run of a tool took";
}

void ForeignTest::Stale() {
    ZAFOLDAPErrSet(kStaleLibraryError);
    platform().slot = kStalePlatformError;
}

void ForeignTest::ExpectSlotsUntouched() {
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

Strings ForeignTest::Tools() {
    Strings tools;
    for (const Run &run : platform().Runs())
        tools.push_back(run.tool);
    return tools;
}

Strings ForeignTest::Changes() {
    Strings changes;
    for (const Run &run : platform().RunsOf("ldapmodify"))
        changes.push_back(run.change);
    return changes;
}

void ForeignTest::ExpectWholeChangeOrNone(const std::function<int()> &call) {
    platform().Forget();
    ASSERT_EQ(call(), 0);
    const Strings whole = Changes();
    ASSERT_EQ(whole.size(), 1U);
    const int items = static_cast<int>(platform().CallsOf("QLIBCSzListGet").size());
    ASSERT_GT(items, 0);
    for (int nth = 1; nth <= items; ++nth) {
        platform().Forget();
        platform().Fail("QLIBCSzListGet", nth);
        const int result = call();
        EXPECT_EQ(Changes(), result == 0 ? whole : Strings{}) << "without item " << nth;
    }
}

Strings ForeignTest::Log() {
    Strings lines;
    for (const LogLine &line : platform().state().log)
        lines.push_back(line.text);
    return lines;
}

Strings ForeignTest::TakeLog() {
    Strings lines = Log();
    platform().state().log.clear();
    return lines;
}

void ForeignTest::BeforeArgumentFailure() {
    TakeLog();
    Stale();
    runs_before_ = platform().Runs().size();
}

void ForeignTest::AfterArgumentFailure(const std::string &condition) {
    EXPECT_EQ(TakeLog(), Strings{"Invaild Argument (" + condition + ")=[0]\n"});
    EXPECT_EQ(PlatformError(), QLIB_ERR_BAD_ARGUMENT) << condition;
    EXPECT_EQ(LibraryError(), kStaleLibraryError) << condition;
    EXPECT_EQ(platform().Runs().size(), runs_before_) << condition;
}

}  // namespace zafo::foreign
