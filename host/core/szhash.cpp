// SPDX-License-Identifier: Apache-2.0
#include "host/core/szhash.h"

#include "host/core/fail.h"

using zafo::Fail;
using zafo::FailNull;
using zafo::OutOfMemoryIs;

QLIBSZHASH *QLIBCSzHashAlloc(int /*capacity*/) {
    return OutOfMemoryIs<QLIBSZHASH *>(nullptr, [] { return new QLIBSZHASH; });
}

void QLIBCSzHashFree(QLIBSZHASH *hash) {
    delete hash;
}

const char *QLIBCSzHashGetValue(const QLIBSZHASH *hash, const char *key) {
    if (hash == nullptr || key == nullptr) return FailNull(QLIB_ERR_BAD_ARGUMENT);
    const auto found = hash->pairs.find(key);
    return found == hash->pairs.end() ? nullptr : found->second.c_str();
}

int QLIBCSzHashSetValue(QLIBSZHASH *hash, const char *key, const char *value) {
    if (hash == nullptr || key == nullptr || value == nullptr) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [=] {
        // Key and value may point into the map, so both are copied before it changes.
        std::string copy(value);
        hash->pairs.insert_or_assign(std::string(key), std::move(copy));
        return 0;
    });
}

int QLIBCSzHashRemoveKey(QLIBSZHASH *hash, const char *key) {
    if (hash == nullptr || key == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    const auto found = hash->pairs.find(key);
    if (found != hash->pairs.end()) hash->pairs.erase(found);
    return 0;
}
