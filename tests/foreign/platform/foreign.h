// SPDX-License-Identifier: Apache-2.0
//
// A foreign platform under the library, and the fixture of the tests that use it. The program that
// links this defines every function of platform/ itself, so that no other platform is called. No
// process is ever started; everything is recorded, and every answer can be scripted.
//
//     class UserGet : public ForeignTest {};
//     ZAFO_FOREIGN_SUITE(UserGet);
//
//     TEST_P(UserGet, GivesNothingWhenTheSearchFails) {
//         platform().On("ldapsearch").Prints(Entry("uid=ann,dc=x", {{"uid", "ann"}})).Exits(32);
//         Host host;
//         Stale();
//         EXPECT_EQ(ZAFOLDAPBrowserUserGet(host, "uid=ann,dc=x", &user, &entry), -1);
//         EXPECT_EQ(LibraryError(), 32);
//         EXPECT_EQ(platform().RunsOf("ldapsearch")[0].argv, (Strings{"-LLL", "-x", …}));
//     }
//
// Any misuse of the platform by the library (an undocumented NULL, a record that was freed before,
// a log line of another form or priority) is a fault: it is recorded, the call fails, and so does
// the test at its end.
#pragma once

#include <sys/types.h>

#include <deque>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/crypt.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/fs.h"
#include "platform/group.h"
#include "platform/ldap.h"
#include "platform/process.h"
#include "platform/schedule.h"
#include "platform/service.h"
#include "platform/share.h"
#include "platform/szhash.h"
#include "platform/szlist.h"
#include "platform/unicode.h"
#include "platform/user.h"
#include "zafoldap.h"

namespace zafo::foreign {

using Strings = std::vector<std::string>;
using Pairs = std::map<std::string, std::string>;

// What ZAFOEncodingBase64Decode does with the length whose address it receives.
enum class DecodedLength {
    kTold,            // set to the number of bytes
    kUntouched,       // left unchanged
    kReadAsCapacity,  // read as the buffer's size, which a text may exceed (failure); then set
    kBeyondBuffer     // set to a number far beyond the buffer
};

// The platform's behaviour where its contract leaves a choice.
struct Temperament {
    const char *name;
    // The successful result of functions for which only failure is specified (negative): 0 or more.
    // Those are: all of lists and maps (but ListSub, which is not 0), AddSection, SetSection,
    // GetPair, both ciphers, SSLToString, LoginSuffixGet, SecretGet, DNFirstDomainComponent,
    // RDNExtract, RDNPairExtract, ConfSet, ConfSetOne, GenTmpConf, ServiceStart, ServiceStop,
    // UserAlloc, GroupAlloc, SmbNtEncrypt, ScheduleSet, ScheduleRemove, MkdirP, Base64Decode (which
    // is not 0), UserEnum and GroupEnum (else their number). Exec, Execl, Execv, DNDomainName,
    // SharePathGet, the Get functions of accounts, UserSetOne, GroupSet, DescGet, SmbPasswdGet and
    // ImportPasswd always return 0.
    int success;
    bool frees_first;  // lists free the old item, and the moving block, before copying the new one
    int info_found;    // InfoGetFromConf on success (always 1 for nslcd.conf)
    bool absent_removal_fails;  // removing a missing key from a map fails
    bool normalises;            // RDN and DN helpers drop blanks around "=" and ","
    DecodedLength decoded_length;
    bool decoder_fills;   // Base64Decode writes 1,024 bytes to the buffer, whatever the text
    bool awkward_chunks;  // tools' output arrives in pieces of one to seven bytes
};
void PrintTo(const Temperament &temperament, std::ostream *out);

inline constexpr Temperament kTemperaments[] = {
    {"Plain", 0, false, 1, false, false, DecodedLength::kTold, false, false},
    {"Positive", 1, true, 0, true, true, DecodedLength::kUntouched, true, true},
    {"Eager", 0, true, 1, true, false, DecodedLength::kReadAsCapacity, true, false},
    {"Boastful", 7, false, 0, false, true, DecodedLength::kBeyondBuffer, false, true},
    {"FreesFirst", 0, true, 1, false, false, DecodedLength::kTold, false, false},
    {"Removal", 0, false, 0, true, false, DecodedLength::kUntouched, false, false},
};

// One call of a platform function. The arguments in order: text verbatim, numbers and sizes in
// decimal, flags, option bits and modes in hexadecimal ("0x1ed"), NULL as "(null)". Lists, maps,
// streams and output buffers are omitted (but not their sizes). Each field of a record (ZAFOUSER,
// ZAFOGROUP, ZAFOSCHEDULE) is one argument, in declaration order without the type; a group's
// members are joined with ",". Error codes are written as "0x0D00".
struct Call {
    std::string function;
    Strings arguments;
    Pairs map;  // the content of the map passed to AddSection, SetSection or ConfSet
};

// One run of a tool, or a failed attempt to start it.
struct Run {
    std::string tool;    // the last component of its path
    std::string path;    // the path of the program
    Strings argv;        // the arguments without argv[0], which must be the path where it is given
    std::string how;     // "QLIBCPopen r", "QLIBCPopenv r", "QLIBCExec", "QLIBCExecl", "QLIBCExecv"
    int bits = 0;        // for Execl and Execv
    std::string change;  // the text of the file after "-f" or "-l" while the tool ran
    mode_t change_mode = 0;    // the file's permission bits, 0 if there was none
    Strings environment;       // "NAME=value", sorted
    bool read_to_end = false;  // a stream's output was read to the end
    bool closed = false;       // … and closed by QLIBCPclose
};

// What a tool does when it is run. By default it prints nothing and exits with 0.
class Tool {
  public:
    Tool &Prints(std::string text);  // appended to its output
    Tool &Exits(int code);           // wait status code << 8; for Exec and Execv the code itself
    Tool &Dies(int signal);          // wait status is the signal; for Exec and Execv 128 + signal
    Tool &Status(int raw);           // the raw result of Pclose, Exec, Execl or Execv
    Tool &CannotStart(
        int slot = 0x0900);            // NULL or -1, with that platform error (0: slot unchanged)
    Tool &ReadFails();                 // a read error (EIO) follows the text instead of the end
    Tool &Interrupted(int times = 1);  // that many reads fail with EINTR before the text
    Tool &Does(std::function<void(const Run &)> action);  // runs before its output is read
    Tool &Always();  // answers every further matching run, not just one
    Tool &Then();    // the answer to the next run (same tool, same condition)

    // For the platform functions.
    int WaitStatus() const;
    int ExitResult() const;
    const std::string &output() const { return output_; }
    bool starts() const { return starts_; }
    int start_error() const { return start_error_; }
    bool read_fails() const { return read_fails_; }
    int interrupted() const { return interrupted_; }
    void Act(const Run &run) const {
        if (action_) action_(run);
    }

  private:
    friend class Platform;
    class Platform *owner_ = nullptr;
    std::string tool_;
    std::function<bool(const Strings &)> fits_;
    std::string output_;
    int status_ = 0;
    bool exits_ = true;
    bool raw_ = false;
    bool starts_ = true;
    int start_error_ = 0;
    bool read_fails_ = false;
    int interrupted_ = 0;
    bool always_ = false;
    bool used_ = false;
    std::function<void(const Run &)> action_;
};

struct LocalUser {
    std::string name;
    std::optional<std::string> password;
    uint32_t uid = 2000;
    uint32_t gid = 100;
    std::optional<std::string> full_name;
    std::optional<std::string> folder;
    std::optional<std::string> shell;
    long expire = 0;
    int may_not_change = 0;
    std::optional<std::string> mail;
    std::string lm_hash = "LLLLLLLLLLLLLLLLLLLLLLLLLLLLLLLL";
    std::string nt_hash = "NNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNN";
};

struct LocalGroup {
    std::string name;
    uint32_t gid = 2000;
    std::optional<Strings> members = Strings{};
    std::string description;
};

struct LogLine {
    int priority;
    std::string text;  // as rendered, without the leading source file name and line
};

class Platform {
  public:
    explicit Platform(const Temperament &temperament);
    ~Platform();
    Platform(const Platform &) = delete;
    Platform &operator=(const Platform &) = delete;
    // The running test's platform; there is always one during a test.
    static Platform &Get();

    // The answer to the next unanswered run of a tool ("ldapsearch"); with an argument, of a run in
    // which some argument contains that text; with a condition, of a run whose arguments meet it.
    // The first matching answer is used. Unused answers are a fault, except Always ones.
    Tool &On(const std::string &tool);
    Tool &On(const std::string &tool, const std::string &in_an_argument);
    Tool &On(const std::string &tool, const char *in_an_argument);
    Tool &On(const std::string &tool, std::function<bool(const Strings &)> fits);

    const std::vector<Call> &Calls() const;
    std::vector<Call> CallsOf(const std::string &function) const;
    // The names of the calls of these functions, in order.
    Strings Order(const std::set<std::string> &functions) const;
    const std::vector<Run> &Runs() const;
    std::vector<Run> RunsOf(const std::string &tool) const;
    // Clears calls, runs and log.
    void Forget();

    // The nth call from now on (0: every call) does nothing and returns `result` (NULL for a
    // pointer), with `slot` in the platform's error slot unless that is 0. For example
    // Fail("QLIBCSzListPush", 2), Fail("ZAFOLDAPSecretGet", 1, -1, 0x0900),
    // Fail("QLIBCSzListAlloc").
    void Fail(const std::string &function, int nth = 1, int result = -1, int slot = 0);
    // The nth call from now on does its work, but returns `result`.
    void Returns(const std::string &function, int result, int nth = 1);
    // The nth call from now on fills its output buffer to the last byte with `byte`, without a
    // terminator, and succeeds.
    void Fills(const std::string &function, int nth = 1, char byte = 'x');
    // Runs at the start of every call of that function.
    void Watch(const std::string &function, std::function<void(const Call &)> action);

    // State that tests set and inspect.
    int slot = 0;                                                  // the platform's error slot
    std::map<std::string, std::map<std::string, Pairs>> sections;  // file, section, pairs
    std::map<std::string, Pairs> pairs;  // file, pairs; a missing one cannot be opened
    std::map<std::string, Pairs> confs;  // file, directives; a missing one cannot be opened
    std::optional<std::string> secret;   // SecretGet; none: -1 with 0x0900
    std::optional<std::string> login_suffix = "x.example";  // none: -1 with 0x0900
    int ssl_type = 0;                                       // SSLTypeGetFromNslcd
    int bound = 0;                                          // IsBinded
    std::vector<LocalUser> users;
    std::vector<LocalGroup> groups;
    int users_left = 100;                       // QLIBUserNumRemained; UserSetOne decrements it
    std::map<std::string, std::string> shares;  // name, path; a missing one: -1 with 0x2200
    std::vector<ZAFOSCHEDULE> schedules;
    std::map<std::string, bool> enabled_services;  // a missing one is not enabled
    std::set<std::string> running_services;
    // Starting "ldap-server" writes this number to its pid file (0: none), and stopping it removes
    // the file (unless stop_leaves_pid_file).
    pid_t service_pid = 4242;
    bool stop_leaves_pid_file = false;
    std::set<pid_t> alive;                   // QLIBCProcAlive
    std::map<std::string, pid_t> pid_files;  // QLIBCReadPidFile; a missing one: 0
    bool makes_folders = true;               // MkdirP creates the folder in the private root
    bool makes_temporary_conf = true;        // GenTmpConf creates the (empty) file

    // The stored form of a password: Decipher(Encipher(x)) is x; a text that Encipher did not
    // produce cannot be deciphered (-1 with 0x0F00).
    static std::string Encipher(const std::string &clear);
    // QLIBSmbNtEncrypt's result: 32 hexadecimal digits, deliberately not Samba's hash.
    static std::string NtHash(const std::string &clear);
    // The words for transport security used by SSLToString and SSLToType, unlike those of any other
    // platform.
    static const char *SslText(int type);

    // Lists, maps, records and streams that were allocated and not freed (except a test's own
    // List).
    Strings Outstanding() const;
    // What the library did wrong so far; TakeFaults clears it (for a test that expects a fault).
    const Strings &Faults() const;
    Strings TakeFaults();

    // For the platform functions.
    struct State;
    State &state() { return *state_; }
    const Temperament &temperament() const { return temperament_; }

    // The answer to a run; the number of unused answers.
    Tool AnswerTo(const Run &run);
    int AnswersLeft() const;

  private:
    Temperament temperament_;
    std::unique_ptr<State> state_;
};

// A connection record over its own strings, without a list; converts to the functions' parameters.
// Assign nullopt before the first use to make a field NULL.
struct Host {
    std::optional<std::string> uri = "ldap.x.example";
    std::optional<std::string> base = "dc=x,dc=example";
    std::optional<std::string> bind_dn = "cn=admin,dc=x,dc=example";
    std::optional<std::string> password = "secret";
    std::optional<std::string> login_suffix = "x.example";
    int server_type = 0;
    unsigned schema = 0;
    int ssl = 0;
    operator ZAFOLDAP_HOST *();
    ZAFOLDAP_HOST *operator->();

  private:
    ZAFOLDAP_HOST record_{};
    bool filled_ = false;
};

// A list owned by the test, and freed at its end.
class List {
  public:
    List(std::initializer_list<const char *> items = {});
    ~List();
    List(const List &) = delete;
    List &operator=(const List &) = delete;
    QLIBSZLIST **operator&() { return &list_; }
    operator QLIBSZLIST *() const { return list_; }
    Strings Items() const;

  private:
    QLIBSZLIST *list_;
};
Strings Items(const QLIBSZLIST *list);

// An entry as ldapsearch -LLL prints it, including the blank line at its end; values that LDIF
// cannot hold as text are written in base64.
std::string Entry(const std::string &dn,
                  const std::vector<std::pair<std::string, std::string>> &attributes);
std::string Base64(const std::string &bytes);
// A file's content; nullopt when it cannot be read.
std::optional<std::string> FileText(const std::string &path);
void WriteFile(const std::string &path, const std::string &text, mode_t mode = 0600);

// The result of `body` in another process (0 to 255), -1 when a signal ends it.
int InAnotherProcess(const std::function<int()> &body);

constexpr int kStalePlatformError = 0x7777;
constexpr int kStaleLibraryError = 4711;

class ForeignTest : public testing::TestWithParam<Temperament> {
  protected:
    using Run = foreign::Run;  // not GoogleTest's own Run
    ForeignTest();             // creates a new platform before any member of the fixture
    void SetUp() override;     // stale slots, empty log
    void TearDown() override;  // nothing outstanding, no fault, no unused answer

    Platform &platform() { return Platform::Get(); }
    const Temperament &temper() const { return GetParam(); }
    // Gives both slots stale values again.
    void Stale();
    // Expects these values.
    void ExpectSlotsUntouched();
    int PlatformError() { return platform().slot; }
    int LibraryError() { return ZAFOLDAPErrGet(); }

    // The log since the beginning of the test or the last TakeLog, rendered without the leading
    // "FILE:LINE ". A line of another form, or of a priority other than 3, is a fault.
    Strings Log();
    Strings TakeLog();

    // Expects the call to fail at the argument check with that text: it returns -1 (NULL, or
    // `expected`), logs exactly one line, sets 0x0D00, leaves the library's error alone, and runs
    // no tool.
    //     ExpectArgumentFailure("((void *)0) != pHost",
    //                           [&] { return ZAFOLDAPModify(nullptr, &ldif, 0); });
    template <class Function>
    void ExpectArgumentFailure(const std::string &condition, Function call) {
        BeforeArgumentFailure();
        const auto result = call();
        if constexpr (std::is_pointer_v<std::remove_const_t<decltype(result)>>)
            EXPECT_EQ(result, nullptr) << condition;
        else
            EXPECT_EQ(result, -1) << condition;
        AfterArgumentFailure(condition);
    }
    template <class Function>
    void ExpectArgumentFailure(const std::string &condition, Function call, int expected) {
        BeforeArgumentFailure();
        EXPECT_EQ(call(), expected) << condition;
        AfterArgumentFailure(condition);
    }

    // The tools run so far, in order.
    Strings Tools();
    // The input of ldapmodify, one text per run.
    Strings Changes();

    // Makes the lists fail to return one item after another during the call: the only change that
    // the call sends must be the usual one, or none is sent and the call fails.
    void ExpectWholeChangeOrNone(const std::function<int()> &call);

  private:
    void BeforeArgumentFailure();
    void AfterArgumentFailure(const std::string &condition);
    size_t runs_before_ = 0;
};

std::string TemperamentName(const testing::TestParamInfo<Temperament> &info);

// Runs a suite with every temperament.
#define ZAFO_FOREIGN_SUITE(suite)                                                             \
    INSTANTIATE_TEST_SUITE_P(Foreign, suite, testing::ValuesIn(zafo::foreign::kTemperaments), \
                             zafo::foreign::TemperamentName)

}  // namespace zafo::foreign
