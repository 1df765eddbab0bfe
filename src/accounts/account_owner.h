// SPDX-License-Identifier: Apache-2.0
//
// Owners of what the platform makes of accounts.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/group.h"
#include "platform/user.h"

namespace zafo {

// An account's record, or none. One owner may take many, one after the other.
template <class Record>
class AccountOwner {
  public:
    AccountOwner() = default;
    AccountOwner(const AccountOwner &) = delete;
    AccountOwner &operator=(const AccountOwner &) = delete;
    ~AccountOwner() { Free(); }

    // Where the next record goes. The one before is freed here: who writes a new one need not do
    // it.
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

    // Of the group before nothing stays, where one without a description leaves the buffer alone.
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
