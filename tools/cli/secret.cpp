// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/secret.h"

#include "tools/cli/display_text.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unistr.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

namespace zafo::cli {

namespace {

constexpr size_t kLongest = 1023;  // what the stored form can hold

std::string ReadAll(int fd) {
    std::string text;
    char buffer[4096];
    while (text.size() <= 2 * kLongest) {
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR && !Interrupted()) continue;
        if (n <= 0) break;
        text.append(buffer, static_cast<size_t>(n));
    }
    if (Interrupted()) throw OwnFailure("interrupted", {});
    if (text.ends_with('\n')) text.pop_back();
    if (text.ends_with('\r')) text.pop_back();
    return text;
}

std::string ReadPasswordFile(const std::string &path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0) {
        throw OwnFailure("password_file_unreadable",
                         {.subject = path, .reason = std::strerror(errno)});
    }
    constexpr mode_t kOthers = S_IRGRP | S_IROTH | S_IWGRP | S_IWOTH;
    if ((status.st_mode & kOthers) != 0) {
        throw OwnFailure("password_file_open",
                         {.subject = path,
                          .reason = fmt::format("its mode is {:04o}", status.st_mode & 07777U)});
    }
    return ReadAll(file.Get());
}

void CheckPassword(const std::string &password) {
    // A bind with a DN and an empty password is anonymous on many servers (RFC 4513
    // section 5.1.2) and would look like a success.
    const char *reason = password.empty()                           ? "it is empty"
                         : password.size() > kLongest               ? "it is too long"
                         : password.find('\0') != std::string::npos ? "it contains a zero byte"
                         : password.find_first_of("\r\n") != std::string::npos
                             ? "it has more than one line"
                             : nullptr;
    if (reason != nullptr) throw OwnFailure("password_bad", {.reason = reason});
}

}  // namespace

std::string TakePassword(Streams &streams, const Invocation &invocation, std::string_view what) {
    std::string password;
    if (invocation.Has("password-stdin")) {
        password = ReadAll(STDIN_FILENO);
    } else if (const std::string *path = invocation.Find("password-file")) {
        password = ReadPasswordFile(*path);
    } else {
        if (!streams.CanAsk()) throw OwnFailure("password_needed", {});
        password = streams.Ask(fmt::format("Password for {}: ", OneLine(what)), /*echo=*/false);
        CheckPassword(password);
        if (streams.Ask("Repeat the password: ", /*echo=*/false) != password) {
            throw OwnFailure("password_mismatch", {});
        }
    }
    CheckPassword(password);
    return password;
}

size_t CharactersOf(const std::string &password) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(password.data());
    const bool utf8 = u8_check(bytes, password.size()) == nullptr;
    return utf8 ? u8_mbsnlen(bytes, password.size()) : password.size();
}

void CheckStrength(const std::string &password, std::string_view name) {
    constexpr size_t kLeast = 8;
    const size_t characters = CharactersOf(password);
    const bool is_name = password.size() == name.size() &&
                         strncasecmp(password.data(), name.data(), name.size()) == 0;
    const char *reason = is_name               ? "it is the user's name"
                         : characters < kLeast ? "it has fewer than 8 characters"
                                               : nullptr;
    if (reason != nullptr) throw OwnFailure("password_weak", {.reason = reason});
}

std::string RandomPassword() {
    constexpr std::string_view kCharacters =
        "abcdefghijkmnopqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ23456789";
    constexpr size_t kLength = 20;
    // Bytes beyond the last whole multiple would make some characters likelier.
    constexpr size_t kFair = 256 / kCharacters.size() * kCharacters.size();
    std::string password;
    while (password.size() < kLength) {
        unsigned char byte = 0;
        if (getrandom(&byte, sizeof byte, 0) != sizeof byte) {
            if (errno == EINTR && !Interrupted()) continue;
            throw OwnFailure("no_random", {.reason = std::strerror(errno)});
        }
        if (byte < kFair) password += kCharacters[byte % kCharacters.size()];
    }
    return password;
}

}  // namespace zafo::cli
