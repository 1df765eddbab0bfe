// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "zafoldap/host.h"
#include "zafoldap/result.h"

namespace zafo {

// A record owned by the library: zero-initialised, and freed on every path.
template <class Record, int (*kFree)(Record *)>
class Own : public Record {
  public:
    Own() { static_cast<Record &>(*this) = {}; }
    Own(const Own &) = delete;
    Own &operator=(const Own &) = delete;
    ~Own() { kFree(this); }
};
using OwnHost = Own<ZAFOLDAP_HOST, ZAFOLDAPHostFree>;
using OwnResult = Own<ZAFOLDAP_RESULT, ZAFOLDAPResultFree>;

}  // namespace zafo
