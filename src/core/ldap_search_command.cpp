// SPDX-License-Identifier: Apache-2.0
//
// What a search looks like on ldapsearch(1)'s command line.
#include "core/ldap_search_command.h"

#include "base/appliance_paths.h"
#include "core/list.h"
#include "platform/ldap.h"

namespace zafo {

namespace {

constexpr size_t kMaxAddress = 1024;
constexpr size_t kMaxBase = 1024;

std::string SearchBase(const ZAFOLDAP_HOST &host, const ZAFOLDAP_SEARCH_REQUEST &request) {
    std::string base = request.szBase != nullptr ? request.szBase : host.szBaseDN;
    if (request.blBaseAsIs == 0 && request.szBase != nullptr && host.szBaseDN != nullptr) {
        base.append(",").append(host.szBaseDN);
        if (base.size() > kMaxBase) base.resize(kMaxBase);
    }
    return base;
}

bool HasBase(const ZAFOLDAP_HOST &host, const ZAFOLDAP_SEARCH_REQUEST &request) {
    return request.szBase != nullptr || (request.blBaseAsIs == 0 && host.szBaseDN != nullptr);
}

void AppendServer(const ZAFOLDAP_HOST &host, std::vector<std::string> *pArguments) {
    if (host.szUri != nullptr) {
        pArguments->emplace_back("-H");
        pArguments->push_back(ServerAddress(host, kMaxAddress));
        if (host.nSSLType == ZAFOLDAP_SSL_START_TLS) pArguments->emplace_back("-Z");
    }
    if (host.szBindDN != nullptr) {
        pArguments->insert(pArguments->end(), {"-D", host.szBindDN});
        if (host.szBindPasswd != nullptr) {
            pArguments->insert(pArguments->end(), {"-w", host.szBindPasswd});
        }
    }
}

}  // namespace

std::string ServerAddress(const ZAFOLDAP_HOST &host, size_t nMax) {
    std::string address = host.nSSLType == ZAFOLDAP_SSL_LDAPS ? "ldaps://" : "ldap://";
    address.append(host.szUri);
    if (address.size() > nMax) address.resize(nMax);
    return address;
}

std::vector<std::string> SearchArguments(const ZAFOLDAP_HOST &host,
                                         const ZAFOLDAP_SEARCH_REQUEST &request) {
    std::vector<std::string> arguments = {zafo::kLdapsearch, "-LLL", "-x"};
    AppendServer(host, &arguments);
    if (HasBase(host, request))
        arguments.insert(arguments.end(), {"-b", SearchBase(host, request)});
    if (request.nSizeLimit != 0) {
        arguments.insert(arguments.end(), {"-z", std::to_string(request.nSizeLimit)});
    }
    if (request.szScope != nullptr) arguments.insert(arguments.end(), {"-s", request.szScope});
    // Without an option word of its own: it stands where the tool expects its filter.
    if (request.szExtra != nullptr) arguments.emplace_back(request.szExtra);
    if (request.szFilter != nullptr) arguments.emplace_back(request.szFilter);
    if (request.plistAttr != nullptr) {
        for (int i = 0; i < request.plistAttr->nItem; ++i) {
            arguments.emplace_back(ItemAt(request.plistAttr, i));
        }
    }
    return arguments;
}

std::string CommandLine(const std::vector<std::string> &arguments) {
    std::string line = arguments.front();
    for (size_t i = 1; i < arguments.size(); ++i) {
        const bool blOption = arguments[i].starts_with('-');
        line.append(blOption ? " " : " '").append(arguments[i]).append(blOption ? "" : "'");
    }
    return line;
}

}  // namespace zafo
