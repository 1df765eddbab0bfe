// SPDX-License-Identifier: Apache-2.0
#include "tests/integration/killing_tools.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>

#include "tests/integration/integration.h"

namespace zafo::test {

namespace {

namespace fs = std::filesystem;

const fs::path kState = "/tmp/killing-tools";
const fs::path kTools = "/usr/zafo/bin";

constexpr const char *kNames[] = {"ldapsearch", "ldapmodify", "ldappasswd", "slappasswd",
                                  "slapadd",    "slapcat",    "slapindex",  "openssl"};
constexpr const char *kStartProgram = "/usr/zafo/libexec/ldap-server-start";

// Calls made by the tools themselves do not count: only those by root and directly from the victim
// do, whereas the marker's program runs as the server's user or below a tool. The server's start
// program is the child of its keeper.
constexpr const char *kScript = R"script(#!/bin/bash
state=/tmp/killing-tools
name=${0##*/}
if [ "$name" = ldap-server-start ]; then real=$state/$name; else real=/usr/zafo/bin/zafo-tool-front; fi
run() { exec -a "$name" "$real" "$@"; }
read -r at moment victim <"$state/plan"
names=$(<"$state/names")
[[ $EUID = 0 && ($PPID = "$victim" || $name = ldap-server-start) ]] || run "$@"
[[ -z $names || " $names " = *" $name "* ]] || run "$@"
read -r calls <"$state/calls"
echo $((++calls)) >"$state/calls"
[ "$calls" = "$at" ] || run "$@"
if [ "$moment" = during ]; then
    set -m
    run "$@" &
    sleep "0.0$((RANDOM % 4))$((RANDOM % 10))"
    kill -KILL -- -$! 2>/dev/null
fi
kill -KILL "$victim" $$
)script";

void PutScript(const fs::path &path) {
    fs::remove(path);
    WriteFile(path, kScript);
    fs::permissions(path, fs::perms(0755));
}

}  // namespace

KillingTools::KillingTools() {
    fs::create_directory(kState);
    Count("");
    WriteFile(kState / "plan", "0 before 0\n");
    fs::copy_file(kStartProgram, kState / "ldap-server-start",
                  fs::copy_options::overwrite_existing);
    PutScript(kStartProgram);
    for (const char *name : kNames)
        PutScript(kTools / name);
}

KillingTools::~KillingTools() {
    for (const char *name : kNames) {
        fs::remove(kTools / name);
        fs::create_symlink("zafo-tool-front", kTools / name);
    }
    fs::copy_file(kState / "ldap-server-start", kStartProgram,
                  fs::copy_options::overwrite_existing);
    fs::remove_all(kState);
}

void KillingTools::Count(const std::string &names) {
    WriteFile(kState / "names", names);
}

bool KillingTools::Kills(const std::function<void()> &work, int call, Moment moment) const {
    WriteFile(kState / "calls", "0\n");
    const pid_t victim = fork();
    if (victim < 0) throw std::runtime_error("fork failed");
    if (victim == 0) {
        WriteFile(kState / "plan", std::to_string(call) +
                                       (moment == Moment::kDuring ? " during " : " before ") +
                                       std::to_string(getpid()) + "\n");
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(victim, &status, 0);
    WriteFile(kState / "plan", "0 before 0\n");
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

}  // namespace zafo::test
