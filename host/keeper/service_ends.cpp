// SPDX-License-Identifier: Apache-2.0
#include "host/keeper/service_ends.h"

#include <sys/wait.h>

#include <charconv>
#include <csignal>
#include <cstring>

#include "base/atomic_file.h"
#include "base/whole_file.h"
#include "host/core/section_text.h"
#include "host/core/service_process.h"

namespace zafo {

namespace {

constexpr mode_t kMode = 0644;

long long NumberOf(const Pairs &pairs, const char *key) {
    const auto pair = pairs.find(key);
    long long number = 0;
    if (pair == pairs.end()) return number;
    const std::string &text = pair->second;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string Line(const char *key, long long number) {
    return std::string(key) + "=" + std::to_string(number) + "\n";
}

}  // namespace

std::string EndsOfService(const std::string &name) {
    return RecordOfService(name) + ".ends";
}

bool RememberEnd(const std::string &path, const ServiceEnd &end) {
    FileUpdate update(path);
    if (update.Error() != 0) return false;
    std::string before;
    if (ReadWhole(path, &before) != ReadResult::kDone) before.clear();
    const Pairs pairs = PlainPairs(before);
    const long long count = NumberOf(pairs, "count");
    const auto when = static_cast<long long>(end.when);
    const bool signalled = WIFSIGNALED(end.wait_status);
    return update.Replace(Line("count", count + 1) +
                              Line("first", count > 0 ? NumberOf(pairs, "first") : when) +
                              Line("last", when) +
                              Line("lived", static_cast<long long>(end.lived.count())) +
                              (signalled ? Line("signal", WTERMSIG(end.wait_status))
                                         : Line("exit_code", WEXITSTATUS(end.wait_status))),
                          kMode) == 0;
}

bool IsOrderly(int wait_status) {
    if (WIFEXITED(wait_status)) return WEXITSTATUS(wait_status) == 0;
    const int signal = WTERMSIG(wait_status);
    return signal == SIGTERM || signal == SIGINT || signal == SIGHUP;
}

std::string EndInWords(int wait_status) {
    if (WIFEXITED(wait_status))
        return "ended with exit code " + std::to_string(WEXITSTATUS(wait_status));
    const int signal = WTERMSIG(wait_status);
    const char *name = sigdescr_np(signal);
    std::string words = "ended by signal " + std::to_string(signal);
    if (name != nullptr) words.append(" (").append(name).append(")");
    return words;
}

}  // namespace zafo
