// SPDX-License-Identifier: Apache-2.0
//
// Every function of the table, with each of its arguments invalid in turn.
#include <syslog.h>

#include <cstring>
#include <filesystem>

#include "platform/error.h"
#include "tests/core/argument_failure.h"
#include "tests/rig/source_tree.h"

namespace zafo::core_test {

void PrintTo(const Function &function, std::ostream *out) {
    *out << function.name;
}

namespace {

// The left-hand side of "!=": NULL is logged as the preprocessor saw it, so some texts contain its
// expansion. `~` allows any spelling.
std::string Pattern(const std::string &condition) {
    const bool open = condition[0] == '~';
    std::string pattern = open ? R"((NULL|\(\(void \*\)0\)) != )" : "";
    for (const char c : condition.substr(open)) {
        if (std::strchr(".^$|()[]{}*+?\\", c) != nullptr) pattern += '\\';
        pattern += c;
    }
    return pattern;
}

constexpr unsigned kAllChecks = (1u << kMaxChecks) - 1;

class ArgumentFailure : public CoreTest, public testing::WithParamInterface<Function> {
  protected:
    // The checks in `bad` fail; check `first` must be the one reported.
    void ExpectFailure(unsigned first, unsigned bad) {
        const Function &function = GetParam();
        SCOPED_TRACE(testing::Message() << function.checks[first]
                                        << ", failing checks: " << std::bitset<kMaxChecks>(bad));
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
        ExpectFailure(i, kAllChecks << i & kAllChecks);
    EXPECT_TRUE(tools_.Calls().empty());
}

std::string NameOf(const testing::TestParamInfo<Function> &info) {
    return std::string(info.param.name) + "_" + std::to_string(info.index);
}

INSTANTIATE_TEST_SUITE_P(EveryFunction, ArgumentFailure, testing::ValuesIn(AllFunctions()), NameOf);

TEST(ArgumentFailureTable, HoldsEveryFunctionOfItsHeaders) {
    std::set<std::string> tested = FunctionsWithoutChecks();
    for (const Function &function : AllFunctions())
        tested.insert(function.name);
    for (const auto &declaration : meta::ExportedDeclarations()) {
        const std::string family = std::filesystem::path(declaration.header).stem();
        if (CoveredHeaders().contains(family)) {
            EXPECT_TRUE(tested.contains(declaration.function)) << declaration.function;
        }
    }
}

class GoodArguments : public CoreTest {};

TEST_F(GoodArguments, AreNotReported) {
    for (const Function &function : AllFunctions()) {
        if (function.checks.size() == 1) continue;  // its only invalid argument is fixed
        SCOPED_TRACE(function.name);
        Arguments arguments;
        log_.Clear();
        function.call(arguments, Bad(0));
        EXPECT_THAT(LoggedTexts(), testing::Not(testing::Contains(testing::StartsWith("Invaild"))));
    }
}

}  // namespace
}  // namespace zafo::core_test
