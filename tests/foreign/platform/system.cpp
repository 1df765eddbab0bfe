// SPDX-License-Identifier: Apache-2.0
//
// The error slot, services, schedules, shares, folders, and the system log.
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "tests/foreign/platform/state.h"

namespace zafo::foreign {

namespace {

constexpr char kDirectoryService[] = "ldap-server";
constexpr char kDirectoryPidFile[] = "/var/run/slapd.pid";

std::string ErrorText(int code) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(code));
    return text;
}

Strings Fields(const ZAFOSCHEDULE *schedule, const std::string &flags) {
    Strings fields;
    if (schedule != nullptr) {
        for (const int field : schedule->rgField)
            fields.push_back(Decimal(field));
        fields.emplace_back(schedule->szCommand,
                            strnlen(schedule->szCommand, sizeof schedule->szCommand));
    }
    fields.push_back(flags);
    return fields;
}

bool MakeFolders(const std::string &path, bool own, uid_t uid, gid_t gid, mode_t mode) {
    for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1))
        mkdir(path.substr(0, end).c_str(), 0755);
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) return S_ISDIR(status.st_mode);
    if (mkdir(path.c_str(), mode) != 0 || chmod(path.c_str(), mode) != 0) return false;
    // Tests may run without the right to change owners; the request is in the record.
    if (own && chown(path.c_str(), uid, gid) != 0) return true;
    return true;
}

// The length of the leading "FILE:LINE " of a message, 0 if it is missing.
size_t PlaceLength(const std::string &text) {
    size_t i = 0;
    const auto run = [&](const char *characters) {
        const size_t from = i;
        while (i < text.size() && std::strchr(characters, text[i]) != nullptr)
            ++i;
        return i != from;
    };
    const bool file = run("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-");
    if (!file || text.compare(i, 1, ":") != 0) return 0;
    ++i;
    return run("0123456789") && text.compare(i, 1, " ") == 0 ? i + 1 : 0;
}

void Log(int priority, const char *format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length < 0 ? 0 : static_cast<size_t>(length) + 1, '\0');
    if (length >= 0) std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    if (!text.empty()) text.pop_back();
    Platform::State &state = Platform::Get().state();
    const size_t place = PlaceLength(text);
    if (place == 0)
        state.faults.push_back("syslog: no source file name and line in front: " + text);
    if (priority != LOG_ERR)
        state.faults.push_back("syslog: priority " + Decimal(priority) + ": " + text);
    state.log.push_back({priority, text.substr(place)});
}

}  // namespace

}  // namespace zafo::foreign

using namespace zafo::foreign;

// The C library's functions, under the names called by programs with and without checked formats.
extern "C" {
ZAFO_API void syslog(int priority, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Log(priority, format, arguments);
    va_end(arguments);
}
ZAFO_API void vsyslog(int priority, const char *format, va_list arguments) {
    Log(priority, format, arguments);
}
ZAFO_API void __syslog_chk(int priority, int flag, const char *format, ...);
ZAFO_API void __syslog_chk(int priority, int, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Log(priority, format, arguments);
    va_end(arguments);
}
ZAFO_API void __vsyslog_chk(int priority, int flag, const char *format, va_list arguments);
ZAFO_API void __vsyslog_chk(int priority, int, const char *format, va_list arguments) {
    Log(priority, format, arguments);
}
}

int QLIBCErrSet(int nCode) {
    const Step step("QLIBCErrSet", {ErrorText(nCode)});
    step.platform().slot = nCode;
    return step.Success(nCode);
}

int QLIBCErrGet(void) {
    const Step step("QLIBCErrGet", {});
    return step.Success(step.platform().slot);
}

int QLIBServiceStart(const char *szName, int nFlags) {
    const Step step("QLIBServiceStart", {Text(szName), Hex(static_cast<unsigned>(nFlags))});
    if (step.Fails()) return step.Result();
    if (!step.Given(szName, "name") || nFlags != 0) return step.Fault("arguments");
    step.platform().running_services.insert(szName);
    if (std::string(szName) == kDirectoryService && step.platform().service_pid != 0)
        step.platform().pid_files[kDirectoryPidFile] = step.platform().service_pid;
    return step.Success();
}

int QLIBServiceStop(const char *szName, int nFlags) {
    const Step step("QLIBServiceStop", {Text(szName), Hex(static_cast<unsigned>(nFlags))});
    if (step.Fails()) return step.Result();
    if (!step.Given(szName, "name") || nFlags != 0) return step.Fault("arguments");
    step.platform().running_services.erase(szName);
    if (std::string(szName) == kDirectoryService && !step.platform().stop_leaves_pid_file)
        step.platform().pid_files.erase(kDirectoryPidFile);
    return step.Success();
}

int QLIBServiceIsEnabled(const char *szName) {
    const Step step("QLIBServiceIsEnabled", {Text(szName)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szName, "name")) return 0;
    const int enabled = step.temperament().success == 0 ? 1 : step.temperament().success;
    return step.Success(step.platform().enabled_services[szName] ? enabled : 0);
}

int QLIBServiceEnable(const char *szName) {
    const Step step("QLIBServiceEnable", {Text(szName)});
    if (step.Fails()) return step.Result();
    step.platform().enabled_services[szName] = true;
    return step.Success();
}

int QLIBServiceDisable(const char *szName) {
    const Step step("QLIBServiceDisable", {Text(szName)});
    if (step.Fails()) return step.Result();
    step.platform().enabled_services[szName] = false;
    return step.Success();
}

int ZAFOScheduleSet(const ZAFOSCHEDULE *pSchedule, int nFlags) {
    const Step step("ZAFOScheduleSet", Fields(pSchedule, Hex(static_cast<unsigned>(nFlags))));
    if (step.Fails()) return step.Result();
    if (!step.Given(pSchedule, "schedule")) return -1;
    step.platform().schedules.push_back(*pSchedule);
    return step.Success();
}

int ZAFOScheduleGet(const char *szCommand, ZAFOSCHEDULE *pSchedule) {
    const Step step("ZAFOScheduleGet", {Text(szCommand)});
    if (step.Fails()) return step.Result();
    for (const ZAFOSCHEDULE &schedule : step.platform().schedules) {
        if (std::strcmp(schedule.szCommand, szCommand) != 0) continue;
        *pSchedule = schedule;
        return step.Success();
    }
    return step.Failure(QLIB_ERR_SECTION_NOT_FOUND);
}

int ZAFOScheduleRemove(const char *szCommand) {
    const Step step("ZAFOScheduleRemove", {Text(szCommand)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szCommand, "command")) return -1;
    std::erase_if(step.platform().schedules, [&](const ZAFOSCHEDULE &schedule) {
        return std::strcmp(schedule.szCommand, szCommand) == 0;
    });
    return step.Success();
}

int ZAFOSharePathGet(const char *szShare, char *szPath, size_t cbPath) {
    const Step step("ZAFOSharePathGet", {Text(szShare), Decimal(cbPath)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szShare, "share")) return -1;
    const auto found = step.platform().shares.find(szShare);
    if (found == step.platform().shares.end() && !step.Fills())
        return step.Failure(QLIB_ERR_SECTION_NOT_FOUND);
    if (!step.Put(step.Fills() ? "" : found->second, szPath, cbPath)) return -1;
    return step.Success(0);
}

int ZAFOFSMkdirP(const char *szPath, int nFlags, int blSetOwner, uid_t uid, gid_t gid,
                 mode_t mode) {
    const Step step("ZAFOFSMkdirP", {Text(szPath), Hex(static_cast<unsigned>(nFlags)),
                                     Decimal(blSetOwner), Decimal(uid), Decimal(gid), Hex(mode)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szPath, "path")) return -1;
    if (step.platform().makes_folders && !MakeFolders(szPath, blSetOwner != 0, uid, gid, mode))
        return step.Failure(QLIB_ERR_WRITE_FAILED);
    return step.Success();
}
