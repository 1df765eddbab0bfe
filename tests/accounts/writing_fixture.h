// SPDX-License-Identifier: Apache-2.0
//
// What the tests of created, changed and deleted accounts share.
#pragma once

#include <ctime>
#include <functional>
#include <optional>

#include "platform/error.h"
#include "platform/group.h"
#include "platform/user.h"
#include "tests/core/core_fixture.h"

namespace zafo::accounts_test {

using core_test::CoreTest;
using core_test::kStaleLdapCode;
using core_test::kStalePlatformCode;
using core_test::List;
using core_test::SetStaleCodes;
using core_test::Texts;
using testing::ElementsAre;
using testing::IsEmpty;
using Text = std::optional<std::string>;

inline const std::string kBase = "dc=example,dc=com";
inline const std::string kPersonDN = "uid=anna.smith,cn=users,dc=example,dc=com";
inline const std::string kStaffDN = "cn=staff,cn=groups,dc=example,dc=com";

// What slappasswd makes of a password, and the domain that a SID is taken from.
inline const std::string kHash = "{CRYPT}$1$ab$QeGkqTfzeU2WgcUYWdDEH.";
inline const std::string kDomain =
    "dn: sambaDomainName=example,dc=example,dc=com\n"
    "sambaSID: S-1-5-21-1-2-3\n"
    "sambaNextUserRid: 1000\n\n";

// A user as plain values; nullopt is NULL.
struct Person {
    Text name = "anna.smith";
    Text password = {};
    uint32_t uid = 1027;
    uint32_t gid = 100;
    Text full_name = {};
    Text home = {};
    Text shell = {};
    long expire = 0;
    int disallow = 0;
    Text mail = {};
};

// Every field filled.
Person Anna();

// No change at all, for an edit.
Person Nobody();

// The platform's record of a person; it lives as long as its texts.
class UserRecord : public ZAFOUSER {
  public:
    explicit UserRecord(Person person);
    UserRecord(const UserRecord &) = delete;
    UserRecord &operator=(const UserRecord &) = delete;

  private:
    Person texts_;
};

// The same of a group; no members are an array without any, or NULL.
class GroupRecord : public ZAFOGROUP {
  public:
    explicit GroupRecord(const Text &name, uint32_t gid, const std::optional<Texts> &members = {});
    GroupRecord(const GroupRecord &) = delete;
    GroupRecord &operator=(const GroupRecord &) = delete;

  private:
    Text name_;
    Texts members_;
    std::vector<char *> pointers_;
};

// Records that a reader can check by eye: a file of "# TITLE" lines, each with the text below it
// up to an empty line before the next. "TODAY" and "NOW" stand for the day and second.
class Golden {
  public:
    explicit Golden(const std::string &file);

    // The text of a title, once.
    std::string Take(const std::string &title);

    // Titles that nobody took.
    Texts Left() const;

  private:
    std::map<std::string, std::string> sections_;
};

// A change file's text with the numbers of this moment replaced by TODAY and NOW, where
// they are right: not before `start`.
std::string Frozen(const std::string &ldif, time_t start);

// The text with another text everywhere in the place of one.
std::string Replaced(std::string text, const std::string &what, const std::string &with);

// The platform's NT hash of "secret"; empty in a build that has none.
std::string NtHashOfSecret();

// A text for which a full disk has no room.
inline const std::string kHugeText(200'000, 'x');

// One run of a tool in an operation, what it answers when all goes well.
struct Step {
    const char *tool;
    std::string output = {};
};

// What comes of an operation when one of its tools fails. In log lines "$KEY" and "$CODE" are the
// library error's, "$ERR" the tool's result.
struct Outcome {
    int result;
    std::optional<int> ldap;  // library error; none: the tool's exit code
    size_t tools;             // how many ran in all
    Texts logged;
    int except = -1;  // an exit code with an outcome of its own
};

class WritingTest : public CoreTest {
  protected:
    WritingTest();

    // The next answer of ldapsearch.
    void Answer(const std::string &ldif);

    // Prepares all runs of an operation; one of them may fail: with an exit code or, for 0, by SIGKILL.
    void Prepare(const std::vector<Step> &steps, size_t failing = SIZE_MAX, int code = 0);

    // Runs the operation for every step with every kind of failure.
    void ExpectOutcomes(const std::vector<Step> &steps, const std::vector<Outcome> &outcomes,
                        const std::function<int()> &operation);

    // Runs an operation that would write a change file of 200 kB, and finds room for 64: nothing
    // of it is sent.
    void ExpectNothingSentFromAFullDisk(const std::function<int()> &operation);

    // The command lines so far, words separated by blanks, change files named "FILE".
    Texts Commands() const;

    // The texts of the change files so far.
    Texts Changes() const;
    std::string LastChange() const;

    static void ExpectSlots(int ldap_code, int platform_code);
    static void ExpectSlotsUntouched() { ExpectSlots(kStaleLdapCode, kStalePlatformCode); }
};

// What ldapsearch, ldapmodify and the password tools are called with, as Commands() shows it.
std::string SearchCommand(const std::string &base, const std::string &rest);
std::string ModifyCommand();
std::string PasswdCommand(const std::string &password, const std::string &dn);
std::string HashCommand(const std::string &password);

}  // namespace zafo::accounts_test
