// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/secret.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <fmt/format.h>
#include <unistr.h>

#include "base/ascii.h"
#include "tools/cli/display_text.h"

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
    if (Interrupted()) throw OwnFailure(Message::kInterrupted, {});
    if (text.ends_with('\n')) text.pop_back();
    if (text.ends_with('\r')) text.pop_back();
    return text;
}

std::string ReadPasswordFile(const std::string &path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0) {
        throw OwnFailure(Message::kPasswordFileUnreadable,
                         {.subject = path, .reason = std::strerror(errno)});
    }
    constexpr mode_t kOthers = S_IRGRP | S_IROTH | S_IWGRP | S_IWOTH;
    if ((status.st_mode & kOthers) != 0) {
        throw OwnFailure(Message::kPasswordFileOpen,
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
    if (reason != nullptr) throw OwnFailure(Message::kPasswordBad, {.reason = reason});
}

}  // namespace

std::string TakePassword(Streams &streams, const Invocation &invocation, std::string_view what) {
    std::string password;
    if (invocation.Has("password-stdin")) {
        password = ReadAll(STDIN_FILENO);
    } else if (const std::string *path = invocation.Find("password-file")) {
        password = ReadPasswordFile(*path);
    } else {
        if (!streams.CanAsk()) throw OwnFailure(Message::kPasswordNeeded, {});
        password = streams.Ask(fmt::format("Password for {}: ", OneLine(what)), /*echo=*/false);
        CheckPassword(password);
        if (streams.Ask("Repeat the password: ", /*echo=*/false) != password) {
            throw OwnFailure(Message::kPasswordMismatch, {});
        }
    }
    CheckPassword(password);
    return password;
}

size_t CharactersOf(const std::string &password) {
    return u8_mbsnlen(reinterpret_cast<const uint8_t *>(password.data()), password.size());
}

void CheckStrength(const std::string &password, std::string_view name) {
    constexpr size_t kLeast = 8;
    const size_t characters = CharactersOf(password);
    const char *reason = EqualIgnoringCase(password, name) ? "it is the user's name"
                         : characters < kLeast             ? "it has fewer than 8 characters"
                                                           : nullptr;
    if (reason != nullptr) throw OwnFailure(Message::kPasswordWeak, {.reason = reason});
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
            throw OwnFailure(Message::kNoRandom, {.reason = std::strerror(errno)});
        }
        if (byte < kFair) password += kCharacters[byte % kCharacters.size()];
    }
    return password;
}

std::string TakeUserPassword(Session &session, const std::string &name) {
    if (session.invocation.Has("random-password")) return RandomPassword();
    std::string password = TakePassword(session.streams, session.invocation, name);
    if (!session.invocation.Has("weak-password")) CheckStrength(password, name);
    return password;
}

void PrintRandomPassword(Session &session, const std::string &password) {
    if (session.invocation.Has("random-password") && !session.WantsJson())
        session.streams.Out(password + "\n");
}

}  // namespace zafo::cli
