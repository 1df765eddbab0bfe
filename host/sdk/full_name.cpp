// SPDX-License-Identifier: Apache-2.0
#include "host/sdk/full_name.h"

#include "host/accounts/account_name.h"

namespace zafo {

std::string GecosOf(std::string_view full_name) {
    std::string gecos;
    while (!full_name.empty()) {
        const TextPiece piece = PieceOf(full_name);
        const bool ends_field = full_name.front() == ',' || full_name.front() == ':';
        if (ends_field || piece.unfit) {
            gecos += ' ';
        } else {
            gecos += full_name.substr(0, piece.length);
        }
        full_name.remove_prefix(piece.length);
    }
    return gecos;
}

std::string FullNameFrom(std::string_view gecos, const std::string &stored) {
    const std::string_view first = gecos.substr(0, gecos.find(','));
    return !stored.empty() && GecosOf(stored) == first ? stored : std::string(first);
}

}  // namespace zafo
