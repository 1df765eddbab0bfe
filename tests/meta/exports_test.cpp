// SPDX-License-Identifier: Apache-2.0
//
// Checks that the shared library, its public headers and the list of its functions agree.
#include <algorithm>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/rig/build.h"
#include "tests/rig/source_tree.h"

namespace {

using namespace zafo::meta;
using testing::IsEmpty;

const std::string kLibrary = (kBuildDir / "src/libzafoldap.so.5").string();

std::set<std::string> Exported() {
    std::set<std::string> names;
    for (const std::string &line : OutputOf("nm -D --defined-only --format=posix " + kLibrary)) {
        const std::string name = line.substr(0, line.find(' '));
        const std::string type = line.substr(name.size() + 1, 1);
        if (type != "A")
            names.insert(name.substr(0, name.find('@')));  // "A" is the version's own name
    }
    return names;
}

std::set<std::string> Declared() {
    std::set<std::string> names;
    for (const Declaration &declaration : ExportedDeclarations())
        names.insert(declaration.function);
    return names;
}

std::set<std::string> Planned() {
    std::set<std::string> names;
    for (const std::string &line : Lines(kSourceDir / "tests/meta/exports.txt"))
        names.insert(line);
    return names;
}

std::set<std::string> Without(const std::set<std::string> &all, const std::set<std::string> &some) {
    std::set<std::string> rest;
    std::set_difference(all.begin(), all.end(), some.begin(), some.end(),
                        std::inserter(rest, rest.end()));
    return rest;
}

// The bracketed values of one kind of line in the dynamic section.
std::set<std::string> DynamicEntries(const std::string &kind) {
    std::set<std::string> values;
    for (const std::string &line : OutputOf("readelf -dW " + kLibrary)) {
        const size_t open = line.find('['), close = line.find(']');
        if (line.find("(" + kind + ")") == std::string::npos || open == std::string::npos) continue;
        values.insert(line.substr(open + 1, close - open - 1));
    }
    return values;
}

TEST(Exports, EveryDeclaredFunctionIsExported) {
    ASSERT_FALSE(Declared().empty());
    EXPECT_THAT(Without(Declared(), Exported()), IsEmpty());
}

TEST(Exports, NothingIsExportedThatNoHeaderDeclares) {
    ASSERT_FALSE(Exported().empty());
    EXPECT_THAT(Without(Exported(), Declared()), IsEmpty());
}

TEST(Exports, AreTheFunctionsOfTheInterface) {
    const auto planned = Planned();
    ASSERT_EQ(planned.size(), 145U);
    EXPECT_THAT(Without(planned, Exported()), IsEmpty());
    EXPECT_THAT(Without(Exported(), planned), IsEmpty());
}

TEST(Exports, EveryFunctionIsDeclaredOnce) {
    std::set<std::string> seen;
    for (const Declaration &declaration : ExportedDeclarations()) {
        EXPECT_TRUE(seen.insert(declaration.function).second)
            << declaration.function << " again in " << declaration.header;
    }
}

TEST(Exports, EveryFunctionHasACommentAboveItsDeclaration) {
    for (const Declaration &declaration : ExportedDeclarations()) {
        EXPECT_TRUE(declaration.has_comment)
            << declaration.header << ":" << declaration.line << " " << declaration.function;
    }
}

TEST(SharedLibrary, SonameCarriesTheInterfaceNumber) {
    EXPECT_EQ(DynamicEntries("SONAME"), std::set<std::string>{"libzafoldap.so.5"});
}

TEST(SharedLibrary, NeedsOnlyTheStandardAndThePlatformLibraries) {
    static const std::set<std::string> kAllowed = {"libc", "libstdc++",   "libgcc_s",
                                                   "libm", "libzafocore", "libzafosdk"};
    static const std::set<std::string> kSanitizers = {"libasan", "libubsan"};
    const auto needed = DynamicEntries("NEEDED");
    ASSERT_FALSE(needed.empty());
    for (const std::string &library : needed) {
        const std::string name = library.substr(0, library.find(".so"));
        const bool loader = name.starts_with("ld-linux");
        const bool sanitizer = zafo::rig::IsSanitized() && kSanitizers.contains(name);
        EXPECT_TRUE(kAllowed.contains(name) || loader || sanitizer) << library;
    }
}

// An executable stack or writable relocations would help anyone who finds an overflow in a root
// process.
TEST(SharedLibrary, HasNoExecutableStack) {
    bool seen = false;
    for (const std::string &line : OutputOf("readelf -lW " + kLibrary)) {
        if (line.find("GNU_STACK") == std::string::npos) continue;
        seen = true;
        EXPECT_EQ(line.find("RWE"), std::string::npos) << line;
    }
    EXPECT_TRUE(seen);
}

}  // namespace
