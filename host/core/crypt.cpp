// SPDX-License-Identifier: Apache-2.0
//
// Stored passwords: AES-256-GCM with the machine's key. The printable text encodes a version, the
// nonce, the ciphertext and the tag.
#include "platform/crypt.h"

#include <sys/random.h>

#include <cstring>

#include <nettle/gcm.h>
#include <nettle/memops.h>

#include "host/core/base85.h"
#include "host/core/copy_out.h"
#include "host/core/machine_key.h"

namespace {

using zafo::Fail;
using zafo::OutOfMemoryIs;

constexpr uint8_t kVersion = 1;
constexpr size_t kNonceAt = 1;
constexpr size_t kTextAt = kNonceAt + GCM_IV_SIZE;
constexpr size_t kOverhead = kTextAt + GCM_DIGEST_SIZE;
constexpr size_t kLongestText = 1023;

// The cipher, set up for one message whose version and nonce are in `head`. Wiped after use.
class Cipher {
  public:
    Cipher(const zafo::MachineKey &key, const uint8_t *head) {
        gcm_aes256_set_key(&context_, key.bytes.data());
        gcm_aes256_set_iv(&context_, GCM_IV_SIZE, head + kNonceAt);
        gcm_aes256_update(&context_, kNonceAt, head);
    }
    Cipher(const Cipher &) = delete;
    Cipher &operator=(const Cipher &) = delete;
    ~Cipher() { explicit_bzero(&context_, sizeof context_); }

    void Encrypt(size_t length, uint8_t *to, const char *from) {
        gcm_aes256_encrypt(&context_, length, to, reinterpret_cast<const uint8_t *>(from));
    }
    void Decrypt(size_t length, char *to, const uint8_t *from) {
        gcm_aes256_decrypt(&context_, length, reinterpret_cast<uint8_t *>(to), from);
    }
    void Digest(uint8_t *tag) { gcm_aes256_digest(&context_, GCM_DIGEST_SIZE, tag); }

  private:
    gcm_aes256_ctx context_;
};

}  // namespace

int QLIBCryptSzEncrypt(const char *clear, char *cipher, size_t size) {
    if (clear == nullptr || cipher == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    const size_t length = std::strlen(clear);
    if (length > kLongestText) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        std::vector<uint8_t> message(kOverhead + length);
        message[0] = kVersion;
        zafo::MachineKey key;
        if (const int error = zafo::ReadOrMakeMachineKey(&key); error != 0) return Fail(error);
        if (getrandom(&message[kNonceAt], GCM_IV_SIZE, 0) != GCM_IV_SIZE) {
            return Fail(QLIB_ERR_OPEN_FAILED);
        }
        Cipher aes(key, message.data());
        aes.Encrypt(length, &message[kTextAt], clear);
        aes.Digest(&message[kTextAt + length]);
        return zafo::CopyOut(zafo::ToBase85(message), cipher, size);
    });
}

int QLIBCryptSzDecrypt(const char *cipher, char *clear, size_t size) {
    if (cipher == nullptr || clear == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        const auto message = zafo::FromBase85(cipher);
        if (!message || message->size() < kOverhead || message->front() != kVersion) {
            return Fail(QLIB_ERR_BAD_FORMAT);
        }
        const size_t length = message->size() - kOverhead;
        if (length >= size) return Fail(QLIB_ERR_BUFFER_TOO_SMALL);
        zafo::MachineKey key;
        if (const int error = zafo::ReadMachineKey(&key); error != 0) return Fail(error);
        uint8_t tag[GCM_DIGEST_SIZE];
        Cipher aes(key, message->data());
        aes.Decrypt(length, clear, message->data() + kTextAt);
        aes.Digest(tag);
        if (memeql_sec(tag, message->data() + kTextAt + length, sizeof tag) == 0) {
            explicit_bzero(clear, length);
            return Fail(QLIB_ERR_BAD_FORMAT);
        }
        clear[length] = '\0';
        return 0;
    });
}
