// SPDX-License-Identifier: Apache-2.0
#include "src/core/tool_arguments.h"

#include <string.h>

#include <iterator>

#include "platform/ldap.h"

namespace zafo {

namespace {

constexpr size_t kLongestAddress = 1024;

}  // namespace

ToolArguments::~ToolArguments() {
    for (std::string &item : items_)
        explicit_bzero(item.data(), item.size());
}

void ToolArguments::Add(std::initializer_list<std::string_view> items) {
    for (const std::string_view item : items)
        items_.emplace_back(item);
}

void ToolArguments::AddConnection(const ZAFOLDAP_HOST &host) {
    if (host.szUri != nullptr) {
        Add({"-H", ServerAddress(host, kLongestAddress)});
        if (host.nSSLType == ZAFOLDAP_SSL_START_TLS) Add({"-Z"});
    }
    if (host.szBindDN == nullptr) return;
    Add({"-D", host.szBindDN});
    if (host.szBindPasswd != nullptr) Add({"-w", host.szBindPasswd});
}

char **ToolArguments::argv() {
    argv_.clear();
    argv_.reserve(items_.size() + 1);
    for (std::string &item : items_)
        argv_.push_back(item.data());
    argv_.push_back(nullptr);
    return argv_.data();
}

std::string ToolArguments::CommandLine(size_t most) const {
    std::string line = items_.front();
    for (auto next = std::next(items_.begin()); next != items_.end(); ++next) {
        const std::string &item = *next;
        const bool is_option = item.starts_with('-');
        if (line.size() + item.size() + (is_option ? 1 : 3) > most) break;
        line.append(is_option ? " " : " '").append(item).append(is_option ? "" : "'");
    }
    return line;
}

std::string ServerAddress(const ZAFOLDAP_HOST &host, size_t most) {
    std::string address = host.nSSLType == ZAFOLDAP_SSL_LDAPS ? "ldaps://" : "ldap://";
    address.append(host.szUri);
    if (address.size() > most) address.resize(most);
    return address;
}

}  // namespace zafo
