// SPDX-License-Identifier: Apache-2.0
#include "host/core/szhash.h"

#include "host/core/fail.h"

using zafo::Fail;
using zafo::FailNull;
using zafo::OutOfMemoryIs;

QLIBSZHASH *QLIBCSzHashAlloc(int /*nCapacity*/) {
    return OutOfMemoryIs<QLIBSZHASH *>(nullptr, [] { return new QLIBSZHASH; });
}

void QLIBCSzHashFree(QLIBSZHASH *pHash) {
    delete pHash;
}

const char *QLIBCSzHashGetValue(const QLIBSZHASH *pHash, const char *szKey) {
    if (pHash == nullptr || szKey == nullptr) return FailNull(QLIB_ERR_BAD_ARGUMENT);
    const auto found = pHash->pairs.find(szKey);
    return found == pHash->pairs.end() ? nullptr : found->second.c_str();
}

int QLIBCSzHashSetValue(QLIBSZHASH *pHash, const char *szKey, const char *szValue) {
    if (pHash == nullptr || szKey == nullptr || szValue == nullptr) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [=] {
        // Key and value may point into the map, so both are copied before it changes.
        std::string value(szValue);
        pHash->pairs.insert_or_assign(std::string(szKey), std::move(value));
        return 0;
    });
}

int QLIBCSzHashRemoveKey(QLIBSZHASH *pHash, const char *szKey) {
    if (pHash == nullptr || szKey == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    const auto found = pHash->pairs.find(szKey);
    if (found != pHash->pairs.end()) pHash->pairs.erase(found);
    return 0;
}
