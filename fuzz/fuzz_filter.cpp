// SPDX-License-Identifier: Apache-2.0
//
// The check of search filters: it terminates, reports a position inside the text, and what it
// accepts is also accepted inside "(&…)".
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/check.h"
#include "tools/cli/ldap_filter.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view filter(reinterpret_cast<const char *>(data), size);
    if (const auto fault = zafo::cli::FilterFault(filter)) {
        CHECK(fault->position <= filter.size());
        CHECK(!fault->reason.empty());
        CHECK(zafo::cli::WithCaret(filter, fault->position).find('^') != std::string::npos);
        return 0;
    }
    const size_t first = filter.find_first_not_of(' ');
    if (first == std::string_view::npos || filter[first] != '(') return 0;
    CHECK(!zafo::cli::FilterFault("(&" + std::string(filter) + ")"));
    return 0;
}
