// SPDX-License-Identifier: Apache-2.0
#include "base/directives.h"

#include <utility>

#include <gtest/gtest.h>

namespace zafo::directives_test {
namespace {

// "key=value;" for each directive.
std::string Parsed(std::string_view text) {
    std::string parsed;
    const Directives directives(text);
    for (const Directive &directive : directives.Lines()) {
        if (!directive.key.empty()) parsed += directive.key + "=" + directive.value + ";";
    }
    return parsed;
}

// Verified with "slaptest -d config".
TEST(Directives, AreContinuedByLinesThatBeginWithABlank) {
    const std::pair<const char *, const char *> kRows[] = {
        {"a b\nc d", "a=b;c=d;"},
        {"a\n  b\n\tc\nd e\n", "a=b c;d=e;"},
        {"a \"b\n  c\"\n", "a=\"b c\";"},
        {"# a\n  b c\nd e\n", "d=e;"},  // comments are continued as well
        {"#\n\n  b c\n", "b=c;"},       // an empty line ends it
        {"a\r\n\r\n b c\r\n", "a=;b=c;"},
        {"a b\n \n\t \n  c\nd e\n", "a=b c;d=e;"},  // a line of blanks does not
        {" a b\n  c", "a=b c;"},
        {" \n a b", "a=b;"},
        {" # a\n b", ""},
        {"", ""},
        {"\n\n", ""},
    };
    for (const auto &[text, parsed] : kRows)
        EXPECT_EQ(Parsed(text), parsed) << text;
}

TEST(Directives, KeepTheTextByteForByte) {
    for (const char *text : {"", "a", "a b\n", "a b\r\n\r\n  c", "# x\n y\n\n \na\n b\n", "\n"}) {
        EXPECT_EQ(Directives(text).Text(), text);
        Directives changed(text);
        changed.Set("new", "x y");
        const std::string separator =
            *text != '\0' && !std::string(text).ends_with('\n') ? "\n" : "";
        EXPECT_EQ(changed.Text(), text + separator + "new \"x y\"\n");
    }
}

TEST(Directives, AreRewrittenOneByOne) {
    const auto rewrite = [](const Directive &directive) {
        if (directive.Is("drop")) return std::string();
        return directive.Is("change") ? "new\n" : directive.text;
    };
    EXPECT_EQ(Directives("# drop\na b\nDROP\n x\n\nchange y\n z\nlast").Rewritten(rewrite),
              "# drop\na b\n\nnew\nlast");
}

TEST(Directives, HaveTheirBlanksSqueezedBetweenWordsOnly) {
    const std::pair<const char *, const char *> kRows[] = {
        {"k a  b\n\tc", "a b c"},
        {"k \"a  b\"   c", "\"a  b\" c"},
        {"k \"a\\\"  b\"  c", "\"a\\\"  b\" c"},
        {"k a\\ \\  b", "a\\ \\  b"},
        {"k", ""},
    };
    for (const auto &[text, squeezed] : kRows)
        EXPECT_EQ(Directives(text).Lines().at(0).Squeezed(), squeezed) << text;
}

TEST(Directives, OfAFileThatCannotBeReadAreEmpty) {
    EXPECT_EQ(DirectiveOf("/no/such/file", "a"), "");
    EXPECT_EQ(DirectiveOf("/tmp", "a"), "");
}

}  // namespace
}  // namespace zafo::directives_test
