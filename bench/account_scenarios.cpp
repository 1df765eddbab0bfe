// SPDX-License-Identifier: Apache-2.0
//
// Questions about all accounts of a directory. Those whose time grows with the directory are also
// put to a smaller one.
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/floor.h"
#include "bench/scenarios.h"
#include "host/root/directory/example_directory.h"
#include "zafoldap/browser.h"
#include "zafoldap/membership.h"

namespace zafo::bench {

namespace {

class Names {
  public:
    Names() : list_(QLIBCSzListAlloc(1024)) {
        if (list_ == nullptr) throw std::bad_alloc();
    }
    Names(const Names &) = delete;
    Names &operator=(const Names &) = delete;
    ~Names() { QLIBCSzListFree(list_); }

    QLIBSZLIST **address() { return &list_; }
    int size() const { return list_->nItem; }

  private:
    QLIBSZLIST *list_;
};

// The system's ldapsearch for all users, piped into a program that does next to nothing.
void Pipeline(benchmark::State &state, const char *attributes, const char *reader) {
    const std::string command = std::string("ldapsearch -LLL -x -H ldap://") + kLarge.address +
                                " -D " + kBindDN + " -w " + Password() + " -b " + kBaseDN + " '" +
                                kUsersFilter + "' " + attributes + " | " + reader + " >/dev/null";
    std::vector<std::string> words = {"bash", "-o", "pipefail", "-c", command};
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    for ([[maybe_unused]] auto _ : state) {
        floor_count count{};
        if (floor_run(argv.data(), &count) != 0) {
            state.SkipWithError("the pipeline failed");
            break;
        }
    }
}

// Asks the library in a loop; `question` returns whether the answer is right.
template <class Question>
void Ask(benchmark::State &state, const Place &place, const Question &question) {
    const Connection connection(place);
    for ([[maybe_unused]] auto _ : state) {
        if (!question(connection.get())) {
            state.SkipWithError("the answer is wrong");
            break;
        }
    }
}

void CountUsers(benchmark::State &state) {
    Ask(state, kLarge, [](const ZAFOLDAP_HOST *host) {
        return ZAFOLDAPBrowserStatUGNum(host, "user") >= kLarge.users;
    });
}

void ListUsers(benchmark::State &state) {
    Ask(state, kLarge, [](const ZAFOLDAP_HOST *host) {
        Names dns, names;
        return ZAFOLDAPBrowserUserEnumAll(host, dns.address(), names.address()) >= kLarge.users &&
               names.size() >= kLarge.users;
    });
}

void NotInGroup(benchmark::State &state, const Place &place) {
    Ask(state, place, [&place](const ZAFOLDAP_HOST *host) {
        Names names;
        return ZAFOLDAPBrowserUserEnumNotInGroupDN(host, kGroup, names.address()) == 0 &&
               names.size() >= place.users * 9 / 10 && names.size() < place.users;
    });
}

void LookUp(benchmark::State &state, const Place &place) {
    const std::string login = rig::ExampleLogin(static_cast<unsigned>(place.users) / 2);
    Ask(state, place, [&login](const ZAFOLDAP_HOST *host) {
        char dn[1024];
        return ZAFOLDAPBrowserGetDNByUserUID(host, login.c_str(), dn, sizeof dn) == 1;
    });
}

}  // namespace

void RegisterAccounts(int rounds) {
    const auto add = [](const char *name, auto body, int repetitions) {
        benchmark::RegisterBenchmark(name, body)
            ->Iterations(1)
            ->Repetitions(repetitions)
            ->UseRealTime();
    };
    const auto at = [](auto body, const Place &place) {
        return [body, &place](benchmark::State &state) { body(state, place); };
    };
    add(
        kCountFloor, [](benchmark::State &state) { Pipeline(state, "dn", "wc"); }, rounds);
    add(kCountOurs, CountUsers, rounds);
    add(
        kListFloor, [](benchmark::State &state) { Pipeline(state, "dn uid", "cat"); }, rounds);
    add(kListOurs, ListUsers, rounds);
    add(kNotInGroupMedium, at(NotInGroup, kMedium), 2 * rounds);
    add(kNotInGroupLarge, at(NotInGroup, kLarge), rounds);
    add(kLookUpSmall, at(LookUp, kSmall), 20 * rounds);
    add(kLookUpLarge, at(LookUp, kLarge), 20 * rounds);
}

}  // namespace zafo::bench
