// SPDX-License-Identifier: Apache-2.0
#include "host/front/vector.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "base/appliance_paths.h"
#include "base/lines.h"
#include "base/unique_fd.h"
#include "host/front/failure.h"
#include "host/front/option.h"
#include "host/front/secret_file.h"
#include "host/front/text_file.h"

namespace zafo::front {

namespace {

constexpr const char *kLimitsFile = "/usr/zafo/etc/tools.conf";
constexpr unsigned kLongestLimit = 86400;
constexpr unsigned kLargestAnswer = 1 << 20;  // MiB

// The appliance's own authority, and any that its administrator added, before the system's.
constexpr const char *kTrustFiles[] = {kAuthority, "/etc/ssl/certs/ca-certificates.crt"};

// Moves a secret from the front's own arguments, which everyone can read, to a file that only the
// tool can open; returns its name. The descriptor stays open for the tool.
const char *MoveToFile(char *secret) {
    UniqueFd file = MakeSecretFile("secret", secret, STDERR_FILENO + 1);
    explicit_bzero(secret, std::strlen(secret));
    if (!file.IsOpen() || fcntl(file.Get(), F_SETFD, 0) != 0) {
        Fail(kRefused, "cannot create a file for a password", errno);
    }
    return Join("/dev/fd/", static_cast<unsigned>(file.Release()));
}

// "-Z" continues in clear text with a server that lacks StartTLS; "-ZZ" does not.
void MakeStrict(Option &option, Vector &out) {
    const char *end = option.letter;
    char *to = option.flags;
    bool found = false;
    for (char *from = option.flags; *from != '\0'; from++) {
        if ((end == nullptr || from < end) && *from == 'Z') {
            found = true;
            continue;
        }
        if (from == end) option.letter = to;
        *to++ = *from;
    }
    *to = '\0';
    if (!found) return;
    if (option.value != nullptr && !option.value_is_next) option.value = option.letter + 1;
    out.Add("-ZZ");
}

// The user that the tool runs as may not open the file, not even through
// "/dev/fd", which checks permissions anew: it becomes standard input. The tool reports one that
// cannot be opened.
bool BecomesInput(const Tool &tool, const Option &option) {
    if (option.letter == nullptr || *option.letter != tool.input) return false;
    const int fd = open(option.value, O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) return false;
    const bool done = dup2(fd, STDIN_FILENO) == STDIN_FILENO;
    if (fd != STDIN_FILENO) close(fd);
    return done;
}

void AddRewritten(const Tool &tool, char *argument, Option option, Vector &out) {
    if (tool.family == Family::kClient) MakeStrict(option, out);
    const char replacement = option.value == nullptr ? '\0' : FileLetter(tool, *option.letter);
    if (replacement != '\0') {
        const char *file = MoveToFile(option.value);
        *option.letter = '\0';
        if (*option.flags != '\0') out.Add(argument);
        const char from_file[] = {'-', replacement, '\0'};
        out.Add(Join(from_file, ""));
        out.Add(file);
        return;
    }
    if (option.value != nullptr && BecomesInput(tool, option)) {
        *option.letter = '\0';
        if (*option.flags != '\0') out.Add(argument);
        return;
    }
    if (*option.flags != '\0') out.Add(argument);
    if (option.value != nullptr && option.value_is_next) out.Add(option.value);
}

bool IsReadable(const char *path) {
    const UniqueFd fd(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat facts {};
    return fd.IsOpen() && fstat(fd.Get(), &facts) == 0 &&
           (S_ISREG(facts.st_mode) || S_ISCHR(facts.st_mode));
}

// OpenSSL 3 prints no number at all if one file of the list cannot be read, and treats the "file:"
// of older versions as a name.
void AddReadableFiles(std::string_view list, Vector &out) {
    constexpr std::string_view kScheme = "file:";
    if (list.starts_with(kScheme)) list.remove_prefix(kScheme.size());
    // Nothing grows: the list is copied once and shrinks in place.
    char *kept = Join(list, ":");
    size_t size = 0;
    while (!list.empty()) {
        const std::string_view item = TakeField(&list, ':');
        std::memcpy(kept + size, item.data(), item.size());
        kept[size + item.size()] = '\0';
        if (!IsReadable(kept + size)) continue;
        size += item.size();
        kept[size++] = ':';
    }
    if (size == 0) {
        std::free(kept);
        return;
    }
    kept[size - 1] = '\0';
    out.Add("-rand");
    out.Add(kept);
}

template <typename Value>
void AddOption(Vector &out, const char *name, Value value) {
    out.Add("-o");
    out.Add(Join(name, value));
}

}  // namespace

char *Join(std::string_view head, std::string_view tail) {
    auto *text = static_cast<char *>(std::calloc(1, head.size() + tail.size() + 1));
    if (text == nullptr) Fail(kRefused, "no memory");
    std::memcpy(text, head.data(), head.size());
    std::memcpy(text + head.size(), tail.data(), tail.size());
    return text;
}

const char *Join(std::string_view head, unsigned number) {
    char digits[12];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, number);
    return Join(head, std::string_view(digits, static_cast<size_t>(end - digits)));
}

Vector::Vector(size_t capacity)
    : items_(static_cast<char **>(std::calloc(capacity + 1, sizeof *items_))), capacity_(capacity) {
    if (items_ == nullptr) Fail(kRefused, "no memory");
}

Vector::~Vector() {
    std::free(items_);
}

void Vector::Add(const char *argument) {
    if (size_ == capacity_) Fail(kRefused, "too many arguments");
    // execve takes pointers to plain characters and writes to none of them.
    items_[size_++] = const_cast<char *>(argument);
}

void Vector::Add(const Vector &other) {
    for (size_t i = 0; i < other.size_; i++)
        Add(other.items_[i]);
}

void Rewrite(const Tool &tool, int argc, char **argv, Vector &out) {
    for (int i = 1; i < argc; i++) {
        char *argument = argv[i];
        if (EndsOptions(argument)) {
            while (i < argc)
                out.Add(argv[i++]);
            return;
        }
        if (!HoldsOptions(argument)) {
            out.Add(argument);
            continue;
        }
        const Option option = ReadOption(tool, argument, argv[i + 1]);
        if (option.value_is_next) i++;
        AddRewritten(tool, argument, option, out);
    }
}

void RewriteRandom(int argc, char **argv, Vector &out) {
    const bool random = argc > 1 && std::strcmp(argv[1], "rand") == 0;
    for (int i = 1; i < argc; i++) {
        if (!random || std::strcmp(argv[i], "-rand") != 0 || i + 1 == argc) {
            out.Add(argv[i]);
            continue;
        }
        AddReadableFiles(argv[++i], out);
    }
}

Limits ReadLimits() {
    Limits limits;
    const TextFile file(kLimitsFile);
    for (std::string_view rest = file.Text(); !rest.empty();) {
        std::string_view line = TakeLine(&rest);
        const std::string_view key = TakeWord(&line);
        unsigned number = 0;
        if (!ParseNumber(TakeWord(&line), number) || number == 0) continue;
        if (key == "answer_size" && number <= kLargestAnswer) limits.size = number;
        if (number > kLongestLimit) continue;
        if (key == "timeout") limits.answer = number;
        if (key == "network_timeout") limits.network = number;
        if (key == "answer_time") limits.whole_answer = number;
    }
    return limits;
}

void AddClientOptions(const Tool &tool, const Limits &limits, Vector &out) {
    if (tool.name == "ldapsearch") AddOption(out, "ldif-wrap=", "no");
    for (const char *file : kTrustFiles) {
        if (access(file, F_OK) != 0) continue;
        AddOption(out, "TLS_CACERT=", file);
        break;
    }
    AddOption(out, "TLS_REQCERT=", "demand");
    // By default libldap accepts the common name if no alternative name matches (RFC 6125 section
    // 6.4.4 forbids it). "demand" would refuse certificates that have only a common name as well.
    AddOption(out, "TLS_REQSAN=", "try");
    AddOption(out, "TIMEOUT=", limits.answer);
    AddOption(out, "NETWORK_TIMEOUT=", limits.network);
}

}  // namespace zafo::front
