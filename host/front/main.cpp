// SPDX-License-Identifier: Apache-2.0
//
// The tool front: installed under the names of the directory tools, makes a call safe and passes it
// to the real tool.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "base/appliance_paths.h"
#include "host/front/account.h"
#include "host/front/failure.h"
#include "host/front/offline.h"
#include "host/front/question.h"
#include "host/front/tool.h"
#include "host/front/vector.h"
#include "host/front/watch.h"

namespace zafo::front {

namespace {

constexpr const char *kFolders[] = {"/usr/zafo/libexec/", "/usr/bin/", "/usr/sbin/"};

// The tools take servers, trust and credentials from variables and from files named by variables;
// they get only these.
char g_path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
char g_no_configuration[] = "LDAPNOINIT=1";
char g_locale[] = "LC_ALL=C";
// A simple bind needs none of Cyrus SASL's plugins; loading them and their libraries takes half of
// a tool's start-up time.
char g_no_plugins[] = "SASL_PATH=/usr/zafo/lib/sasl2";
char *g_environment[] = {g_path, g_no_configuration, g_locale, g_no_plugins, nullptr};

// A memory file under the number of a missing standard stream would be read or
// written as that stream.
void OpenStandardStreams() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) {
        if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDONLY) != fd) {
            Fail(kRefused, "cannot open /dev/null", errno);
        }
    }
}

void ResetProcess() {
    signal(SIGPIPE, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const rlimit no_core{0, 0};
    if (setrlimit(RLIMIT_CORE, &no_core) != 0) Fail(kRefused, "cannot forbid core files", errno);
}

const char *FindProgram(const Tool &tool) {
    for (const char *folder : kFolders) {
        const char *path = Join(folder, tool.name);
        if (access(path, F_OK) == 0) return path;
    }
    Fail(kNoTool, "the tool is not installed");
}

void PrepareOffline(const Tool &tool, Vector &vector) {
    vector.Add("-f");
    vector.Add(kSlapdConf);
    if (tool.name == "slapcat") {
        vector.Add("-o");
        vector.Add("ldif-wrap=no");
    }
    umask(077);
    PrepareDatabaseFolder();
    BecomeServerUser();
}

// Asks whether an entry exists, not for an export.
bool IsProbe(const Vector &arguments) {
    return arguments.Size() == 2 && std::strcmp(arguments.Data()[0], "-a") == 0;
}

[[noreturn]] void RunOffline(const Tool &tool, const Command &command, const Vector &arguments) {
    if (tool.name == "slapadd") RunLoader(command);
    if (tool.name == "slapcat" && IsProbe(arguments)) RunProbe(command);
    if (tool.name == "slapcat") RunReader(command);
    execve(command.path, command.argv, command.environment);
    Fail(kRefused, command.path, errno);
}

[[noreturn]] void Run(const Tool &tool, int argc, char **argv) {
    OpenStandardStreams();
    const Question question(tool, argc, argv);
    const auto count = static_cast<size_t>(argc);
    // A client gets twelve more options; an argument becomes at most four.
    Vector arguments(count * 4);
    if (tool.family == Family::kRandom) {
        RewriteRandom(argc, argv, arguments);
    } else {
        Rewrite(tool, argc, argv, arguments);
    }
    ResetProcess();

    Vector vector(count * 4 + 16);
    vector.Add(FindProgram(tool));
    const bool shows_certificate =
        tool.family == Family::kRandom && argc > 1 && std::strcmp(argv[1], "s_client") == 0;
    const bool talks = tool.family == Family::kClient || shows_certificate;
    const Limits limits = talks ? ReadLimits() : Limits{};
    if (tool.family == Family::kClient) AddClientOptions(tool, limits, vector);
    if (tool.family == Family::kOffline) PrepareOffline(tool, vector);
    vector.Add(arguments);

    if (chdir("/") != 0) Fail(kRefused, "cannot enter /", errno);
    const Command command{vector.Data()[0], vector.Data(), g_environment};
    if (talks) {
        RunWatched(tool, command,
                   {limits.answer + limits.network, limits.whole_answer, limits.size}, question);
    }
    if (tool.family == Family::kOffline) RunOffline(tool, command, arguments);
    execve(command.path, command.argv, command.environment);
    Fail(kRefused, command.path, errno);
}

}  // namespace

}  // namespace zafo::front

int main(int argc, char **argv) {
    using namespace zafo::front;
    if (argc == 0) Fail(kNoTool, "called without a name");
    const char *slash = std::strrchr(argv[0], '/');
    const std::string_view name = slash == nullptr ? argv[0] : slash + 1;
    const Tool *tool = FindTool(name);
    if (tool == nullptr) Fail(kNoTool, "must be run under the name of a directory tool");
    SpeakAs(name);
    Run(*tool, argc, argv);
}
