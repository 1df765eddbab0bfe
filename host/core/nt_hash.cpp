// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <span>

#include <nettle/md4.h>
#include <unistr.h>

#include "host/core/fail.h"
#include "platform/crypt.h"

namespace {

using zafo::Fail;

// The UTF-16 form of a password, wiped after use.
class Utf16 {
  public:
    explicit Utf16(const char *text)
        : units_(u8_to_u16(reinterpret_cast<const uint8_t *>(text), std::strlen(text), nullptr,
                           &count_)) {}
    Utf16(const Utf16 &) = delete;
    Utf16 &operator=(const Utf16 &) = delete;
    ~Utf16() {
        if (units_ != nullptr) explicit_bzero(units_, count_ * sizeof *units_);
        std::free(units_);
    }

    bool IsValid() const { return units_ != nullptr; }
    std::span<const uint16_t> Units() const { return {units_, count_}; }

  private:
    size_t count_ = 0;
    uint16_t *units_;
};

}  // namespace

int QLIBSmbNtEncrypt(const char *clear, char *hash, size_t size) {
    if (clear == nullptr || hash == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    if (size <= 2 * MD4_DIGEST_SIZE) return Fail(QLIB_ERR_BUFFER_TOO_SMALL);
    const Utf16 password(clear);
    if (!password.IsValid()) {
        return Fail(errno == ENOMEM ? QLIB_ERR_OUT_OF_MEMORY : QLIB_ERR_BAD_FORMAT);
    }
    md4_ctx context;
    md4_init(&context);
    for (const uint16_t unit : password.Units()) {
        const uint8_t bytes[] = {static_cast<uint8_t>(unit), static_cast<uint8_t>(unit >> 8)};
        md4_update(&context, sizeof bytes, bytes);
    }
    uint8_t digest[MD4_DIGEST_SIZE];
    md4_digest(&context, sizeof digest, digest);
    explicit_bzero(&context, sizeof context);
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const uint8_t byte : digest) {
        *hash++ = kDigits[byte >> 4];
        *hash++ = kDigits[byte & 15];
    }
    *hash = '\0';
    return 0;
}
