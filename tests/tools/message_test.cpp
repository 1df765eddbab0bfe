// SPDX-License-Identifier: Apache-2.0
#include <regex>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/error.h"
#include "platform/process.h"
#include "tests/rig/source_tree.h"
#include "tools/cli/failure.h"
#include "zafoldap/error.h"

namespace {

using namespace zafo::cli;
using testing::HasSubstr;

const Facts kFacts{.connection = "work",
                   .server = "ldap.example.com",
                   .bind_dn = "cn=reader",
                   .subject = "ou=x",
                   .reason = "because"};

TEST(MessageTable, EveryRowSaysWhatHappenedAndWhatToDo) {
    std::set<std::pair<std::string_view, std::string_view>> seen;
    ASSERT_GT(MessageTable().size(), 40U);
    for (const MessageRow &row : MessageTable()) {
        SCOPED_TRACE(row.key);
        EXPECT_TRUE(seen.insert({row.section, row.key}).second);
        EXPECT_FALSE(row.message.empty());
        EXPECT_GE(row.hint.size(), 10U);
        EXPECT_FALSE(row.message.ends_with('.'));
        EXPECT_NE(row.exit_code, 0);
    }
}

// The pairs of section and key that the library returns for its error codes.
std::set<std::pair<std::string_view, std::string_view>> PairsOfTheLibrary() {
    std::set<std::pair<std::string_view, std::string_view>> pairs;
    for (int code = -65550; code <= 255; ++code) {
        const char *section = "";
        const std::string_view key = ZAFOLDAPErrGetString(code, &section);
        if (!key.empty()) pairs.emplace(section, key);
    }
    return pairs;
}

TEST(MessageTable, EveryKeyOfTheLibraryHasARow) {
    for (const auto &[section, key] : PairsOfTheLibrary())
        EXPECT_NE(FindMessage(section, key), nullptr) << section << " " << key;
}

TEST(MessageTable, EveryRowOfAnotherSectionIsAKeyOfTheLibrary) {
    const auto pairs = PairsOfTheLibrary();
    for (const MessageRow &row : MessageTable()) {
        EXPECT_TRUE(row.section == "zafoldap" || pairs.contains({row.section, row.key}))
            << row.section << " " << row.key;
    }
}

// "Message::kBadDn" for "bad_dn".
std::string EnumeratorOf(std::string_view key) {
    std::string name = "Message::k";
    for (size_t i = 0; i < key.size(); ++i) {
        const bool begins = i == 0 || key[i - 1] == '_';
        if (key[i] != '_') name += begins ? static_cast<char>(key[i] - 'a' + 'A') : key[i];
    }
    return name;
}

// The enumerators used in the programs' sources outside the table.
std::set<std::string> MentionedEnumerators() {
    static const std::regex kEnumerator("Message::k[A-Za-z0-9]+");
    std::set<std::string> mentioned;
    for (const auto &file : zafo::meta::FilesBelow(zafo::meta::kSourceDir / "tools")) {
        if (file.filename() == "message_table.cpp") continue;
        for (const std::string &line : zafo::meta::Lines(file)) {
            for (std::sregex_iterator found(line.begin(), line.end(), kEnumerator), end;
                 found != end; ++found)
                mentioned.insert(found->str());
        }
    }
    return mentioned;
}

TEST(MessageTable, EveryRowOfTheProgramsOwnIsUsedUnderTheNameOfItsKey) {
    const std::set<std::string> mentioned = MentionedEnumerators();
    for (const MessageRow &row : MessageTable()) {
        if (row.section != "zafoldap") continue;
        EXPECT_TRUE(mentioned.contains(EnumeratorOf(row.key))) << row.key;
    }
}

TEST(MessageTable, EveryRowOfTheProgramsOwnCanBeFilled) {
    for (const MessageRow &row : MessageTable()) {
        if (row.section != "zafoldap") continue;
        SCOPED_TRACE(row.key);
        const Failure failure = OwnFailure(row.id, kFacts);
        EXPECT_THAT(failure.message, testing::Not(HasSubstr("{")));
        EXPECT_THAT(failure.hint, testing::Not(HasSubstr("{")));
    }
}

struct Outcome {
    int library_code;
    int platform_code;
    const char *words;
    int exit_code;
    const char *key;
};

void PrintTo(const Outcome &outcome, std::ostream *out) {
    *out << outcome.library_code << " " << outcome.words;
}

class LibraryOutcome : public testing::TestWithParam<Outcome> {};

TEST_P(LibraryOutcome, HasItsExitCodeAndKey) {
    const Outcome &row = GetParam();
    const Failure failure = LibraryFailure(row.library_code, row.platform_code, kFacts, row.words);
    EXPECT_EQ(failure.exit_code, row.exit_code);
    EXPECT_EQ(failure.Key(), row.key);
}

// Exit codes and output of the OpenLDAP 2.5 tools.
INSTANTIATE_TEST_SUITE_P(
    Tools, LibraryOutcome,
    testing::Values(
        Outcome{32, 0, "No such object (32)\n", 3, "ldap_no_such_object"},
        Outcome{49, 0, "ldap_bind: Invalid credentials (49)\n", 4, "ldap_invalid_credentials"},
        Outcome{50, 0, "", 4, "ldap_insufficient_access"},
        Outcome{8, 0, "", 4, "ldap_insufficient_modify"}, Outcome{13, 0, "", 4, "confidentiality"},
        Outcome{48, 0, "", 4, "auth_method"}, Outcome{68, 0, "", 5, "ldap_already_exists"},
        Outcome{3, 0, "", 6, "ldap_timelimit_exceeded"}, Outcome{4, 0, "", 1, "size_limit"},
        Outcome{11, 0, "", 1, "size_limit"}, Outcome{51, 0, "", 8, "server_busy"},
        Outcome{52, 0, "", 6, "server_unavailable"}, Outcome{80, 0, "", 1, "ldap_result"},
        Outcome{255, 0, "ldap_sasl_bind(SIMPLE): Can't contact LDAP server (-1)\n", 6,
                "server_unreachable"},
        Outcome{1, 0, "ldap_start_tls: Can't contact LDAP server (-1)\n", 6, "server_unreachable"},
        Outcome{255, 0,
                "ldap_sasl_bind(SIMPLE): Can't contact LDAP server (-1)\n\tadditional info: "
                "(unknown error code)\n",
                6, "tls_failed"},
        Outcome{1, 0,
                "ldap_start_tls: Connect error (-11)\n\tadditional info: (unknown error code)\n", 6,
                "tls_failed"},
        Outcome{1, 0,
                "ldap_start_tls: Protocol error (2)\n\tadditional info: unsupported extended "
                "operation\n",
                6, "tls_failed"},
        Outcome{251, 0, "ldap_result: Timed out (-5)\n", 6, "server_timed_out"},
        Outcome{1, 0, "ldap_start_tls: Timed out (-5)\n", 6, "server_timed_out"},
        Outcome{1, 0, "Operations error (1)\n", 1, "ldap_operations_error"},
        Outcome{-65542, 0, "", 8, "error_occupied"},
        Outcome{0, QLIB_ERR_OPEN_FAILED, "", 1, "tool_not_started"},
        Outcome{0, QLIB_ERR_READ_FAILED, "", 1, "answer_unreadable"},
        Outcome{0, QLIB_ERR_OUT_OF_MEMORY, "", 1, "out_of_memory"},
        Outcome{0, 0, "", 1, "tool_ended"}));

TEST(Failure, NamesTheToolThatCouldNotBeStarted) {
    const char *tool = "/usr/zafo/bin/absent";
    ASSERT_EQ(QLIBCPopen(tool, "r", static_cast<char *>(nullptr)), nullptr);
    const Failure failure = LibraryFailure(0, QLIB_ERR_OPEN_FAILED, kFacts, "");
    EXPECT_EQ(failure.Key(), "tool_not_started");
    EXPECT_EQ(failure.message, "the LDAP tool /usr/zafo/bin/absent cannot be started");
}

TEST(Failure, KeepsTheToolsWordsAsDetail) {
    const Failure failure = LibraryFailure(
        53, 0, kFacts, "ldap_bind: Server is unwilling (53)\n\tadditional info: no\n");
    EXPECT_EQ(failure.detail, "ldap_bind: Server is unwilling (53)\nadditional info: no");
    EXPECT_EQ(failure.ldap_code, 53);
    EXPECT_EQ(failure.message, "ldap.example.com does not allow cn=reader to do this");
}

}  // namespace
