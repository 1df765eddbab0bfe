// SPDX-License-Identifier: Apache-2.0
#include "tests/rig/slapd.h"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "tests/rig/ldif_reader.h"

extern char **environ;

namespace zafo::rig {

namespace {

constexpr const char *kScripts = "/mnt/root/directory/";

// A file in memory as a child's standard stream: unlike a pipe, it never fills up.
class StreamFile {
  public:
    explicit StreamFile(std::string_view content = "") : fd_(memfd_create("stream", MFD_CLOEXEC)) {
        if (fd_ < 0) throw std::runtime_error("memfd_create failed");
        while (!content.empty()) {
            const ssize_t n = write(fd_, content.data(), content.size());
            if (n <= 0) throw std::runtime_error("write to memory failed");
            content.remove_prefix(static_cast<size_t>(n));
        }
        lseek(fd_, 0, SEEK_SET);
    }
    ~StreamFile() { close(fd_); }
    StreamFile(const StreamFile &) = delete;
    StreamFile &operator=(const StreamFile &) = delete;

    int Fd() const { return fd_; }

    std::string Content() const {
        std::string content;
        char buffer[1 << 16];
        for (off_t at = 0;;) {
            const ssize_t n = pread(fd_, buffer, sizeof buffer, at);
            if (n <= 0) return content;
            content.append(buffer, static_cast<size_t>(n));
            at += n;
        }
    }

  private:
    int fd_;
};

pid_t Spawn(const std::vector<std::string> &argv, const StreamFile &in, const StreamFile &out,
            const StreamFile &err) {
    std::vector<char *> pointers;
    for (const std::string &argument : argv)
        pointers.push_back(const_cast<char *>(argument.c_str()));
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.Fd(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out.Fd(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.Fd(), STDERR_FILENO);
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::runtime_error(argv[0] + ": " + std::strerror(error));
    return pid;
}

ProgramRun Checked(ProgramRun run, const std::string &what) {
    if (run.exit_code == 0) return run;
    throw std::runtime_error(what + " ended with " + std::to_string(run.exit_code) + ": " +
                             run.err + run.out);
}

std::string FileContent(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

ProgramRun RunProgram(const std::vector<std::string> &argv, std::string_view input) {
    const StreamFile in(input);
    const StreamFile out;
    const StreamFile err;
    const pid_t pid = Spawn(argv, in, out, err);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return {code, out.Content(), err.Content()};
}

ExampleDirectory &ExampleDirectory::Get() {
    static ExampleDirectory directory("/var/lib/example-directory", 389, {});
    return directory;
}

ExampleDirectory::ExampleDirectory(std::string work, unsigned port,
                                   const std::vector<std::string> &options)
    : work_(std::move(work)), port_(port), options_(options) {
    Start();
}

ExampleDirectory::~ExampleDirectory() {
    try {
        if (running_) Stop();
    } catch (const std::runtime_error &) {
        // The private root ends soon after, with every process in it.
    }
}

// Every start reloads the entries.
void ExampleDirectory::Start() {
    std::filesystem::remove_all(work_);
    std::vector<std::string> argv = {std::string(kScripts) + "start",
                                     "--quiet",
                                     "--work",
                                     work_,
                                     "--port",
                                     std::to_string(port_)};
    argv.insert(argv.end(), options_.begin(), options_.end());
    Checked(RunProgram(argv), "start");
    password_ = FileContent(work_ + "/password");
    running_ = true;
}

void ExampleDirectory::Stop() {
    Checked(RunProgram({std::string(kScripts) + "stop", "--work", work_}), "stop");
    running_ = false;
}

ProgramRun ExampleDirectory::Client(const std::string &tool,
                                    const std::vector<std::string> &arguments,
                                    std::string_view input) const {
    std::vector<std::string> argv = {
        "/usr/bin/" + tool, "-x", "-H", "ldap://" + Uri(), "-D", BindDN(), "-y",
        work_ + "/password"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return RunProgram(argv, input);
}

std::vector<LdifEntry> ExampleDirectory::Read(
    const std::string &base, const std::string &scope,
    const std::vector<std::string> &filter_and_attributes) const {
    std::vector<std::string> arguments = {"-LLL", "-o", "ldif-wrap=no", "-b", base, "-s", scope};
    arguments.insert(arguments.end(), filter_and_attributes.begin(), filter_and_attributes.end());
    return ParseLdif(Checked(Client("ldapsearch", arguments), "ldapsearch").out);
}

void ExampleDirectory::Change(std::string_view ldif) const {
    Checked(Client("ldapmodify", {}, ldif), "ldapmodify");
}

void ExampleDirectory::Add(const LdifEntry &entry) const {
    Checked(Client("ldapadd", {}, LdifRecord(entry)), "ldapadd");
}

std::string ExampleDirectory::Uri() const {
    return "127.0.0.1:" + std::to_string(port_);
}

bool ExampleDirectory::Binds(const std::string &dn, const std::string &password) const {
    constexpr int kInvalidCredentials = 49;
    const ProgramRun run = RunProgram(
        {"/usr/bin/ldapwhoami", "-x", "-H", "ldap://" + Uri(), "-D", dn, "-y", "/dev/stdin"},
        password);
    if (run.exit_code == kInvalidCredentials) return false;
    Checked(run, "ldapwhoami");
    return true;
}

ExampleDirectory &VariantDirectory(std::string_view name) {
    static std::map<std::string, ExampleDirectory, std::less<>> directories;
    const auto running = directories.find(name);
    if (running != directories.end()) return running->second;
    const auto variant = std::find_if(std::begin(kVariants), std::end(kVariants),
                                      [=](const Variant &v) { return v.name == name; });
    if (variant == std::end(kVariants)) throw std::runtime_error("no such variant");
    const std::string work = std::string("/var/lib/variant-") + variant->name;
    const std::vector<std::string> options = {"--no-tls", "--variant", variant->name};
    return directories.try_emplace(variant->name, work, variant->port, options).first->second;
}

std::ostream &operator<<(std::ostream &out, const Variant &variant) {
    return out << variant.name;
}

}  // namespace zafo::rig
