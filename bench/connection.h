// SPDX-License-Identifier: Apache-2.0
//
// Connections and searches through the library, for the benchmarks.
#pragma once

#include <fstream>
#include <stdexcept>
#include <string>

#include "bench/places.h"
#include "zafoldap/host.h"
#include "zafoldap/search.h"

namespace zafo::bench {

inline std::string Password(const Place &place = kLarge) {
    std::string password;
    if (!std::getline(std::ifstream(place.password_file), password))
        throw std::runtime_error("cannot read " + std::string(place.password_file));
    return password;
}

class Connection {
  public:
    explicit Connection(const Place &place = kLarge) {
        if (ZAFOLDAPHostInit(&host_) != 0 ||
            ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_URI, place.address) != 0 ||
            ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BASEDN, kBaseDN) != 0 ||
            ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BINDDN, kBindDN) != 0 ||
            ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BINDPW, Password(place).c_str()) != 0)
            throw std::bad_alloc();
    }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection() { ZAFOLDAPHostFree(&host_); }

    const ZAFOLDAP_HOST *get() const { return &host_; }

  private:
    ZAFOLDAP_HOST host_{};
};

// A search with a complete base DN, ended on every path.
class Search {
  public:
    Search(const Connection &connection, const char *base, const char *scope, const char *filter) {
        ZAFOLDAPSearchRequestInit(&request_, 0);
        request_.blBaseAsIs = 1;
        request_.szBase = base;
        request_.szScope = scope;
        request_.szFilter = filter;
        if (ZAFOLDAPSearchInit(connection.get(), &request_, &entry_) != 0) {
            Free();
            throw std::runtime_error("cannot start the search tool");
        }
    }
    Search(const Search &) = delete;
    Search &operator=(const Search &) = delete;
    ~Search() { Free(); }

    int Next() { return ZAFOLDAPSearchGetNext(&request_, &entry_); }
    void Free() { ZAFOLDAPSearchFree(&request_, &entry_); }

    // Reads to the end. Returns the number of entries, or the negative exit code of a failed tool.
    long ReadAll() {
        long entries = 0;
        int found = 0;
        while ((found = Next()) == 1)
            ++entries;
        return found == 0 ? entries : -static_cast<long>(entry_.nExitCode);
    }

    const ZAFOLDAP_RESULT &entry() const { return entry_; }

  private:
    ZAFOLDAP_SEARCH_REQUEST request_{};
    ZAFOLDAP_RESULT entry_{};
};

}  // namespace zafo::bench
