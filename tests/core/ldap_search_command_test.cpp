// SPDX-License-Identifier: Apache-2.0
//
// ldapsearch's arguments for all combinations of the fields of connection and request.
#include <syslog.h>

#include <optional>

#include "platform/error.h"
#include "tests/core/core_fixture.h"

namespace zafo::core_test {
namespace {

using Text = std::optional<std::string>;

// The fields that determine the arguments, as plain values.
struct Case {
    std::string uri = "server";
    int ssl = 0;
    Text bind_dn, password, host_base, base;
    bool base_as_is = false;
    int size_limit = 0;
    Text scope, extra, filter;
    bool with_list = true;
    Texts attributes;
};

void PrintTo(const Case &c, std::ostream *out) {
    const auto show = [](const Text &text) { return text ? "\"" + *text + "\"" : "NULL"; };
    *out << "uri " << c.uri << " ssl " << c.ssl << " bind " << show(c.bind_dn) << " password "
         << show(c.password) << " host base " << show(c.host_base) << " base " << show(c.base)
         << " as is " << c.base_as_is << " limit " << c.size_limit << " scope " << show(c.scope)
         << " extra " << show(c.extra) << " filter " << show(c.filter) << " attributes "
         << (c.with_list ? std::to_string(c.attributes.size()) : "NULL");
}

// Where to search: a relative base is placed below the connection's.
Text BaseArgument(const Case &c) {
    if (c.base_as_is) return c.base;
    if (c.base && c.host_base) return *c.base + "," + *c.host_base;
    return c.base ? c.base : c.host_base;
}

Texts ExpectedArguments(const Case &c) {
    Texts argv = {"/usr/zafo/bin/ldapsearch", "-LLL", "-x", "-H",
                  (c.ssl == 1 ? "ldaps://" : "ldap://") + c.uri};
    if (c.ssl == 2) argv.push_back("-Z");
    const auto option = [&argv](const char *word, const std::string &value) {
        argv.push_back(word);
        argv.push_back(value);
    };
    if (c.bind_dn) {
        option("-D", *c.bind_dn);
        if (c.password) option("-w", *c.password);
    }
    if (const Text base = BaseArgument(c)) option("-b", *base);
    if (c.size_limit != 0) option("-z", std::to_string(c.size_limit));
    if (c.scope) option("-s", *c.scope);
    if (c.extra) argv.push_back(*c.extra);
    if (c.filter) argv.push_back(*c.filter);
    argv.insert(argv.end(), c.attributes.begin(), c.attributes.end());
    return argv;
}

std::string ExpectedCommand(const Case &c) {
    std::string command;
    for (const std::string &argument : ExpectedArguments(c)) {
        const bool plain = command.empty() || argument.starts_with("-");
        if (!command.empty()) command += " ";
        command += plain ? argument : "'" + argument + "'";
    }
    return command;
}

// The library's records for a case; they borrow its strings.
class Records {
  public:
    explicit Records(const Case &c) {
        const auto pointer = [](const Text &text) { return text ? text->c_str() : nullptr; };
        host.szUri = c.uri.c_str();
        host.nSSLType = c.ssl;
        host.szBindDN = pointer(c.bind_dn);
        host.szBindPasswd = pointer(c.password);
        host.szBaseDN = pointer(c.host_base);
        ZAFOLDAPSearchRequestInit(&request, c.with_list);
        for (const std::string &name : c.attributes) {
            QLIBCSzListPush(&request.plistAttr, name.c_str());
        }
        request.szBase = pointer(c.base);
        request.blBaseAsIs = c.base_as_is;
        request.nSizeLimit = c.size_limit;
        request.szScope = pointer(c.scope);
        request.szExtra = pointer(c.extra);
        request.szFilter = pointer(c.filter);
    }
    ~Records() { ZAFOLDAPSearchRequestFree(&request); }
    Records(const Records &) = delete;
    Records &operator=(const Records &) = delete;

    ZAFOLDAP_HOST host{};
    ZAFOLDAP_SEARCH_REQUEST request{};
};

// Every value of every field combined with every other, in a fixed order: 6,912 cases.
template <class Use>
void ForEachConnection(Use use) {
    for (int ssl : {0, 1, 2}) {
        for (const Text &bind : {Text(), Text("cn=ann, bob")}) {
            for (const Text &password : {Text(), Text(""), Text("s'e cret")}) {
                for (const Text &host_base : {Text(), Text("dc=example,dc=com")}) {
                    Case c;
                    c.ssl = ssl;
                    c.bind_dn = bind;
                    c.password = password;
                    c.host_base = host_base;
                    use(c);
                }
            }
        }
    }
}

template <class Use>
void ForEachRequest(const Case &connection, Use use) {
    struct Attributes {
        bool with_list;
        Texts names;
    };
    const std::vector<Attributes> lists = {{false, {}}, {true, {}}, {true, {"uid", "cn;x"}}};
    constexpr unsigned kFields = 6;
    for (unsigned bits = 0; bits < 1u << kFields; ++bits) {
        for (const auto &[with_list, names] : lists) {
            Case c = connection;
            if (bits & 1) c.base = "cn=users";
            c.base_as_is = bits & 2;
            if (bits & 4) c.size_limit = 500;
            if (bits & 8) c.scope = "baseObject";
            if (bits & 16) c.extra = "(extra=1)";
            if (bits & 32) c.filter = "(&(uid=ann)(cn=*))";
            c.with_list = with_list;
            c.attributes = names;
            use(c);
        }
    }
}

std::vector<Case> Grid() {
    std::vector<Case> grid;
    ForEachConnection([&grid](const Case &connection) {
        ForEachRequest(connection, [&grid](const Case &c) { grid.push_back(c); });
    });
    return grid;
}

class SearchCommand : public CoreTest {
  protected:
    void Run(const Case &c) {
        Records records(c);
        ZAFOLDAP_RESULT result;
        ASSERT_EQ(ZAFOLDAPSearchInit(&records.host, &records.request, &result), 0);
        EXPECT_EQ(ZAFOLDAPSearchGetNext(&records.request, &result), 0);
        ZAFOLDAPSearchFree(&records.request, &result);
    }

    static std::string Command(const Case &c, size_t size = 4096) {
        Records records(c);
        std::string command(size + 4, '#');
        EXPECT_EQ(
            ZAFOLDAPSearchBuildRequestCmd(&records.host, &records.request, command.data(), size),
            0);
        EXPECT_EQ(command.substr(size), "####") << "written past the buffer";
        return command.c_str();
    }
};

TEST_F(SearchCommand, ToolGetsExactlyTheseArgumentsOverTheWholeGrid) {
    const std::vector<Case> grid = Grid();
    ASSERT_EQ(grid.size(), 3u * 2 * 3 * 2 * 64 * 3);
    constexpr size_t kBatch = 256;
    for (size_t begin = 0; begin < grid.size(); begin += kBatch) {
        const size_t end = std::min(begin + kBatch, grid.size());
        tools_.Reset();
        for (size_t i = begin; i < end; ++i)
            Run(grid[i]);
        const auto calls = tools_.Calls();
        ASSERT_EQ(calls.size(), end - begin);
        for (size_t i = begin; i < end; ++i) {
            ASSERT_EQ(calls[i - begin].argv, ExpectedArguments(grid[i]))
                << testing::PrintToString(grid[i]);
        }
    }
}

TEST_F(SearchCommand, PrintedLineFollowsTheArgumentsOverTheWholeGrid) {
    for (const Case &c : Grid()) {
        ASSERT_EQ(Command(c), ExpectedCommand(c)) << testing::PrintToString(c);
    }
    EXPECT_TRUE(tools_.Calls().empty());
}

TEST_F(SearchCommand, PasswordWithoutBindDNIsNotPassed) {
    Case c;
    c.password = "secret";
    Run(c);
    EXPECT_THAT(tools_.Calls().at(0).argv, testing::Not(testing::Contains("-w")));
    EXPECT_THAT(tools_.Calls().at(0).argv, testing::Not(testing::Contains("-D")));
}

TEST_F(SearchCommand, TextsThatMeanSomethingToAShellOrToPrintfStayAsTheyAre) {
    Case c;
    c.uri = "a:389 ldap://b:389";
    c.bind_dn = "cn=$(id),%s%n";
    c.password = "`x`\\ \"' %d";
    c.host_base = "dc=%n";
    c.base = "ou=Zo\xc3\xab\n";
    c.filter = "(cn=*;rm -rf /)";
    c.attributes = {"-f", "", "%s"};
    Run(c);
    EXPECT_EQ(tools_.Calls().at(0).argv, ExpectedArguments(c));
}

TEST_F(SearchCommand, NegativeSizeLimitIsPassedInDecimal) {
    Case c;
    c.size_limit = -2147483647 - 1;
    Run(c);
    EXPECT_EQ(tools_.Calls().at(0).argv, ExpectedArguments(c));
}

TEST_F(SearchCommand, UnknownTransportSecurityIsPlain) {
    for (int ssl : {-1, 3}) {
        Case c;
        c.ssl = ssl;
        Run(c);
        EXPECT_EQ(tools_.Calls().back().argv, ExpectedArguments(c)) << ssl;
    }
}

TEST_F(SearchCommand, ManyAttributesAreAllPassedInOrder) {
    Case c;
    c.attributes = {};
    for (int i = 0; i < 3000; ++i)
        c.attributes.push_back("attribute" + std::to_string(i));
    Run(c);
    EXPECT_EQ(tools_.Calls().at(0).argv, ExpectedArguments(c));
}

// Joined texts are truncated to 1024 characters; texts that are passed unchanged never are.
TEST_F(SearchCommand, AddressAndJoinedBaseAreCutAt1024Characters) {
    Case c;
    c.uri = std::string(2000, 'u');
    c.base = std::string(900, 'b');
    c.host_base = std::string(900, 'h');
    Run(c);
    const Texts argv = tools_.Calls().at(0).argv;
    EXPECT_EQ(argv.at(4), ("ldap://" + c.uri).substr(0, 1024));
    EXPECT_EQ(argv.at(6), (*c.base + "," + *c.host_base).substr(0, 1024));
}

TEST_F(SearchCommand, BaseAsGivenIsNeverCut) {
    Case c;
    c.base = std::string(5000, 'b');
    c.base_as_is = true;
    c.filter = std::string(5000, 'f');
    Run(c);
    EXPECT_EQ(tools_.Calls().at(0).argv, ExpectedArguments(c));
}

TEST_F(SearchCommand, PrintedLineHoldsNoAddressForAHostWithoutOne) {
    Case c;
    Records records(c);
    records.host.szUri = nullptr;
    char command[128];
    EXPECT_EQ(
        ZAFOLDAPSearchBuildRequestCmd(&records.host, &records.request, command, sizeof command), 0);
    EXPECT_STREQ(command, "/usr/zafo/bin/ldapsearch -LLL -x");
}

TEST_F(SearchCommand, PrintedLineIsCutToEverySizeOfBuffer) {
    Case c;
    c.bind_dn = "cn=ann";
    c.password = "pw";
    c.filter = "(uid=ann)";
    c.attributes = {"uid"};
    const std::string whole = ExpectedCommand(c);
    for (size_t size = 1; size <= whole.size() + 2; ++size) {
        EXPECT_EQ(Command(c, size), whole.substr(0, size - 1)) << size;
    }
}

TEST_F(SearchCommand, ToolsEnvironmentAndDescriptorsAreClean) {
    Run(Case());
    const auto call = tools_.Calls().at(0);
    EXPECT_TRUE(call.InputIsNull());
    for (const auto &[number, target] : call.descriptors)
        EXPECT_TRUE(number <= 2 || call.secrets.contains(number)) << target;
    EXPECT_THAT(call.descriptors.at(1), testing::StartsWith("pipe:"));
}

}  // namespace
}  // namespace zafo::core_test
