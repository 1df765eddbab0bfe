// SPDX-License-Identifier: Apache-2.0
//
// Owners of the library's records, and searches that throw Failure.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/error.h"
#include "platform/szlist.h"
#include "tools/cli/entry_writer.h"
#include "tools/cli/failure.h"
#include "tools/cli/streams.h"
#include "zafoldap.h"

namespace zafo::cli {

class Host {
  public:
    Host();
    ~Host();
    Host(Host &&other) noexcept;
    Host &operator=(Host &&) = delete;

    void Set(int attribute, const std::string &value);
    ZAFOLDAP_HOST &Record() { return host_; }
    const ZAFOLDAP_HOST &Record() const { return host_; }

  private:
    ZAFOLDAP_HOST host_{};
};

// Owns one of the platform's lists.
class NameList {
  public:
    NameList();
    explicit NameList(const std::vector<std::string> &names);
    QLIBSZLIST **Address() { return &list_; }
    const QLIBSZLIST *Get() const { return list_; }
    std::vector<std::string> Names() const;
    NameList(const NameList &) = delete;
    NameList &operator=(const NameList &) = delete;
    ~NameList() { QLIBCSzListFree(list_); }

  private:
    QLIBSZLIST *list_;
};

struct Query {
    std::optional<std::string> base = {};  // unset: the connection's base DN; empty: the root DSE
    std::string filter = {};               // empty: any entry
    std::string scope = {};                // empty: sub
    std::vector<std::string> attributes = {};
    int offset = 0;
    int count = -1;  // -1: all
    int size_limit = 0;
};

// One entry, by default without its attributes; {}: with all.
inline Query ForEntry(std::string dn, std::vector<std::string> attributes = {"1.1"},
                      std::string filter = {}) {
    return {.base = std::move(dn),
            .filter = std::move(filter),
            .scope = "base",
            .attributes = std::move(attributes)};
}

// An open search. Errors are thrown as Failure; earlier entries stay valid.
class Search {
  public:
    Search(Streams &streams, const Host &host, Query query, Facts facts);
    ~Search();
    Search(const Search &) = delete;
    Search &operator=(const Search &) = delete;

    // The next entry, valid until the next call; nullptr at the end.
    const Entry *Next();

  private:
    void Start(const Host &host);
    void ShowCommandLine(const Host &host) const;
    void Fill();
    [[noreturn]] void Fail() const;

    Streams &streams_;
    Query query_;
    Facts facts_;
    ZAFOLDAP_SEARCH_REQUEST request_{};
    ZAFOLDAP_RESULT result_{};
    Entry entry_;
};

// Before a call of the library: earlier errors are not its own.
inline void ForgetErrors(Streams &streams) {
    streams.ForgetToolWords();
    ZAFOLDAPErrReset();
    QLIBCErrSet(QLIB_ERR_NONE);
}

// The failure of the latest call of the library.
inline Failure LatestFailure(const Streams &streams, const Facts &facts) {
    return LibraryFailure(ZAFOLDAPErrGet(), QLIBCErrGet(), facts, streams.ToolWords());
}

// Runs `call`, a function of the library that returns a negative value on failure, and turns that
// into a Failure. Returns its value.
template <typename Call>
int Ask(Streams &streams, const Facts &facts, Call call) {
    ForgetErrors(streams);
    const int result = call();
    if (Interrupted()) throw OwnFailure(Message::kInterrupted, facts);
    if (result < 0) throw LatestFailure(streams, facts);
    return result;
}

// The same for a change: the failure, or nothing if the change was made, even if it was
// interrupted.
template <typename Call>
std::optional<Failure> Attempt(Streams &streams, const Facts &facts, Call call) {
    ForgetErrors(streams);
    if (call() >= 0) return std::nullopt;
    return LatestFailure(streams, facts);
}

}  // namespace zafo::cli
