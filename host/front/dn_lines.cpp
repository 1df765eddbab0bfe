// SPDX-License-Identifier: Apache-2.0
#include "host/front/dn_lines.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/write_all.h"
#include "host/front/failure.h"
#include "platform/crypt.h"

namespace zafo::front {

namespace {

constexpr std::string_view kEncoded = "dn:: ";
constexpr std::string_view kPlain = "dn: ";

bool Write(std::string_view bytes) {
    if (WriteAll(STDOUT_FILENO, bytes)) return true;
    if (errno != EPIPE) Fail(kRefused, "cannot write", errno);
    return false;
}

// Whether the text can begin, or begins, a line of that kind.
bool MayBe(std::string_view text, std::string_view beginning) {
    const size_t size = std::min(text.size(), beginning.size());
    return text.substr(0, size) == beginning.substr(0, size);
}

}  // namespace

DnLines::~DnLines() {
    std::free(held_);
}

void DnLines::Reserve(size_t size) {
    if (size <= capacity_) return;
    capacity_ = 2 * size;
    auto *larger = static_cast<char *>(std::realloc(held_, capacity_));
    if (larger == nullptr) Fail(kRefused, "no memory");
    held_ = larger;
}

bool DnLines::Hold(std::string_view bytes) {
    Reserve(size_ + bytes.size());
    std::memcpy(held_ + size_, bytes.data(), bytes.size());
    size_ += bytes.size();
    if (MayBe({held_, size_}, kEncoded)) return true;
    passing_ = true;
    return WriteHeld();
}

bool DnLines::WriteHeld() {
    // There is room for the text after the line: it is shorter than its base64 form.
    Reserve(2 * size_ + kPlain.size());
    const std::string_view line(held_, size_);
    char *const plain = held_ + size_;
    size_ = 0;
    if (passing_ || line.size() <= kEncoded.size()) return Write(line);
    const std::string_view encoded = line.substr(kEncoded.size());
    size_t size = 0;
    if (ZAFOEncodingBase64Decode(encoded.data(), encoded.size(), plain + kPlain.size(), &size) ==
        0) {
        return Write(line);
    }
    std::memcpy(plain, kPlain.data(), kPlain.size());
    const std::string_view text(plain, kPlain.size() + size);
    return Write(text.find_first_of({"\n\r\0", 3}) == text.npos ? text : line);
}

bool DnLines::Take(std::string_view bytes) {
    while (!bytes.empty()) {
        const size_t end = bytes.find('\n');
        const std::string_view part = bytes.substr(0, end);
        if (passing_ ? !Write(part) : !part.empty() && !Hold(part)) return false;
        if (end == std::string_view::npos) return true;
        if (!Finish() || !Write("\n")) return false;
        bytes.remove_prefix(end + 1);
    }
    return true;
}

bool DnLines::Finish() {
    const bool written = passing_ || WriteHeld();
    passing_ = false;
    return written;
}

}  // namespace zafo::front
