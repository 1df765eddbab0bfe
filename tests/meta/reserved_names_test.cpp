// SPDX-License-Identifier: Apache-2.0
//
// The programs refuse to copy the names that the own server's rules keep an operator from
// assigning.
#include <regex>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tests/rig/source_tree.h"

namespace {

using namespace zafo::meta;

using Names = std::set<std::string>;

std::string Whole(const char *path) {
    std::string text;
    for (const std::string &line : Lines(kSourceDir / path))
        text += line + "\n";
    return text;
}

Names AllIn(const std::string &text, const std::regex &pattern) {
    Names names;
    for (std::sregex_iterator at(text.begin(), text.end(), pattern), end; at != end; ++at)
        names.insert((*at)[1]);
    return names;
}

// The names in a table of roles, without the roles.
Names InProgram(const std::string &table) {
    static const std::string source = Whole("tools/zafoldap/reserved_account.cpp");
    const size_t begin = source.find(table + "[] = {");
    EXPECT_NE(begin, std::string::npos) << table;
    static const std::regex kName(R"x("([a-z][a-z-]*)"(?=[,}\s]))x");
    return AllIn(source.substr(begin, source.find("};", begin) - begin), kName);
}

// The alternatives between the preceding words and the closing bracket.
Names InRule(const std::string &before) {
    static const std::string rules = Whole("host/defaults/openldap/slapd.conf.template");
    const size_t begin = rules.find(before);
    EXPECT_NE(begin, std::string::npos) << before;
    const size_t first = begin + before.size();
    static const std::regex kName(R"(([^|]+))");
    return AllIn(rules.substr(first, rules.find(')', first) - first), kName);
}

TEST(ReservedNames, OfGroupsAreTheSameInTheProgramAndInTheRules) {
    Names names = InProgram("kGroupRoles");
    EXPECT_GT(names.size(), 40U);
    EXPECT_EQ(InRule("attrs=cn val.regex=\"^ *("), names);
    names.insert("administrators");  // whose members have write access by the rules
    EXPECT_EQ(InRule("(cn=("), names);
}

TEST(ReservedNames, OfUsersAreTheSameInTheProgramAndInTheRules) {
    Names names = InProgram("kUserRoles");
    EXPECT_GT(names.size(), 40U);
    names.erase("users");  // a group of every directory
    EXPECT_EQ(InRule("attrs=uid val.regex=\"^ *("), names);
    EXPECT_EQ(InRule("|uid=("), names);
}

}  // namespace
