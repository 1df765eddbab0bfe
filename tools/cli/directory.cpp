// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/directory.h"

#include "platform/szlist.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <new>
#include <utility>

namespace zafo::cli {

Host::Host() {
    if (ZAFOLDAPHostInit(&host_) != 0) throw std::bad_alloc();
}

Host::~Host() {
    ZAFOLDAPHostFree(&host_);
}

Host::Host(Host &&other) noexcept : host_(std::exchange(other.host_, ZAFOLDAP_HOST{})) {}

void Host::Set(int attribute, const std::string &value) {
    if (ZAFOLDAPHostSet(&host_, attribute, value.c_str()) != 0) throw std::bad_alloc();
}

Search::Search(Streams &streams, const Host &host, Query query, Facts facts)
    : streams_(streams), query_(std::move(query)), facts_(std::move(facts)) {
    if (ZAFOLDAPSearchRequestInit(&request_, 1) != 0) throw std::bad_alloc();
    try {
        Start(host);
    } catch (...) {
        ZAFOLDAPSearchFree(&request_, &result_);
        throw;
    }
}

Search::~Search() {
    ZAFOLDAPSearchFree(&request_, &result_);
}

void Search::Start(const Host &host) {
    if (query_.base) {
        request_.blBaseAsIs = 1;
        request_.szBase = query_.base->c_str();
    }
    if (!query_.filter.empty()) request_.szFilter = query_.filter.c_str();
    if (!query_.scope.empty()) request_.szScope = query_.scope.c_str();
    request_.nOffset = query_.offset;
    request_.nCount = query_.count;
    request_.nSizeLimit = query_.size_limit;
    for (const std::string &attribute : query_.attributes) {
        if (QLIBCSzListPush(&request_.plistAttr, attribute.c_str()) != 0) throw std::bad_alloc();
    }
    ShowCommandLine(host);
    streams_.ForgetToolWords();
    ZAFOLDAPErrReset();
    QLIBCErrSet(QLIB_ERR_NONE);
    if (ZAFOLDAPSearchInit(&host.Record(), &request_, &result_) != 0) Fail();
}

void Search::ShowCommandLine(const Host &host) const {
    ZAFOLDAP_HOST masked = host.Record();
    if (masked.szBindPasswd != nullptr) masked.szBindPasswd = "****";
    std::array<char, 4096> line{};
    if (streams_.Options().verbosity < 2 ||
        ZAFOLDAPSearchBuildRequestCmd(&masked, &request_, line.data(), line.size()) != 0) {
        return;
    }
    streams_.Verbose(2, std::string("+ ") + line.data());
}

const Entry *Search::Next() {
    const int found = ZAFOLDAPSearchGetNext(&request_, &result_);
    if (Interrupted()) throw OwnFailure("interrupted", facts_);
    if (found < 0) Fail();
    if (found == 0) return nullptr;
    Fill();
    return &entry_;
}

// Values of one attribute come one after the other from most servers, but need not.
void Search::Fill() {
    entry_.dn = {};
    entry_.attributes.clear();
    const int pairs = ZAFOLDAPResultGetAttrCount(&result_);
    for (int i = 0; i < pairs; ++i) {
        const char *value = nullptr;
        const std::string_view name = ZAFOLDAPResultGetAt(&result_, i, &value);
        if (i == 0) {
            entry_.dn = value;
            continue;
        }
        const auto same = [&](const Attribute &attribute) {
            return attribute.name.size() == name.size() &&
                   strncasecmp(attribute.name.data(), name.data(), name.size()) == 0;
        };
        auto &attributes = entry_.attributes;
        auto at = !attributes.empty() && same(attributes.back())
                      ? std::prev(attributes.end())
                      : std::ranges::find_if(attributes, same);
        if (at == attributes.end()) at = attributes.insert(at, Attribute{name, {}});
        at->values.emplace_back(value);
    }
}

void Search::Fail() const {
    throw LibraryFailure(ZAFOLDAPErrGet(), QLIBCErrGet(), facts_, streams_.ToolWords());
}

}  // namespace zafo::cli
