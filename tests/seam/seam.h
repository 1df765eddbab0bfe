// SPDX-License-Identifier: Apache-2.0
//
// The interface between the library and its platform. A program linked with seam.cpp can intercept
// calls of the platform: a test replaces individual functions, and all others are passed through to
// the real one.
//
//   seam_.hooks.exec = [](const Texts &words) { …; return 1; };
//
// So a platform can fail where ours never does, or answer without setting its error slot.
#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/file.h"
#include "platform/szhash.h"
#include "platform/szlist.h"

namespace zafo::seam_test {

using Texts = std::vector<std::string>;

// Replacements for the platform's functions; empty ones are passed through.
struct Hooks {
    std::function<QLIBSZLIST *(int)> list_alloc;
    std::function<int(QLIBSZLIST **, const char *)> list_push;
    std::function<int(QLIBSZLIST **, int, const char *)> list_insert;
    std::function<const char *(const QLIBSZLIST *, int)> list_get;
    std::function<int(QLIBSZLIST *, const QLIBSZLIST *, int)> list_sub;
    std::function<int(QLIBSZLIST *)> list_pop;
    std::function<int(QLIBSZLIST *)> list_remove_all;
    std::function<int(QLIBSZLIST *)> list_sort;
    std::function<QLIBSZHASH *(int)> map_alloc;
    std::function<int(QLIBSZHASH *, const char *, const char *)> map_set;

    // The path first, then the arguments; mode and options separately.
    std::function<FILE *(const Texts &, const std::string &)> open;
    std::function<int(const Texts &)> exec;
    std::function<int(const Texts &, int)> execl;
    std::function<int(const Texts &, int)> execv;

    std::function<int(const char *, const char *, QLIBSZHASH *)> get_section;
    std::function<int(const char *, const char *)> add_section;
    std::function<int(const char *, const char *)> set_section;
    std::function<int(const char *, QLIBSZHASH *)> get_pair;
    std::function<int(const char *, char *, size_t)> share_path;
    std::function<int(char *, size_t)> secret;
    std::function<int(pid_t)> process_alive;
};
extern Hooks g_hooks;

// The platform's own functions.
QLIBSZLIST *RealListAlloc(int capacity);
int RealListPush(QLIBSZLIST **list, const char *text);
const char *RealListGet(const QLIBSZLIST *list, int index);
int RealListSub(QLIBSZLIST *list, const QLIBSZLIST *other, int flags);
QLIBSZHASH *RealMapAlloc(int capacity);
FILE *RealOpen(const Texts &words, const std::string &mode);

// One step of a tool's stream: text, or a read error.
using Reading = std::variant<std::string, int>;

// A stream of these steps, closed and reaped like that of a tool; `reads` counts the read calls.
FILE *ToolSaying(std::vector<Reading> steps, int status = 0, int *reads = nullptr);

// Fails the `nth` call from now on as if out of memory, without setting the slot.
std::function<QLIBSZLIST *(int)> NoListAt(int nth);
std::function<int(QLIBSZLIST **, const char *)> NoPushAt(int nth);

// Hooks last for one test.
class SeamTest {
  protected:
    SeamTest() { g_hooks = {}; }
    ~SeamTest() { g_hooks = {}; }
    Hooks &hooks_ = g_hooks;
};

}  // namespace zafo::seam_test
