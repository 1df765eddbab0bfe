// SPDX-License-Identifier: Apache-2.0
//
// Owners of the account records that the platform allocates.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/group.h"
#include "platform/user.h"

namespace zafo {

// An account's record, or none. One owner can hold many records, one after another.
template <class Record>
class AccountOwner {
  public:
    AccountOwner() = default;
    AccountOwner(const AccountOwner &) = delete;
    AccountOwner &operator=(const AccountOwner &) = delete;
    ~AccountOwner() { Free(); }

    // Where to store the next record. Frees the previous one, so the writer need not.
    Record **Next() {
        Free();
        return &record_;
    }
    Record *get() const { return record_; }
    Record *operator->() const { return record_; }
    Record &operator*() const { return *record_; }

  private:
    static void Delete(ZAFOUSER *user) { ZAFOUserFree(user); }
    static void Delete(ZAFOGROUP *group) { ZAFOGroupFree(group); }
    void Free() {
        if (record_ != nullptr) Delete(std::exchange(record_, nullptr));
    }

    Record *record_ = nullptr;
};
using User = AccountOwner<ZAFOUSER>;
using Group = AccountOwner<ZAFOGROUP>;

// The description of a group, in a buffer that the platform grows.
class GroupDescription {
  public:
    GroupDescription() = default;
    GroupDescription(const GroupDescription &) = delete;
    GroupDescription &operator=(const GroupDescription &) = delete;
    ~GroupDescription() { std::free(text); }

    // Clears the previous group's text: some platforms leave the buffer alone for a group without
    // one.
    void Empty() {
        if (text != nullptr && size > 0) text[0] = '\0';
    }

    char *text = nullptr;
    size_t size = 0;
};

struct FreeMultiResult {
    void operator()(QLIBCMRESULT *result) const { QLIBCMResultFree(result); }
};
using MultiResult = std::unique_ptr<QLIBCMRESULT, FreeMultiResult>;

}  // namespace zafo
