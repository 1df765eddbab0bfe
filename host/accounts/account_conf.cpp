// SPDX-License-Identifier: Apache-2.0
#include "host/accounts/account_conf.h"

#include <climits>
#include <memory>
#include <new>

#include "base/appliance_paths.h"
#include "host/accounts/account_file.h"
#include "platform/error.h"
#include "platform/file.h"

namespace zafo {

namespace {

constexpr int kDefaultLimit = 4096;

struct MapFree {
    void operator()(QLIBSZHASH *map) const { QLIBCSzHashFree(map); }
};
using Map = std::unique_ptr<QLIBSZHASH, MapFree>;

// A section's pairs. 0, also when there are none, or a platform error code.
int Load(const char *section, Map *map) {
    map->reset(QLIBCSzHashAlloc(16));
    if (*map == nullptr) throw std::bad_alloc();
    return QLIBCFileGetSection(kAccountConf, section, map->get()) < 0 ? QLIBCErrGet() : 0;
}

}  // namespace

int ReadAccountText(const char *section, const std::string &name, std::string *text) {
    Map map;
    if (const int error = Load(section, &map); error != 0) return error;
    const char *value = QLIBCSzHashGetValue(map.get(), name.c_str());
    *text = value == nullptr ? "" : value;
    return 0;
}

int StoreAccountText(const char *section, const std::string &name, std::string_view text) {
    Map map;
    if (const int error = Load(section, &map); error != 0) return error;
    const char *old = QLIBCSzHashGetValue(map.get(), name.c_str());
    if (text == (old == nullptr ? "" : old)) return 0;
    if (text.empty()) {
        QLIBCSzHashRemoveKey(map.get(), name.c_str());
    } else if (QLIBCSzHashSetValue(map.get(), name.c_str(), std::string(text).c_str()) != 0) {
        return QLIBCErrGet();
    }
    const bool stored = QLIBCFileAddSection(kAccountConf, section, nullptr, 0) == 0 &&
                        QLIBCFileSetSection(kAccountConf, section, nullptr, map.get(), 0) == 0;
    return stored ? 0 : QLIBCErrGet();
}

int ReadUserLimit(int *limit) {
    std::string text;
    if (const int error = ReadAccountText("limit", "users", &text); error != 0) return error;
    const auto number = NumberIn(text);
    if (!text.empty() && (!number || *number > INT_MAX)) return QLIB_ERR_BAD_FORMAT;
    *limit = number ? static_cast<int>(*number) : kDefaultLimit;
    return 0;
}

}  // namespace zafo
