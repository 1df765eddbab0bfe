// SPDX-License-Identifier: Apache-2.0
//
// Shared by the functions of the foreign platform: the record of calls, the test's answers, and the
// memory that they return.
#pragma once

#include <cstring>
#include <memory>

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

// Memory that a test may no longer read. It is overwritten immediately and freed at the end of the
// test, so that a late reader reliably reads garbage.
class Quarantine {
  public:
    Quarantine() = default;
    ~Quarantine();
    Quarantine(const Quarantine &) = delete;
    Quarantine &operator=(const Quarantine &) = delete;
    void Take(void *block, size_t size);
    void TakeText(char *text) {
        if (text != nullptr) Take(text, std::strlen(text) + 1);
    }

  private:
    std::vector<void *> blocks_;
};

struct ListBlock {
    QLIBSZLIST head;  // what the caller sees: its address identifies the list
    std::vector<char *> *items;
};

// The recorded origin of a test's own list.
inline constexpr char kTestsList[] = "a test's list";

struct Stream {
    size_t run = 0;
    std::string output;
    size_t position = 0;
    int interrupted = 0;
    bool read_fails = false;
    bool awkward = false;
    int status = 0;
};

struct Rule {
    enum class Kind { kFail, kReturn, kFill };
    std::string function;
    Kind kind = Kind::kFail;
    int nth = 1;  // 0: always
    int seen = 0;
    int result = -1;
    int slot = 0;
    char byte = 0;
};

struct UserOwned {
    ZAFOUSER made;
};
struct GroupOwned {
    ZAFOGROUP made;
    std::vector<char *> members;
};

struct Platform::State {
    std::vector<Call> calls;
    std::vector<Run> runs;
    size_t forgotten_runs = 0;  // their streams may still be open
    std::deque<Tool> answers;
    std::deque<Rule> rules;
    std::multimap<std::string, std::function<void(const Call &)>> watches;
    std::vector<LogLine> log;
    Strings faults;
    Quarantine quarantine;
    std::map<const void *, std::string> live;  // every live allocation, and the call that made it
    std::set<const void *> freed;
    std::map<FILE *, std::unique_ptr<Stream>> streams;
    std::map<const ZAFOUSER *, UserOwned> users;
    std::map<const ZAFOGROUP *, GroupOwned> groups;
    int temporary_confs = 0;

    void Made(const void *what, const std::string &by) {
        live[what] = by;
        freed.erase(what);
    }
    void Freed(const void *what) {
        live.erase(what);
        freed.insert(what);
    }
};

// NULL is "(null)".
std::string Text(const char *text);
std::string Hex(unsigned long number);
template <class Number>
std::string Decimal(Number number) {
    return std::to_string(number);
}
char *Copy(const char *text);
char *CopyOrNull(const std::optional<std::string> &text);

// One call of a platform function: recorded at its start, and asked how the test wants it to end.
class Step {
  public:
    Step(const char *function, Strings arguments, const QLIBSZHASH *map = nullptr);

    // Whether the test wants the call to fail, with Result().
    bool Fails() const { return fail_ != nullptr; }
    int Result() const { return fail_->result; }
    // The result on success: the test's, else `usual`, else the temperament's.
    int Success() const { return Success(temperament_.success); }
    int Success(int usual) const { return give_ != nullptr ? give_->result : usual; }
    // A failure for the platform's own reasons.
    int Failure(int slot) const;
    // The caller did something undocumented.
    int Fault(const std::string &what) const;

    // Writes a text and its terminator to a buffer; false, with 0x0E00, when it does not fit.
    bool Put(const std::string &text, char *buffer, size_t size) const;
    bool Given(const void *pointer, const char *what) const;
    bool Live(const void *what, const char *kind) const;

    const Temperament &temperament() const { return temperament_; }
    Platform &platform() const { return platform_; }
    Platform::State &state() const { return platform_.state(); }
    bool Fills() const { return fill_ != nullptr; }
    char fill_byte() const { return fill_->byte; }

  private:
    Platform &platform_;
    const Temperament &temperament_;
    const char *function_;
    const Rule *fail_ = nullptr;
    const Rule *give_ = nullptr;
    const Rule *fill_ = nullptr;
};

// Lists and maps for functions that fill them, without a recorded call.
void Append(QLIBSZLIST **list, const std::string &item);
Pairs PairsOf(const QLIBSZHASH *map);
void Assign(QLIBSZHASH *map, const Pairs &pairs);

}  // namespace zafo::foreign
