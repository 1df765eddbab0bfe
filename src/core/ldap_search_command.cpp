// SPDX-License-Identifier: Apache-2.0
//
// What a search looks like on ldapsearch(1)'s command line.
#include "src/core/ldap_search_command.h"

#include <optional>
#include <string>

#include "base/appliance_paths.h"
#include "src/core/list.h"

namespace zafo {

namespace {

constexpr size_t kMaxBase = 1024;

// Where the search begins; nothing leaves it to the tool.
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
    // Without an option word of its own: it stands where the tool expects its filter.
    if (request.szExtra != nullptr) arguments.Add({request.szExtra});
    if (request.szFilter != nullptr) arguments.Add({request.szFilter});
    const int attributes = request.plistAttr != nullptr ? request.plistAttr->nItem : 0;
    for (int i = 0; i < attributes; ++i)
        arguments.Add({ItemAt(request.plistAttr, i)});
    return arguments;
}

}  // namespace zafo
