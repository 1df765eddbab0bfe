// SPDX-License-Identifier: Apache-2.0
//
// Shared by the tests of the directory core: the fake tools, the log, and the rule that no test
// leaves anything behind.
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

// Codes of an earlier failure: a function that does not set a slot leaves them alone.
inline constexpr int kStaleLdapCode = -77;
inline constexpr int kStalePlatformCode = 0x1234;
void SetStaleCodes();

// Open descriptors, files in "/tmp" (without the fake tools' state) and child processes.
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

    // The library's own log lines so far; the platform also logs damaged files.
    Texts LibraryMessages();

    // The log lines so far, without the leading "FILE.cpp:LINE ".
    Texts LoggedTexts();

    rig::SystemLog &log_ = rig::SystemLog::Get();
    rig::FakeTools tools_;
    ZAFOLDAP_HOST host_{};

  private:
    Belongings before_;
};

// A list that its destructor frees.
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

// A file's text; empty if it cannot be read.
std::string ContentOf(const std::string &path);

Entry PairsOf(const ZAFOLDAP_RESULT &result);

// A request owned by the test, initialised with an attribute list.
class Request : public ZAFOLDAP_SEARCH_REQUEST {
  public:
    explicit Request(std::initializer_list<const char *> attributes = {});
    ~Request() { ZAFOLDAPSearchRequestFree(this); }
    Request(const Request &) = delete;
    Request &operator=(const Request &) = delete;
};

// A complete search.
struct Search {
    std::vector<Entry> entries;
    int last = 0;  // the final result: 0 or -1
    int exit_code = 0;
    int counted = 0;  // final value of nEntry
};
Search RunSearch(const ZAFOLDAP_HOST &host, const ZAFOLDAP_SEARCH_REQUEST &request);

}  // namespace zafo::core_test
