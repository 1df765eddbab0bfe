// SPDX-License-Identifier: Apache-2.0
//
// Someone with write access to the directory prepares names, groups and values for root to act on.
#include <filesystem>

#include "tests/tools/account_fixture.h"

namespace zafo::rig {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char *kOperators = "cn=Directory Operators,cn=groups,dc=example,dc=com";
constexpr const char *kFiles[] = {"/etc/passwd", "/etc/shadow", "/etc/group", "/etc/gshadow"};

class HostileAccounts : public AccountCommand {
  protected:
    HostileAccounts() {
        for (const char *file : kFiles)
            before_.push_back(ReadFile(file));
        Append("/etc/group", "crew:x:2000:");
    }
    ~HostileAccounts() override {
        for (size_t i = 0; i < before_.size(); ++i)
            WriteFile(kFiles[i], before_[i], i == 0 || i == 2 ? 0644 : 0600);
        for (const char *file : {"account.conf", "private/smbpasswd"})
            std::filesystem::remove(std::string("/usr/zafo/etc/") + file);
    }

    static void Append(const std::string &file, const std::string &line) {
        WriteFile(file, ReadFile(file) + line + "\n", 0644);
    }
    void AddGroup(const std::string &name, unsigned gid, const std::string &more = "") const {
        directory_.Change("dn: " + GroupDN(name) +
                          "\nchangetype: add\nobjectClass: posixGroup\nobjectClass: "
                          "extensibleObject\ncn: " +
                          name + "\ngidNumber: " + std::to_string(gid) + "\n" + more);
    }
    void AddUser(const std::string &name, unsigned uid, const std::string &more = "",
                 unsigned gid = 2000) const {
        std::string entry =
            "dn: " + UserDN(name) +
            "\nchangetype: add\nobjectClass: account\nobjectClass: posixAccount\nuid: " + name +
            "\ncn: " + name + "\nuidNumber: " + std::to_string(uid) +
            "\ngidNumber: " + std::to_string(gid) + "\n";
        if (more.find("homeDirectory") == std::string::npos) entry += "homeDirectory: /home/x\n";
        directory_.Change(entry + "userPassword: {crypt}!\n" + more);
    }
    static size_t LinesIn(const std::string &file) {
        const std::string text = ReadFile(file);
        return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    }
    static std::string LineOf(const std::string &file, const std::string &name) {
        const std::string text = "\n" + ReadFile(file);
        const size_t at = text.find("\n" + name + ":");
        return at == std::string::npos ? "" : text.substr(at + 1, text.find('\n', at + 1) - at - 1);
    }
    static std::vector<std::string> Results(const Json &document) {
        std::vector<std::string> rows;
        for (const Json &row : document["data"]["accounts"])
            rows.push_back(row["name"].get<std::string>() + " " + row["result"].get<std::string>());
        return rows;
    }

  private:
    std::vector<std::string> before_;
};

// --- memberships left for a future user ------------------------------------------------------

TEST_F(HostileAccounts, ANewUserDoesNotInheritAMembership) {
    for (const std::string &listed :
         {std::string("memberUid: anna\n"), "member: " + UserDN("anna") + "\n",
          "uniqueMember: " + UserDN("anna") + "\n",
          std::string("memberUid: anna\nmember: uid=Anna,ou=elsewhere,dc=example,dc=com\n")}) {
        SCOPED_TRACE(listed);
        AddGroup("Directory Operators", 1500009, listed);
        for (const char *dry : {"", " -n"}) {
            const ProgramRun run = Line(std::string("user add anna --password-stdin --json") + dry);
            EXPECT_EQ(run.exit_code, 5) << run.err;
            EXPECT_EQ(ErrorOf(run)["key"], "zafoldap.memberships_left");
            EXPECT_THAT(ErrorOf(run)["hint"].get<std::string>(),
                        HasSubstr("zafoldap member remove 'Directory Operators' anna;"));
        }
        EXPECT_THAT(Entry(UserDN("anna")).dn, UserDN("anna"));
        EXPECT_EQ(Value(UserDN("anna"), "uid"), "");
        // The command from the hint; no such user exists.
        EXPECT_EQ(Line("member remove 'Directory Operators' anna").exit_code, 0);
        EXPECT_EQ(Line("user add anna --password-stdin").exit_code, 0);
        for (const char *attribute : {"memberUid", "member", "uniqueMember"})
            EXPECT_THAT(Values(kOperators, attribute), IsEmpty()) << attribute;
        directory_.Change(std::string("dn: ") + kOperators + "\nchangetype: delete\n\ndn: " +
                          UserDN("anna") + "\nchangetype: delete\n");
    }
}

TEST_F(HostileAccounts, MembershipsThatAreMeantAreKept) {
    AddGroup("Directory Operators", 1500009, "memberUid: anna\n");
    EXPECT_EQ(Line("user add anna --password-stdin --groups 'Directory Operators'").exit_code, 0);
    AddGroup("staff", 1500008, "memberUid: bea\n");
    const ProgramRun run = Line("user add bea --password-stdin --keep-memberships");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("in staff"));
}

TEST_F(HostileAccounts, ARenamedUserDoesNotInheritAMembership) {
    ASSERT_EQ(Line("user add anna --password-stdin").exit_code, 0);
    AddGroup("Directory Operators", 1500009, "member: " + UserDN("bea") + "\n");
    const ProgramRun run = Line("user rename anna bea --json");
    EXPECT_EQ(run.exit_code, 5) << run.err;
    EXPECT_EQ(ErrorOf(run)["key"], "zafoldap.memberships_left");
    EXPECT_EQ(Value(UserDN("anna"), "uid"), "anna");
    EXPECT_EQ(Line("member remove 'Directory Operators' bea").exit_code, 0);
    EXPECT_EQ(Line("user rename anna bea").exit_code, 0);
}

TEST_F(HostileAccounts, AMigratedUserDoesNotInheritAMembership) {
    AddGroup("Directory Operators", 1500009, "memberUid: anna\n");
    AddGroup("crew", 2000, "memberUid: bea\n");
    WriteFile("/etc/group", ReadFile("/etc/group") + "helpers:x:2001:\n", 0644);
    Append("/etc/passwd", "anna:x:2001:2000::/home/anna:/bin/sh");
    Append("/etc/passwd", "bea:x:2002:2000::/home/bea:/bin/sh");
    WriteFile("/etc/group",
              std::string(ReadFile("/etc/group"))
                  .replace(ReadFile("/etc/group").find("crew:x:2000:"), 12, "crew:x:2000:bea"),
              0644);
    EXPECT_THAT(Results(LineJson("migrate users --to directory --yes", 7)),
                ElementsAre("bea added", "anna skipped"));
    EXPECT_EQ(Value(UserDN("anna"), "uid"), "");
}

TEST_F(HostileAccounts, IdCheckNamesMembersThatDoNotExist) {
    AddGroup("staff", 1500008, "memberUid: carl\n");
    AddGroup("Directory Operators", 1500009, "member: " + UserDN("dora") + "\n");
    const Json check = LineJson("id check", 1);
    std::vector<std::string> found;
    for (const Json &step : check["data"]) {
        if (step["step"] == "memberships")
            found.push_back(step["result"].get<std::string>() + ": " +
                            step["detail"].get<std::string>());
    }
    EXPECT_THAT(
        found,
        ElementsAre(
            "failed: no user has these names: Directory Operators lists dora; staff lists carl"));
}

// --- system accounts --------------------------------------------------------------

TEST_F(HostileAccounts, NoGroupOfTheSystemIsMadeHere) {
    const std::string group = ReadFile("/etc/group");
    for (const char *name : {"wheel", "docker", "lxd", "libvirt"})
        AddGroup(name, 5000 + static_cast<unsigned>(std::string(name).size() * 7),
                 "memberUid: evil\n");
    AddGroup("evil", 27, "memberUid: evil\n");
    AddGroup("evil2", 999, "memberUid: evil\n");
    AddGroup("good", 5999, "memberUid: evil\n");
    const Json done = LineJson("migrate groups --to local --yes", 7);
    EXPECT_THAT(Results(done), Contains("good added"));
    for (const char *name : {"wheel", "docker", "lxd", "libvirt", "evil", "evil2"}) {
        EXPECT_THAT(Results(done), Contains(std::string(name) + " refused"));
        EXPECT_EQ(LineOf("/etc/group", name), "");
    }
    EXPECT_EQ(ReadFile("/etc/group"), group + LineOf("/etc/group", "good") + "\n");
    LineJson("migrate groups --to local --yes --allow docker", 7);
    EXPECT_EQ(LineOf("/etc/group", "docker"), "docker:x:5042:evil");
    EXPECT_EQ(LineOf("/etc/group", "wheel"), "");
    EXPECT_EQ(Line("migrate groups --to local --yes --allow nosuch").exit_code, 3);
}

TEST_F(HostileAccounts, NoAccountOfTheSystemIsPublished) {
    Append("/etc/passwd", "svc:x:998:998::/var/lib/svc:/bin/sh");
    Append("/etc/passwd", "anna:x:2001:2000::/home/anna:/bin/sh");
    EXPECT_THAT(Results(LineJson("migrate users --to directory --yes")), ElementsAre("anna added"));
    EXPECT_EQ(Value(UserDN("svc"), "uid"), "");
    EXPECT_EQ(Value(UserDN("root"), "uid"), "");
}

TEST_F(HostileAccounts, IdCheckNamesAccountsOfSystems) {
    AddUser("root", 5000);
    AddUser("low", 33);
    AddGroup("docker", 5001);
    AddGroup("low", 42);
    std::map<std::string, std::string> details;
    const Json check = LineJson("id check", 1);
    for (const Json &step : check["data"])
        details[step["step"]] =
            step["result"].get<std::string>() + ": " + step["detail"].get<std::string>();
    EXPECT_EQ(details["uid system"], "failed: reserved for system accounts: 33 of low");
    EXPECT_THAT(details["uid names"], HasSubstr("failed: reserved for system accounts: root ("));
    EXPECT_EQ(details["gid system"], "warning: reserved for system accounts: 42 of low");
    EXPECT_THAT(details["gid names"], HasSubstr("warning: reserved for system accounts: docker ("));
}

// --- values for this system's files ---------------------------------------------------

TEST_F(HostileAccounts, NoValueMakesALineOrAFieldOfTheAccountFiles) {
    // "x\nevil::0:0::/:/bin/sh" and the like, in base64.
    AddUser("u1", 3001, "gecos:: eApldmlsOjowOjA6Oi86L2Jpbi9zaA==\n");
    AddUser("u2", 3002, "gecos: x:0:0:evil:/root:/bin/sh\n");
    AddUser("u3", 3003, "gecos:: YcKbMko6OuKArmVsdg==\n");
    AddUser("u4", 3004, "homeDirectory:: L2hvbWUvYQpldmlsOjowOjA6Oi86L2Jpbi9zaA==\n");
    AddUser("u5", 3005, "homeDirectory: /home/a:/bin/sh\n");
    AddUser("u6", 3006, "homeDirectory: home/a\n");
    AddUser("u7", 3007, "loginShell:: L2Jpbi9zaApldmlsOjowOjA6Oi86L2Jpbi9zaA==\n");
    AddUser("u8", 3008, "loginShell: /bin/sh:x\n");
    AddUser("u9", 3009, "gecos: " + std::string(4000, 'g') + "\n");
    AddUser("u10", 3010, "loginShell: /tmp/sh\n");
    AddUser("u11", 3011, "homeDirectory: /root\n");
    AddUser("u12", 3012, "", 27);
    const size_t lines = LinesIn("/etc/passwd"), hashes = LinesIn("/etc/shadow");
    LineJson("migrate users --to local --yes --allow u4,u5,u6,u7,u8,u9", 7);
    EXPECT_EQ(LinesIn("/etc/passwd"), lines + 3);
    EXPECT_EQ(LinesIn("/etc/shadow"), hashes + 3);
    EXPECT_EQ(LineOf("/etc/passwd", "evil"), "");
    EXPECT_EQ(LineOf("/etc/passwd", "u1"), "u1:x:3001:2000:x evil  0 0  / /bin/sh:/home/x:/bin/sh");
    EXPECT_EQ(LineOf("/etc/passwd", "u2"),
              "u2:x:3002:2000:x 0 0 evil /root /bin/sh:/home/x:/bin/sh");
    EXPECT_EQ(LineOf("/etc/passwd", "u3"), "u3:x:3003:2000:a 2J   elv:/home/x:/bin/sh");
    for (int i = 4; i <= 12; ++i)
        EXPECT_EQ(LineOf("/etc/passwd", "u" + std::to_string(i)), "");
    EXPECT_THAT(ReadFile("/usr/zafo/etc/account.conf"), Not(HasSubstr("\nevil")));
}

TEST_F(HostileAccounts, APasswordThatCannotBeKeptBecomesNoPassword) {
    AddUser("anna", 3001);
    directory_.Change("dn: " + UserDN("anna") +
                      "\nchangetype: modify\nreplace: userPassword\nuserPassword: "
                      "{SSHA}1w9dBSTZ6RrVZ/9JXaqe1mMPJFSSAdHw\n");
    const ProgramRun run = Line("migrate users --to local --yes");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err,
                HasSubstr("1 user without a password on this system, because the directory's is "
                          "not a {crypt} hash: anna. passwd NAME sets one"));
    EXPECT_THAT(LineOf("/etc/shadow", "anna"), testing::StartsWith("anna:!:"));
}

// --- mounts ------------------------------------------------------------------------

TEST_F(HostileAccounts, AUserIsAddedWithoutMountingADiskImage) {
    directory_.Change(
        "dn: automountMapName=auto_home,dc=example,dc=com\nchangetype: add\nobjectClass: "
        "automountMap\nautomountMapName: auto_home\n\n"
        "dn: automountKey=*,automountMapName=auto_home,dc=example,dc=com\nchangetype: add\n"
        "objectClass: automount\nautomountKey: *\nautomountInformation: -fstype=nfs "
        "/home/op/evil.img&\n");
    const ProgramRun run = Line("user add anna --password-stdin");
    const ProgramRun home = Line("user home create anna --json");
    directory_.Change(
        "dn: automountKey=*,automountMapName=auto_home,dc=example,dc=com\nchangetype: delete\n\n"
        "dn: automountMapName=auto_home,dc=example,dc=com\nchangetype: delete\n");
    EXPECT_EQ(run.exit_code, 7);
    EXPECT_THAT(run.err, AllOf(HasSubstr("/home/op/evil.img"), HasSubstr("it is not HOST:/PATH")));
    EXPECT_EQ(ErrorOf(home)["key"], "zafoldap.homes_refused");
    EXPECT_FALSE(std::filesystem::exists("/var/log/mounts"));
}

}  // namespace
}  // namespace zafo::rig
