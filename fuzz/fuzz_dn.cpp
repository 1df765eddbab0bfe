// SPDX-License-Identifier: Apache-2.0
//
// DNs: a parsed DN survives being written and parsed again, and no value breaks out of a DN.
#include <cstdint>

#include "base/dn.h"
#include "fuzz/check.h"

namespace {

std::string WrittenAnew(const std::vector<zafo::Rdn> &rdns) {
    std::string dn;
    for (const zafo::Rdn &rdn : rdns) {
        for (const zafo::DnPair &pair : rdn.pairs) {
            if (!dn.empty()) dn += &pair == rdn.pairs.data() ? ',' : '+';
            const bool is_ber = pair.written.starts_with('#');
            dn.append(pair.attribute).append("=");
            dn += is_ber ? std::string(pair.written) : zafo::EscapedForDn(pair.Value());
        }
    }
    return dn;
}

void CheckDn(std::string_view text, const std::vector<zafo::Rdn> &rdns) {
    const std::string comparable = zafo::ComparableDn(text);
    CHECK(zafo::ComparableDn(comparable) == comparable);
    const std::string anew = WrittenAnew(rdns);
    CHECK(zafo::SameDn(anew, text));
    const auto again = zafo::ParseDn(anew);
    CHECK(again && again->size() == rdns.size());
    for (size_t i = 0; i < rdns.size(); ++i) {
        CHECK((*again)[i].pairs.size() == rdns[i].pairs.size());
        for (size_t j = 0; j < rdns[i].pairs.size(); ++j)
            CHECK((*again)[i].pairs[j].Value() == rdns[i].pairs[j].Value());
    }
    const size_t end = zafo::EndOfRdn(text);
    const auto first = zafo::ParseDn(text.substr(0, end));
    CHECK(first && first->size() == (rdns.empty() ? 0 : 1));
    if (rdns.size() > 1) CHECK(zafo::IsBelow(text, text.substr(end + 1)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    zafo::DnError error{size + 1, nullptr};
    const auto rdns = zafo::ParseDn(text, &error);
    if (rdns) {
        CheckDn(text, *rdns);
    } else {
        CHECK(error.position <= size && error.reason != nullptr);
        CHECK(zafo::ComparableDn(text).empty());
        CHECK(zafo::EndOfRdn(text) <= size);
    }
    const std::string dn = "cn=" + zafo::EscapedForDn(text) + ",dc=x";
    const auto pair = zafo::ParseDn(dn);
    CHECK(pair && pair->size() == 2 && pair->front().pairs.size() == 1);
    CHECK(pair->front().pairs.front().Value() == text);
    return 0;
}
