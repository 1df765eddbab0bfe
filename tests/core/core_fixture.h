// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the directory core share: the fake tools, the log, and the
// rule that no test leaves anything behind.
#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/szlist.h"
#include "tests/rig/fake_tool.h"
#include "tests/rig/system_log.h"
#include "zafoldap.h"

namespace zafo::core_test {

using Texts = std::vector<std::string>;
using Pair = std::pair<std::string, std::string>;
using Entry = std::vector<Pair>;

// Codes that stand for an earlier failure: a function that sets no slot leaves them.
inline constexpr int kStaleLdapCode = -77;
inline constexpr int kStalePlatformCode = 0x1234;
void SetStaleCodes();

// Open descriptors, files of "/tmp" (the fake tools' state left out) and child processes.
struct Belongings {
    std::set<std::string> descriptors;
    std::set<std::string> temporary_files;
    std::set<std::string> children;

    static Belongings Now();
    bool operator==(const Belongings &) const = default;
};
void PrintTo(const Belongings &belongings, std::ostream *out);

class CoreTest : public testing::Test {
  protected:
    CoreTest();
    ~CoreTest() override;

    // The library's own log lines so far; the platform has a say in damaged files as well.
    Texts LibraryMessages();

    // The log lines so far, each without the "FILE.cpp:LINE " at its start.
    Texts LoggedTexts();

    rig::SystemLog &log_ = rig::SystemLog::Get();
    rig::FakeTools tools_;
    ZAFOLDAP_HOST host_{};

  private:
    Belongings before_;
};

// A list that is freed when it goes.
class List {
  public:
    List() : list_(QLIBCSzListAlloc(1024)) {}
    List(std::initializer_list<const char *> items) : List() {
        for (const char *item : items)
            QLIBCSzListPush(&list_, item);
    }
    ~List() { QLIBCSzListFree(list_); }
    List(const List &) = delete;
    List &operator=(const List &) = delete;

    QLIBSZLIST *Get() const { return list_; }
    QLIBSZLIST **Address() { return &list_; }
    Texts Items() const;

  private:
    QLIBSZLIST *list_;
};

Texts Items(const QLIBSZLIST *list);

// The five string fields by attribute number; "-" stands for NULL.
Texts FieldsOf(const ZAFOLDAP_HOST &host);

// A file's text; empty when it cannot be read.
std::string ContentOf(const std::string &path);

Entry PairsOf(const ZAFOLDAP_RESULT &result);

// A request of the test's own, initialised with an attribute list.
class Request : public ZAFOLDAP_SEARCH_REQUEST {
  public:
    explicit Request(std::initializer_list<const char *> attributes = {});
    ~Request() { ZAFOLDAPSearchRequestFree(this); }
    Request(const Request &) = delete;
    Request &operator=(const Request &) = delete;
};

// A search from its start to its end.
struct Search {
    std::vector<Entry> entries;
    int last = 0;  // what ended it: 0 or -1
    int exit_code = 0;
    int counted = 0;  // nEntry at the end
};
Search RunSearch(const ZAFOLDAP_HOST &host, const ZAFOLDAP_SEARCH_REQUEST &request);

}  // namespace zafo::core_test
