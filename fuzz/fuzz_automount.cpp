// SPDX-License-Identifier: Apache-2.0
//
// The value of the automount key of all users: a published path is read back unchanged, and any
// other content of a directory is parsed safely.
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/check.h"
#include "src/accounts/automount_value.h"

namespace {

void ReadAnyValue(std::string_view value) {
    std::string_view left = value;
    const auto escaped = zafo::EscapedExportOf(&left);
    CHECK(value.starts_with(left));
    if (!escaped) return;
    CHECK(value.find(*escaped) != std::string_view::npos);
    CHECK(!escaped->starts_with('-') && !escaped->starts_with(' '));
    const auto path = zafo::Unescaped(*escaped);
    CHECK(!path || path->size() <= escaped->size());
}

void PublishAnyPath(std::string_view path) {
    const auto escaped = zafo::EscapedPath(path);
    if (!escaped) return;
    CHECK(escaped->size() <= 4094);
    const std::string value = zafo::AutomountValue("server", *escaped);
    std::string_view left = value;
    const auto read = zafo::EscapedExportOf(&left);
    CHECK(read && *read == "server:" + *escaped + "/");
    if (path.ends_with('/')) path.remove_suffix(1);
    const auto back = zafo::Unescaped(*read);
    CHECK(!back || *back == "server:" + std::string(path) + "/");
    CHECK(back || read->size() > 4094);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    ReadAnyValue(text);
    PublishAnyPath(text);
    return 0;
}
