// SPDX-License-Identifier: Apache-2.0
//
// The ldapsearch(1) command line of a search.
#include "src/core/ldap_search_command.h"

#include <optional>
#include <string>

#include "base/appliance_paths.h"
#include "src/core/list.h"

namespace zafo {

namespace {

constexpr size_t kMaxBase = 1024;

// The search base; nothing to use the tool's default.
std::optional<std::string> SearchBase(const ZAFOLDAP_HOST &host,
                                      const ZAFOLDAP_SEARCH_REQUEST &request) {
    const char *host_base = request.blBaseAsIs == 0 ? host.szBaseDN : nullptr;
    if (request.szBase == nullptr && host_base == nullptr) return {};
    if (request.szBase == nullptr) return host_base;
    std::string base = request.szBase;
    if (host_base != nullptr) {
        base.append(",").append(host_base);
        if (base.size() > kMaxBase) base.resize(kMaxBase);
    }
    return base;
}

}  // namespace

ToolArguments SearchArguments(const ZAFOLDAP_HOST &host, const ZAFOLDAP_SEARCH_REQUEST &request) {
    ToolArguments arguments{kLdapsearch, "-LLL", "-x"};
    arguments.AddConnection(host);
    if (const auto base = SearchBase(host, request)) arguments.Add({"-b", *base});
    if (request.nSizeLimit != 0) arguments.Add({"-z", std::to_string(request.nSizeLimit)});
    if (request.szScope != nullptr) arguments.Add({"-s", request.szScope});
    // Not preceded by an option: it goes where the tool expects its filter.
    if (request.szExtra != nullptr) arguments.Add({request.szExtra});
    if (request.szFilter != nullptr) arguments.Add({request.szFilter});
    const int attributes = request.plistAttr != nullptr ? request.plistAttr->nItem : 0;
    for (int i = 0; i < attributes; ++i)
        arguments.Add({ItemAt(request.plistAttr, i)});
    return arguments;
}

}  // namespace zafo
