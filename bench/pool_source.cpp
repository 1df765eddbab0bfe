// SPDX-License-Identifier: Apache-2.0
//
// Replaces ldapsearch and ldapmodify when a number is allocated: the numbers 1 to $ZAFO_BENCH_USED
// are taken, in no particular order, and the counter is at 1.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "bench/places.h"

namespace {

constexpr unsigned long kStep = 7919;  // coprime to the counts of users

std::string Entry(std::string_view name, unsigned long number) {
    std::string entry("dn: uid=");
    entry.append(name).append(",").append(zafo::bench::kUsersBase);
    return entry.append("\nuidNumber: ").append(std::to_string(number)).append("\n\n");
}

std::string AllNumbers(unsigned long used) {
    std::string answer;
    for (unsigned long i = 0; i < used; ++i) {
        const unsigned long number = i * kStep % used + 1;
        answer += Entry("user" + std::to_string(number), number);
    }
    return answer;
}

bool Has(const std::vector<std::string_view> &words, std::string_view beginning) {
    for (const std::string_view word : words) {
        if (word.starts_with(beginning)) return true;
    }
    return false;
}

std::string Answer(const std::vector<std::string_view> &words, unsigned long used) {
    if (Has(words, "-f")) return "";  // a change, which the server accepts
    if (Has(words, "cn=MaxID,")) return Entry("MaxID", 4294967295UL);
    const bool counter = Has(words, "cn=CurID,") || Has(words, "cn=MinID,");
    if (counter || Has(words, "(&")) return Entry("one", 1);
    const int fd =
        open(zafo::bench::kWholeSearches, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fd < 0 || write(fd, "x", 1) != 1) std::exit(1);
    return AllNumbers(used);
}

}  // namespace

int main(int argc, char **argv) {
    const char *used = std::getenv("ZAFO_BENCH_USED");
    if (used == nullptr) return 1;
    const std::vector<std::string_view> words(argv + 1, argv + argc);
    const std::string answer = Answer(words, std::strtoul(used, nullptr, 10));
    for (std::string_view rest = answer; !rest.empty();) {
        const ssize_t n = write(STDOUT_FILENO, rest.data(), rest.size());
        if (n <= 0) return 1;
        rest.remove_prefix(static_cast<size_t>(n));
    }
    return 0;
}
