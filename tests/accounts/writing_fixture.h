// SPDX-License-Identifier: Apache-2.0
//
// Shared by the tests that create, change and delete accounts.
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

// slappasswd's output for a password, and the domain that a SID is taken from.
inline const std::string kHash = "{CRYPT}$1$ab$QeGkqTfzeU2WgcUYWdDEH.";
inline const std::string kDomain =
    "dn: sambaDomainName=example,dc=example,dc=com\n"
    "sambaSID: S-1-5-21-1-2-3\n"
    "sambaNextUserRid: 1000\n\n";

// A user as plain values; nullopt becomes NULL.
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

// With every field filled.
Person Anna();

// Without any changes, for an edit.
Person Nobody();

// The platform's record of a person, valid as long as its texts.
class UserRecord : public ZAFOUSER {
  public:
    explicit UserRecord(Person person);
    UserRecord(const UserRecord &) = delete;
    UserRecord &operator=(const UserRecord &) = delete;

  private:
    Person texts_;
};

// The same for a group; an empty member list is an empty array, or NULL.
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

// Human-readable expected records: a file of "# TITLE" lines, each followed by its text up to the
// empty line before the next title. "TODAY" and "NOW" stand for the day and second.
class Golden {
  public:
    explicit Golden(const std::string &file);

    // The text under a title; a title can be taken only once.
    std::string Take(const std::string &title);

    // Titles that were never taken.
    Texts Left() const;

  private:
    std::map<std::string, std::string> sections_;
};

// A change file's text with the current day and second replaced by TODAY and NOW if they are
// plausible: not before `start`.
std::string Frozen(const std::string &ldif, time_t start);

// Replaces all occurrences.
std::string Replaced(std::string text, const std::string &what, const std::string &with);

// The platform's NT hash of "secret"; empty in a build without NT hashes.
std::string NtHashOfSecret();

// Too large for a full disk.
inline const std::string kHugeText(200'000, 'x');

// One tool run of an operation, and its answer on success.
struct Step {
    const char *tool;
    std::string output = {};
};

// The result of an operation when one of its tools fails. In log lines "$KEY" and "$CODE" stand for
// the library error, "$ERR" for the tool's result.
struct Outcome {
    int result;
    std::optional<int> ldap;  // library error; nullopt: the tool's exit code
    size_t tools;             // number of tools run in total
    Texts logged;
    int except = -1;  // an exit code with a different outcome
};

class WritingTest : public CoreTest {
  protected:
    WritingTest();

    // The next answer of ldapsearch.
    void Answer(const std::string &ldif);

    // Scripts all runs of an operation; one may fail: with an exit code or, for 0, by SIGKILL.
    void Prepare(const std::vector<Step> &steps, size_t failing = SIZE_MAX, int code = 0);

    // Runs the operation once for each step and each way to fail.
    void ExpectOutcomes(const std::vector<Step> &steps, const std::vector<Outcome> &outcomes,
                        const std::function<int()> &operation);

    // Runs an operation whose change file of 200 kB exceeds the limit of 64 KiB: none of it may be
    // sent.
    void ExpectNothingSentFromAFullDisk(const std::function<int()> &operation);

    // The command lines so far, words separated by blanks, change files shown as "FILE".
    Texts Commands() const;

    // The contents of the change files so far.
    Texts Changes() const;
    std::string LastChange() const;

    static void ExpectSlots(int ldap_code, int platform_code);
    static void ExpectSlotsUntouched() { ExpectSlots(kStaleLdapCode, kStalePlatformCode); }
};

// The command lines of ldapsearch, ldapmodify and the password tools, in the form of Commands().
std::string SearchCommand(const std::string &base, const std::string &rest);
std::string ModifyCommand();
std::string PasswdCommand(const std::string &password, const std::string &dn);
std::string HashCommand(const std::string &password);

}  // namespace zafo::accounts_test
