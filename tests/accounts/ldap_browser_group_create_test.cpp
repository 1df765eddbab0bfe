// SPDX-License-Identifier: Apache-2.0
//
// Adding a group: the tools that run and their arguments, the record written, and the effect of
// each possible failure.
#include "tests/accounts/writing_fixture.h"
#include "zafoldap.h"

namespace zafo::accounts_test::group_create {
namespace {

using Members = std::optional<Texts>;

constexpr unsigned kPosix = ZAFOLDAP_CLASS_POSIX_GROUP;
constexpr unsigned kSamba = ZAFOLDAP_CLASS_SAMBA_GROUP_MAPPING;
constexpr unsigned kMinimal = ZAFOLDAP_CLASS_TOP | kPosix;
constexpr unsigned kEverything = 0x1FFF;

const std::string kNameSearch = SearchCommand(kBase, "(&(objectClass=posixGroup)(cn=staff))");
const std::string kNumberSearch =
    SearchCommand(kBase, "(&(objectClass=posixGroup)(gidNumber=2001)) dn");
const std::string kDomainDN = "sambaDomainName=example," + kBase;

// All tools of a creation on a server with the Samba schema.
const std::vector<Step> kSteps = {
    {"ldapsearch"},          {"ldapsearch"}, {"ldapsearch", kDomain}, {"ldapsearch", kDomain},
    {"ldapsearch", kDomain}, {"ldapmodify"}, {"ldapmodify"},
};

// A group as plain values.
struct Team {
    Text name = "staff";
    uint32_t gid = 2001;
    Members members = {};
    Text description = {};
};

Team Staff() {
    return {.members = {{"alice", "bob"}}, .description = "All of them"};
}

class GroupCreate : public WritingTest {
  protected:
    GroupCreate() { host_.nSchema = kMinimal; }

    int Create(const Team &team, const List *extra = nullptr, const char *container = nullptr) {
        const GroupRecord record(team.name, team.gid, team.members);
        return ZAFOLDAPBrowserGroupCreate(&host_, &record,
                                          team.description ? team.description->c_str() : nullptr,
                                          extra != nullptr ? extra->Get() : nullptr, container);
    }
};

struct RecordCase {
    const char *title;
    unsigned schema;
    Team team;
    Texts extra = {};
    const char *container = nullptr;
};

std::vector<RecordCase> RecordCases() {
    return {
        {"top alone", ZAFOLDAP_CLASS_TOP, Staff()},
        {"posixGroup alone", kPosix, Staff()},
        {"extensibleObject alone", ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT, Staff()},
        {"apple-group alone", ZAFOLDAP_CLASS_APPLE_GROUP, Staff()},
        {"sambaGroupMapping alone", kSamba, Staff()},
        {"no known class", 0, Staff()},
        {"minimal server, nothing optional given", kMinimal, {}},
        {"empty description, no members", kMinimal, {.members = Texts{}, .description = ""}},
        {"server without posixGroup", kEverything & ~kPosix, Staff()},
        {"everything",
         kEverything,
         Staff(),
         {"businessCategory", "100%% work", "l", "Berlin", "odd"}},
        {"name that a DN must escape, container of the caller's, highest number",
         kPosix,
         {.name = " Back, front ", .gid = GID_ERR - 1},
         {},
         "ou=teams"},
        {"percent signs",
         kPosix | kSamba,
         {.name = "50%n%%s%", .members = Texts{"%n"}, .description = "%s%n%%"},
         {"l", "%n%% %s %"}},
    };
}

TEST_F(GroupCreate, RecordsAreTheseTexts) {
    Golden golden("new_group.ldif");
    for (const RecordCase &c : RecordCases()) {
        SCOPED_TRACE(c.title);
        Prepare({{"ldapsearch"}, {"ldapsearch"}, {"ldapsearch", kDomain}});
        host_.nSchema = c.schema;
        List extra;
        for (const std::string &item : c.extra)
            QLIBCSzListPush(extra.Address(), item.c_str());
        EXPECT_EQ(Create(c.team, &extra, c.container), 0);
        EXPECT_EQ(LastChange(), golden.Take(c.title));
    }
    EXPECT_THAT(golden.Left(), IsEmpty());
}

TEST_F(GroupCreate, ManyAndLongMembersAreWrittenInTheirOrder) {
    Texts members;
    std::string lines;
    for (int i = 0; i < 500; ++i) {
        members.push_back("member" + std::to_string(i) + std::string(static_cast<size_t>(i), 'x'));
        lines.append("memberUid: ").append(members.back()).append("\n");
    }
    EXPECT_EQ(Create({.members = members}), 0);
    EXPECT_THAT(LastChange(), testing::HasSubstr("gidNumber: 2001\n" + lines + "objectClass: "));
}

TEST_F(GroupCreate, RunsTheseToolsInThisOrder) {
    host_.nSchema = kEverything;
    Prepare(kSteps);
    EXPECT_EQ(Create(Staff()), 0);
    EXPECT_THAT(Commands(),
                ElementsAre(kNameSearch, kNumberSearch,
                            SearchCommand(kDomainDN, "objectClass=sambaDomain sambaSID"),
                            SearchCommand(kDomainDN, "sambaSID"),
                            SearchCommand(kDomainDN, "sambaNextUserRid"), ModifyCommand(),
                            ModifyCommand()));
}

TEST_F(GroupCreate, SidIsOnlyTakenWhereTheSchemaHasSamba) {
    host_.nSchema = kEverything & ~kSamba;
    EXPECT_EQ(Create(Staff()), 0);
    EXPECT_THAT(Commands(), ElementsAre(kNameSearch, kNumberSearch, ModifyCommand()));
}

TEST_F(GroupCreate, NameThatIsTakenStopsBeforeAnythingElse) {
    Prepare({{"ldapsearch", "dn: cn=staff,ou=elsewhere\n\n"}});
    EXPECT_EQ(Create(Staff()), -1);
    ExpectSlots(-65539, kStalePlatformCode);
    EXPECT_THAT(Commands(), ElementsAre(kNameSearch));
    EXPECT_THAT(log_.Messages(), IsEmpty()) << "said while debugging only";
}

TEST_F(GroupCreate, NumberThatIsTakenStopsBeforeAnythingIsMade) {
    host_.nSchema = kEverything;
    Prepare({{"ldapsearch"}, {"ldapsearch", "dn: cn=others\n\n"}});
    EXPECT_EQ(Create(Staff()), -1);
    ExpectSlots(-65541, kStalePlatformCode);
    EXPECT_THAT(Commands(), ElementsAre(kNameSearch, kNumberSearch));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(GroupCreate, DNThatIsTooLongChangesNothing) {
    host_.nSchema = kEverything;
    const size_t rest = std::string("cn=,cn=groups,dc=example,dc=com").size();
    EXPECT_EQ(Create({.name = std::string(1023 - rest, 'n')}), 0);
    tools_.Reset();
    EXPECT_EQ(Create({.name = std::string(1024 - rest, 'n')}), -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_EQ(tools_.Calls().size(), 2u) << "only the two questions";
}

TEST_F(GroupCreate, EveryFailingToolHasThisOutcome) {
    host_.nSchema = kEverything;
    ExpectOutcomes(kSteps,
                   {
                       {-1, -65539, 1, {"ZAFOLDAPSearchGetNext get next failed, $KEY ($CODE)"}},
                       {-1, -65541, 2, {"ZAFOLDAPSearchGetNext get next failed"}},
                       {0, {}, 4, {"get sambaSID failed."}},
                       {0, {}, 5, {"get sambaSID [8] failed.", "get domain SID failed."}, 32},
                       {0,
                        {},
                        6,
                        {"get [sambaNextUserRid] failed.",
                         "get sambaNextUserRid from " + kDomainDN + " failed."}},
                       {0, {}, 9, {}},  // a lost swap is retried
                       {-1, {}, 7, {"ZAFOLDAPModify failed [staff] [0x1234]"}},
                   },
                   [this] { return Create(Staff()); });
}

TEST_F(GroupCreate, SidThatCannotBeMadeIsWrittenEmpty) {
    host_.nSchema = kSamba;
    Prepare({{"ldapsearch"}, {"ldapsearch"}, {"ldapsearch"}, {"ldapmodify"}}, 2, 50);
    EXPECT_EQ(Create(Staff()), 0);
    EXPECT_THAT(LastChange(), testing::HasSubstr("\nsambaSID: \n"));
}

TEST_F(GroupCreate, RecordThatTheDiskCutsShortIsNotSent) {
    ExpectNothingSentFromAFullDisk([this] { return Create({.members = Texts{"a", kHugeText}}); });
    EXPECT_EQ(tools_.Calls().size(), 2u);
}

TEST_F(GroupCreate, TextsThatBreakALineAreRefusedBeforeAnythingRuns) {
    for (const char *breaks : {"\n", "\r", "a\ngidNumber: 0", "a\r", "\na", "a\r\nb"}) {
        SCOPED_TRACE(testing::PrintToString(breaks));
        EXPECT_EQ(Create({.name = breaks}), -1);
        EXPECT_EQ(Create({.description = breaks}), -1);
        EXPECT_EQ(Create({.members = Texts{"alice", breaks}}), -1);
        EXPECT_EQ(Create({}, nullptr, breaks), -1);
        for (const List &extra : {List{breaks, "v"}, List{"a", "v", "b", breaks}})
            EXPECT_EQ(Create({}, &extra), -1);
        host_.szBaseDN = breaks;
        EXPECT_EQ(Create({}), -1);
        host_.szBaseDN = kBase.c_str();
        EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

}  // namespace
}  // namespace zafo::accounts_test::group_create
