// SPDX-License-Identifier: Apache-2.0
//
// Controls the fake tool that replaces the tools in a private appliance root, and reports how it
// was called:
//
//   FakeTools tools;
//   tools.On("ldapsearch").Output("dn: o=x\n\n").Exit(32);
//   …run what is under test…
//   EXPECT_EQ(tools.Calls().at(0).argv.back(), "(uid=ann)");
//
// Each On() queues one more script for that tool; each call plays the next one, and the last is
// repeated. A tool without a script prints nothing and exits with 0.
//
// A test fails if a tool of "/usr/zafo/bin" was started with a secret among its arguments.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zafo::rig {

// One call, recorded before the tool did anything.
struct FakeCall {
    struct File {
        mode_t mode = 0;
        std::string content;
    };

    std::string tool;  // base name of argv[0]
    // As the platform was given it: where the platform moved a secret to a file in memory, this has
    // the original option and secret.
    std::vector<std::string> argv;
    // As anyone on the machine could read it.
    std::vector<std::string> executed;
    std::vector<std::string> environment;
    std::map<int, std::string> descriptors;  // number to target, as in /proc/PID/fd
    std::string folder;
    mode_t umask = 0;
    uid_t uid = 0;
    gid_t gid = 0;
    std::vector<gid_t> groups;
    pid_t pid = 0;
    pid_t parent = 0;
    unsigned long long ignored_signals = 0;  // bit N-1 is signal N
    unsigned long long blocked_signals = 0;
    unsigned long long core_limit = 0;
    std::optional<std::string> input;   // standard input, if it is a regular file
    std::map<std::string, File> files;  // regular files named after "-f", "-l", "-y", "-T" and "-t"

    // The secrets that the platform moved out of the vector, by descriptor; these are in
    // `descriptors`, not in `files`.
    std::map<int, File> secrets;

    bool InputIsNull() const;
};

// The steps of one call, in order. A script takes effect as it is written: do not add to it while
// its tool runs.
class FakeScript {
  public:
    FakeScript &Output(std::string_view bytes);
    FakeScript &Error(std::string_view bytes);
    // Writes the bytes repeatedly until no one reads them any more.
    FakeScript &Flood(std::string_view bytes);
    FakeScript &Sleep(std::chrono::milliseconds duration);
    FakeScript &Hang();
    FakeScript &WaitForFile(const std::string &path);
    FakeScript &CloseOutput();
    // Ignores SIGPIPE, SIGTERM, SIGHUP and SIGINT from here on.
    FakeScript &IgnoreSignals();
    // Renames a file to PATH.away: a tool that is missing when the next one is started.
    FakeScript &MoveAway(const std::string &path);
    FakeScript &Exit(int code);
    FakeScript &Die(int signal);

  private:
    friend class FakeTools;
    explicit FakeScript(std::string name) : name_(std::move(name)) {}
    FakeScript &Add(char step, std::string_view bytes);

    std::string name_;
};

class FakeTools {
  public:
    FakeTools() { Clear(); }
    ~FakeTools();
    FakeTools(const FakeTools &) = delete;
    FakeTools &operator=(const FakeTools &) = delete;

    FakeScript On(const std::string &tool);

    // All calls since the last Reset, in the order in which they started.
    std::vector<FakeCall> Calls() const;

    // Waits until that many calls have started; false on timeout.
    bool WaitForCalls(size_t count,
                      std::chrono::milliseconds limit = std::chrono::seconds(10)) const;

    // Forgets scripts and calls.
    void Reset();

  private:
    void Clear();
    void ExpectNoSecretWasShown() const;

    std::map<std::string, int> scripts_;
};

}  // namespace zafo::rig
