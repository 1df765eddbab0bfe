// SPDX-License-Identifier: Apache-2.0
//
// Users, groups and members through the program, on real servers of several kinds.
#include <algorithm>
#include <map>
#include <thread>

#include "tests/rig/system_log.h"
#include "tests/tools/account_fixture.h"
#include "tests/tools/on_terminal.h"

namespace {

using namespace zafo::rig;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

class OnAppliance : public AccountCommand {};

class OnForeignServer : public AccountCommand {
  protected:
    OnForeignServer() : AccountCommand("posix") {}
};

TEST_F(OnAppliance, UserAddStoresEverythingAsGiven) {
    ASSERT_EQ(Line("group add staff").exit_code, 0);
    const Json added = LineJson(
        "user add anna --password-stdin --full-name 'Anna Smith' --mail anna@example.com --shell "
        "/bin/zsh --home /h/anna --expires 2027-12-31 --no-password-change --groups staff --set "
        "'title=100% %% <done>' --set 'description= : lead' --set 'description=:colon'");
    const std::string dn = UserDN("anna");
    EXPECT_EQ(Value(dn, "uidNumber"), added["data"]["uid"].dump());
    const std::pair<const char *, const char *> kWanted[] = {
        {"gecos", "Anna Smith"},      {"mail", "anna@example.com"}, {"loginShell", "/bin/zsh"},
        {"homeDirectory", "/h/anna"}, {"shadowExpire", "21183"},    {"shadowMin", "100000"},
        {"gidNumber", "1500000"},     {"title", "100% %% <done>"}};
    for (const auto &[attribute, value] : kWanted)
        EXPECT_EQ(Value(dn, attribute), value) << attribute;
    EXPECT_THAT(Values(dn, "description"), UnorderedElementsAre(" : lead", ":colon"));
    EXPECT_THAT(Values(GroupDN("staff"), "memberUid"), ElementsAre("anna"));
    EXPECT_THAT(Values(GroupDN("staff"), "member"), ElementsAre(dn));
    EXPECT_TRUE(directory_.Binds(dn, kPassword));
    EXPECT_EQ(LineJson("user show anna")["data"]["expires"], "2027-12-31");
}

// Compares what --dry-run announces with what is in the directory afterwards.
class PlannedChanges : public AccountCommand {
  protected:
    void ExpectWritten(const Json &plan) {
        for (const Json &change : plan) {
            if (change["changetype"] == "modrdn") renamed_[change["dn"]] = NewDn(change);
        }
        for (const Json &change : plan)
            ExpectWrittenEntry(change);
    }

  private:
    static std::string NewDn(const Json &change) {
        const std::string dn = change["dn"];
        return change["lines"][0]["value"].get<std::string>() + dn.substr(dn.find(','));
    }

    void ExpectWrittenEntry(const Json &change) {
        const std::string planned = change["dn"], type = change["changetype"];
        const auto found = renamed_.find(planned);
        const std::string dn = found == renamed_.end() ? planned : found->second;
        EXPECT_EQ(Values(dn, "objectClass").empty(), type == "delete") << dn;
        if (type == "add" || type == "modify") ExpectLines(dn, type, change["lines"]);
    }

    // A change of one attribute is "HOW: ATTRIBUTE", its values and "-"; throughout a new entry HOW
    // is "add".
    void ExpectLines(const std::string &dn, const std::string &type, const Json &lines) {
        std::string how = type == "add" ? "add" : "";
        for (const Json &line : lines) {
            if (line.contains("remark")) continue;
            const std::string name = line["name"], value = line["value"];
            const bool begins = name == "add" || name == "delete" || name == "replace";
            ++lines_;
            if (begins) how = name;
            if (name == "-" || (begins && how != "delete")) continue;
            const std::vector<std::string> stored = Values(dn, begins ? value : name);
            const bool there = std::ranges::count(stored, value) > 0;
            if (begins && Deletes(lines, value)) {
                EXPECT_THAT(stored, IsEmpty()) << dn << " " << value;
            } else if (!begins) {
                EXPECT_EQ(there, how != "delete") << dn << " " << name << ": " << value;
            }
        }
    }

    // Whether the whole attribute is deleted: none of its values is named.
    static bool Deletes(const Json &lines, const std::string &attribute) {
        return std::ranges::none_of(
            lines, [&](const Json &line) { return line.value("name", "") == attribute; });
    }

    std::map<std::string, std::string> renamed_;

  protected:
    int lines_ = 0;  // checked so far
};

TEST_F(PlannedChanges, AreWhatIsWritten) {
    for (const char *line :
         {"group add staff --gid 1500001 --description 'All of them'",
          "user add anna --uid 1500007 --gid staff --full-name 'Anna Smith' --mail a@b --shell "
          "/bin/zsh --home /h/anna --expires 2027-12-31 --no-password-change --groups staff --set "
          "'title= x' --set description=lead --password-stdin",
          "user add bob --password-stdin",
          "user edit anna --uid 1500008 --gid users --full-name '' --mail a@c --shell '' --home /h "
          "--expires never --password-change --set title=boss --set description=",
          "group edit staff --gid 1500009 --description ''", "user rename anna bea",
          "member add staff bob", "member remove staff bob", "user delete bea -y",
          "group delete staff -y"}) {
        SCOPED_TRACE(line);
        const Json plan = LineJson(std::string(line) + " --dry-run")["data"]["changes"];
        ASSERT_EQ(Line(line).exit_code, 0);
        ExpectWritten(plan);
    }
    EXPECT_GT(lines_, 40);
}

TEST_F(OnAppliance, UserAddWithoutOptionsTakesTheDefaults) {
    ASSERT_EQ(Line("user add anna --password-stdin").exit_code, 0);
    const Json user = LineJson("user show anna")["data"];
    EXPECT_EQ(user["home"], "/home/anna");
    EXPECT_EQ(user["shell"], "/bin/sh");
    EXPECT_EQ(user["expires"], nullptr);
    EXPECT_EQ(Value(UserDN("anna"), "shadowExpire"), "-1");
    EXPECT_EQ(user["primary_group"], "users");
    EXPECT_EQ(user["groups"], Json::array());
    EXPECT_EQ(user["password_change"], true);
    EXPECT_EQ(user["mail"], Json::array());
    EXPECT_THAT(user["sid"], testing::StartsWith("S-1-5-21-"));
}

TEST_F(OnAppliance, RandomPasswordIsPrintedOnceAndWorks) {
    const ProgramRun run = Line("user add anna --random-password");
    ASSERT_EQ(run.exit_code, 0) << run.err;
    ASSERT_EQ(run.out.size(), 21U) << run.out;
    EXPECT_TRUE(directory_.Binds(UserDN("anna"), run.out.substr(0, 20)));
    EXPECT_THAT(run.err, Not(HasSubstr(run.out.substr(0, 20))));
    const Json again = LineJson("user passwd anna --random-password");
    EXPECT_TRUE(directory_.Binds(UserDN("anna"), again["data"]["password"]));
}

TEST_F(OnAppliance, PasswdSetsUnixAndSambaTogether) {
    ASSERT_EQ(Line("user add anna --password-stdin").exit_code, 0);
    const std::string before = Value(UserDN("anna"), "sambaNTPassword");
    const Json set = LineJson("user passwd anna --password-stdin", 0, "another-Word-2");
    EXPECT_EQ(set["data"]["samba"], true);
    EXPECT_TRUE(directory_.Binds(UserDN("anna"), "another-Word-2"));
    EXPECT_FALSE(directory_.Binds(UserDN("anna"), kPassword));
    EXPECT_NE(Value(UserDN("anna"), "sambaNTPassword"), before);
    EXPECT_EQ(Value(UserDN("anna"), "sambaNTPassword").size(), 32U);
}

TEST_F(OnAppliance, EditChangesWhatIsNamedAndRemovesWhatIsEmpty) {
    ASSERT_EQ(Line("user add anna --password-stdin --mail a@b --full-name Anna").exit_code, 0);
    ASSERT_EQ(Line("group add staff --gid 1500001").exit_code, 0);
    ASSERT_EQ(Line("user edit anna --uid 1500007 --gid staff --mail '' --shell '' --home /h "
                   "--expires never --no-password-change --set 'title= boss'")
                  .exit_code,
              0);
    const std::string dn = UserDN("anna");
    EXPECT_EQ(Value(dn, "uidNumber"), "1500007");
    EXPECT_EQ(Value(dn, "gidNumber"), "1500001");
    EXPECT_THAT(Values(dn, "mail"), IsEmpty());
    EXPECT_THAT(Values(dn, "loginShell"), IsEmpty());
    EXPECT_EQ(Value(dn, "homeDirectory"), "/h");
    EXPECT_EQ(Value(dn, "gecos"), "Anna");
    EXPECT_EQ(Value(dn, "shadowMin"), "100000");
    EXPECT_EQ(Value(dn, "title"), " boss");
    EXPECT_EQ(Line("user edit anna --set title= --password-change").exit_code, 0);
    EXPECT_THAT(Values(dn, "title"), IsEmpty());
    EXPECT_EQ(Value(dn, "shadowMin"), "0");
}

TEST_F(OnAppliance, RenameCarriesMembershipsAndTouchesNoOtherUser) {
    ASSERT_EQ(Line("group add staff").exit_code, 0);
    ASSERT_EQ(Line("user add anna --password-stdin --groups staff").exit_code, 0);
    ASSERT_EQ(Line("user add ann --password-stdin --groups staff").exit_code, 0);
    // The old name in different case finds the user; groups only know the name as it is stored.
    ASSERT_EQ(Line("user rename ANNA bea").exit_code, 0);
    EXPECT_THAT(Values(GroupDN("staff"), "memberUid"), UnorderedElementsAre("ann", "bea"));
    EXPECT_THAT(Values(GroupDN("staff"), "member"),
                UnorderedElementsAre(UserDN("ann"), UserDN("bea")));
    EXPECT_TRUE(directory_.Binds(UserDN("bea"), kPassword));
    EXPECT_EQ(Line("user show anna").exit_code, 3);
}

TEST_F(OnAppliance, DeleteLeavesNoMembershipsBehind) {
    for (const char *group : {"g1", "g2"})
        ASSERT_EQ(Line(std::string("group add ") + group).exit_code, 0);
    for (const char *user : {"anna", "bob", "cy"})
        ASSERT_EQ(
            Line(std::string("user add ") + user + " --password-stdin --groups g1,g2").exit_code,
            0);
    EXPECT_EQ(LineJson("user delete anna BOB -y")["data"]["deleted"], (Json{"anna", "BOB"}));
    for (const char *group : {"g1", "g2"}) {
        EXPECT_THAT(Values(GroupDN(group), "memberUid"), ElementsAre("cy"));
        EXPECT_THAT(Values(GroupDN(group), "member"), ElementsAre(UserDN("cy")));
    }
    ASSERT_EQ(Line("group delete g1 -y").exit_code, 0);
    EXPECT_THAT(Values(GroupDN("g2"), "memberUid"), ElementsAre("cy"));
    EXPECT_THAT(Line("user list").out, "cy\n");
}

TEST_F(OnAppliance, DeleteSaysWhatItTouchesAndAsks) {
    ASSERT_EQ(Line("group add staff").exit_code, 0);
    ASSERT_EQ(Line("user add anna --password-stdin --groups staff").exit_code, 0);
    const std::string before = Tree();
    const ProgramRun refused = Line("user delete anna");
    EXPECT_EQ(refused.exit_code, 2);
    EXPECT_THAT(refused.err, HasSubstr("is removed from the group staff"));
    OnTerminal no({"user", "delete", "anna"});
    no.Answer("Delete the user anna? [y/N] ", "n\n");
    EXPECT_EQ(no.Finish(), 2);
    EXPECT_EQ(Line("user delete anna nobody-here -y").exit_code, 3);
    EXPECT_EQ(Tree(), before);
    OnTerminal yes({"group", "rm", "users", "staff"});
    yes.Answer("whose primary group it is will keep the number of a deleted group", "");
    yes.Answer("Delete the groups users and staff? [y/N] ", "y\n");
    EXPECT_EQ(yes.Finish(), 0);
    EXPECT_EQ(Line("group list").out, "");
}

TEST_F(OnAppliance, PasswordsAreAskedForTwiceOnATerminal) {
    OnTerminal add({"user", "add", "anna"});
    add.Answer("Password for anna: ", "Sesame-open-1\n");
    add.Answer("Repeat the password: ", "Sesame-open-1\n");
    EXPECT_EQ(add.Finish(), 0);
    EXPECT_THAT(add.Seen(), Not(HasSubstr("Sesame")));
    EXPECT_TRUE(directory_.Binds(UserDN("anna"), kPassword));
}

TEST_F(OnAppliance, MembersAreAddedAndRemovedAllOrNone) {
    ASSERT_EQ(Line("group add staff").exit_code, 0);
    for (const char *user : {"anna", "bob"})
        ASSERT_EQ(Line(std::string("user add ") + user + " --password-stdin").exit_code, 0);
    EXPECT_EQ(Line("member add staff anna nobody-here").exit_code, 3);
    EXPECT_THAT(Values(GroupDN("staff"), "memberUid"), IsEmpty());
    EXPECT_EQ(LineJson("member add staff anna")["data"]["added"], Json{"anna"});
    const Json both = LineJson("member add staff bob anna")["data"];
    EXPECT_EQ(both["added"], Json{"bob"});
    EXPECT_EQ(both["unchanged"], Json{"anna"});
    EXPECT_EQ(Line("member list staff").out, "anna\nbob\n");
    EXPECT_EQ(Line("member list users --primary --format csv").out,
              "name,listed,primary\nanna,no,yes\nbob,no,yes\n");
    // The user no longer exists but is still listed: the name can be removed.
    directory_.Change("dn: " + UserDN("bob") + "\nchangetype: delete\n");
    EXPECT_EQ(Line("member remove staff bob anna").exit_code, 0);
    EXPECT_THAT(Values(GroupDN("staff"), "memberUid"), IsEmpty());
    EXPECT_EQ(Line("member remove staff bob").exit_code, 3);
    EXPECT_THAT(Line("member remove staff anna").err, HasSubstr("is not in the group"));
    EXPECT_EQ(Line("user groups anna --format plain --fields name,primary").out, "users\tyes\n");
}

TEST_F(OnAppliance, GroupEditAndRenameKeepTheMembers) {
    ASSERT_EQ(Line("group add staff --gid 1500001 --description 'All of us'").exit_code, 0);
    ASSERT_EQ(Line("user add anna --password-stdin --gid 1500001 --groups staff").exit_code, 0);
    const ProgramRun edit = Line("group edit staff --gid 1500002 --description ''");
    EXPECT_EQ(edit.exit_code, 0) << edit.err;
    EXPECT_THAT(edit.err, HasSubstr("1 user still has the primary group number 1500001: "));
    ASSERT_EQ(Line("group rename staff everybody").exit_code, 0);
    const Json group = LineJson("group show everybody")["data"];
    EXPECT_EQ(group["gid"], 1500002);
    EXPECT_EQ(group["description"], nullptr);
    EXPECT_EQ(group["members"], Json{"anna"});
}

// Other programs' groups list only names; the library's own form is refused there.
TEST_F(OnForeignServer, GroupsThatListNamesOnlyAreChangedToo) {
    directory_.Change(
        "dn: " + GroupDN("plain") +
        "\nchangetype: add\nobjectClass: posixGroup\ncn: plain\ngidNumber: 1500009\n");
    ASSERT_EQ(Line("group add both").exit_code, 0);
    ASSERT_EQ(Line("user add anna --password-stdin --groups plain,both").exit_code, 0);
    ASSERT_EQ(Line("user add bob --password-stdin").exit_code, 0);
    ASSERT_EQ(Line("user rename anna bea").exit_code, 0);
    ASSERT_EQ(Line("member add plain bob").exit_code, 0);
    EXPECT_THAT(Values(GroupDN("plain"), "memberUid"), UnorderedElementsAre("bea", "bob"));
    EXPECT_THAT(Values(GroupDN("both"), "member"), ElementsAre(UserDN("bea")));
    ASSERT_EQ(Line("member remove plain bob bea").exit_code, 0);
    EXPECT_THAT(Values(GroupDN("plain"), "memberUid"), IsEmpty());
    ASSERT_EQ(Line("member add plain bob bea").exit_code, 0);
    ASSERT_EQ(Line("user delete bea bob -y").exit_code, 0);
    EXPECT_THAT(Values(GroupDN("plain"), "memberUid"), IsEmpty());
    EXPECT_THAT(Values(GroupDN("both"), "memberUid"), IsEmpty());
}

TEST_F(OnForeignServer, OptionsThatTheSchemaLacksAreRefused) {
    ExampleDirectory &minimal = VariantDirectory("minimal");
    ASSERT_EQ(
        Zafoldap({"connection", "add", "minimal", "--uri", minimal.Uri(), "--ssl", "off", "--base",
                  "dc=example,dc=com", "--bind-dn", minimal.BindDN(), "--password-stdin"},
                 minimal.Password())
            .exit_code,
        0);
    for (const char *option : {"--mail a@b", "--expires 2030-01-01", "--no-password-change"}) {
        const ProgramRun run =
            Line("-c minimal user add anna --password-stdin " + std::string(option));
        EXPECT_EQ(run.exit_code, 1) << option;
        EXPECT_THAT(run.err, HasSubstr("needs the object class"));
    }
}

// Several administrators at the same time: every user gets a different number.
class ManyAtOnce : public testing::TestWithParam<const char *> {};
INSTANTIATE_TEST_SUITE_P(Servers, ManyAtOnce, testing::Values("appliance", "posix"),
                         [](const auto &row) { return std::string(row.param); });

TEST_P(ManyAtOnce, NoNumberIsGivenTwice) {
    struct Server : AccountCommand {
        explicit Server(const char *variant) : AccountCommand(variant) {}
        void TestBody() override {}
    } server(GetParam());
    constexpr int kPeople = 5;
    std::vector<std::thread> people;
    std::vector<int> codes(kPeople, -1);
    for (int i = 0; i < kPeople; ++i) {
        people.emplace_back([&codes, i] {
            const std::string at = std::to_string(i);
            codes[static_cast<size_t>(i)] =
                Line("user add user" + at + " --password-stdin").exit_code +
                Line("group add group" + at).exit_code;
        });
    }
    for (std::thread &person : people)
        person.join();
    EXPECT_THAT(codes, testing::Each(0));
    EXPECT_EQ(Line("id check").exit_code, 0) << Line("id check").out;
    EXPECT_EQ(Line("stat users").out, "5\n");
    EXPECT_EQ(Line("stat groups").out, "6\n");
}

TEST_F(OnAppliance, NumbersComeFromThePoolAndTroubleIsFound) {
    const Json first = LineJson("id next uid")["data"], second = LineJson("id next uid")["data"];
    EXPECT_LT(first["number"].get<int>(), second["number"].get<int>());
    EXPECT_EQ(first["reserved"], true);
    const std::string counter = Value("cn=CurID,cn=zafoconf,dc=example,dc=com", "uidNumber");
    EXPECT_EQ(Line("id next uid -n").out, counter + "\n");
    EXPECT_EQ(Value("cn=CurID,cn=zafoconf,dc=example,dc=com", "uidNumber"), counter);
    const Json pool = LineJson("id pool show")["data"];
    EXPECT_EQ(pool[0]["lowest"], 1000000);
    EXPECT_EQ(pool[1]["used"], 1);
    EXPECT_EQ(Line("id check").exit_code, 0);
    const auto user = [&](const char *name, const char *number) {
        directory_.Change("dn: " + UserDN(name) + "\nchangetype: add\nobjectClass: account\n" +
                          "objectClass: posixAccount\nuid: " + name +
                          "\ncn: x\ngidNumber: 1500000\n" +
                          "homeDirectory: /\nuidNumber: " + number + "\n");
    };
    user("one", "2000000");
    user("two", "2000000");
    user("out", "70000");
    user("zero", "0");
    user("games2", "5");
    const Json check = LineJson("id check", 1);
    std::map<std::string, std::string> steps;
    for (const Json &step : check["data"])
        steps[step["step"]] = step["result"].get<std::string>() + " " + step["detail"].dump();
    EXPECT_THAT(steps["uid duplicates"], HasSubstr("2000000 of one and two"));
    EXPECT_THAT(steps["uid reserved"], HasSubstr("failed \"reserved: 0 of zero"));
    EXPECT_THAT(steps["uid local"], HasSubstr("warning \"5 of games2 also belongs to the local"));
    EXPECT_THAT(steps["uid pool"], HasSubstr("3 of 5 numbers are outside the pool"));
    EXPECT_THAT(steps["uid counter"], HasSubstr("lags behind: 2 of"));
    EXPECT_THAT(steps["gid pool"], HasSubstr("ok"));
    EXPECT_THAT(Line("id check").out, HasSubstr("With several writable servers"));
}

TEST_F(OnForeignServer, NumbersFollowTheHighest) {
    EXPECT_EQ(Line("id next uid").out, "1027\n");
    EXPECT_EQ(Line("id next gid").out, "1500001\n");
    EXPECT_EQ(Line("id pool show").exit_code, 3);
    const Json steps = LineJson("connection check")["data"];
    EXPECT_THAT(steps.back()["detail"], HasSubstr("the highest number in use plus one"));
}

TEST_F(OnAppliance, EntryDeleteTakesOneEntryOnly) {
    const std::string dn = "cn=100%n,cn=users,dc=example,dc=com";
    directory_.Change("dn: " + dn +
                      "\nchangetype: add\nobjectClass: organizationalRole\ncn: 100%n\n");
    EXPECT_EQ(Zafoldap({"entry", "delete", dn}).exit_code, 2);
    EXPECT_EQ(Zafoldap({"entry", "delete", dn, "-n"}).exit_code, 0);
    EXPECT_EQ(Zafoldap({"entry", "delete", dn, "-y"}).exit_code, 0);
    EXPECT_EQ(Zafoldap({"entry", "delete", dn, "-y"}).exit_code, 3);
    const ProgramRun parent = Line("entry delete cn=zafoconf,dc=example,dc=com -y");
    EXPECT_EQ(parent.exit_code, 1);
    EXPECT_THAT(parent.err, HasSubstr("has entries below it"));
}

TEST_F(OnAppliance, EveryChangeIsOneLogLineWithoutAnyValue) {
    SystemLog::Get().Clear();
    Line("group add staff");
    Line("user add anna --password-stdin --full-name 'Anna Smith' --groups staff");
    Line("user edit anna --mail anna@example.com");
    Line("user passwd anna --password-stdin", "another-Word-2");
    Line("user rename anna bea");
    Line("member remove staff bea");
    Line("member add staff nobody-here");
    Line("user edit bea --uid 0");
    Line("user delete bea -y");
    std::vector<std::string> changes;
    for (const std::string &line : SystemLog::Get().Messages()) {
        for (const char *secret : {kPassword, "another-Word-2", "Anna Smith", "anna@example.com"})
            EXPECT_THAT(line, Not(HasSubstr(secret)));
        if (line.find(" by=root dn=") != std::string::npos) changes.push_back(line);
    }
    const auto logged = [](const std::string &verb, const std::string &dn,
                           const std::string &attributes) {
        return testing::EndsWith(verb + ": connection=root by=root dn=\"" + dn +
                                 "\" attributes=" + attributes + " result=done");
    };
    EXPECT_THAT(
        changes,
        ElementsAre(
            logged("group add", GroupDN("staff"), "cn,gidNumber"),
            logged("user add", UserDN("anna"),
                   "uid,cn,gidNumber,gecos,homeDirectory,loginShell,shadowExpire,shadowMin,"
                   "memberUid,member,uidNumber,userPassword"),
            logged("user edit", UserDN("anna"), "mail"),
            logged("user passwd", UserDN("anna"),
                   "userPassword,sambaNTPassword,sambaLMPassword,sambaPwdLastSet,shadowLastChange"),
            logged("user rename", UserDN("anna"), "cn,uid,memberUid,member"),
            logged("member remove", GroupDN("staff"), "memberUid,member"),
            logged("user delete", UserDN("bea"), "-")));
}

}  // namespace
