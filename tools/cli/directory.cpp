// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/directory.h"

#include <algorithm>
#include <array>
#include <new>
#include <unordered_map>
#include <utility>

#include "base/ascii.h"
#include "platform/szlist.h"

namespace zafo::cli {

namespace {

// Finds attributes by name, ignoring case. Above a few attributes it keeps an index: a server may
// send a million names, then send them all again.
class AttributeIndex {
  public:
    explicit AttributeIndex(std::vector<Attribute> &attributes) : attributes_(attributes) {}

    // The attribute of that name, created if new.
    Attribute &Named(std::string_view name) {
        if (!attributes_.empty() && EqualIgnoringCase(attributes_.back().name, name))
            return attributes_.back();
        const size_t at = attributes_.size() < kFew ? Sought(name) : Indexed(name);
        if (at == attributes_.size()) attributes_.push_back({name, {}});
        return attributes_[at];
    }

  private:
    static constexpr size_t kFew = 64;

    size_t Sought(std::string_view name) const {
        const auto found = std::ranges::find_if(attributes_, [&](const Attribute &attribute) {
            return EqualIgnoringCase(attribute.name, name);
        });
        return static_cast<size_t>(found - attributes_.begin());
    }

    size_t Indexed(std::string_view name) {
        for (size_t i = index_.size(); i < attributes_.size(); ++i)
            index_.emplace(Folded(attributes_[i].name), i);
        return index_.try_emplace(Folded(name), attributes_.size()).first->second;
    }

    std::vector<Attribute> &attributes_;
    std::unordered_map<std::string, size_t> index_;
};

}  // namespace

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

NameList::NameList() : list_(QLIBCSzListAlloc(1024)) {
    if (list_ == nullptr) throw std::bad_alloc();
}

NameList::NameList(const std::vector<std::string> &names) : NameList() {
    for (const std::string &name : names) {
        if (QLIBCSzListPush(&list_, name.c_str()) != 0) throw std::bad_alloc();
    }
}

std::vector<std::string> NameList::Names() const {
    std::vector<std::string> names;
    names.reserve(static_cast<size_t>(list_->nItem));
    for (int i = 0; i < list_->nItem; ++i)
        names.emplace_back(QLIBCSzListGet(list_, i));
    return names;
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
    ForgetErrors(streams_);
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
    if (Interrupted()) throw OwnFailure(Message::kInterrupted, facts_);
    if (found < 0) Fail();
    if (found == 0) return nullptr;
    Fill();
    return &entry_;
}

// Most servers send the values of an attribute together, but need not.
void Search::Fill() {
    entry_.dn = {};
    entry_.attributes.clear();
    AttributeIndex index(entry_.attributes);
    const int pairs = ZAFOLDAPResultGetAttrCount(&result_);
    for (int i = 0; i < pairs; ++i) {
        const char *value = nullptr;
        const std::string_view name = ZAFOLDAPResultGetAt(&result_, i, &value);
        if (i == 0) {
            entry_.dn = value;
            continue;
        }
        index.Named(name).values.emplace_back(value);
    }
}

void Search::Fail() const {
    if (ZAFOLDAPErrGet() == 0 && QLIBCErrGet() == QLIB_ERR_OUT_OF_MEMORY)
        throw OwnFailure(Message::kEntryTooLarge, facts_);
    throw LatestFailure(streams_, facts_);
}

}  // namespace zafo::cli
