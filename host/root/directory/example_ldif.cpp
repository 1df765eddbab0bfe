// SPDX-License-Identifier: Apache-2.0
//
// Writes the example directory as LDIF to standard output.
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "host/root/directory/example_directory.h"

namespace {

int Usage() {
    std::fputs("usage: zafo-example-ldif [--users N] [--full]\n", stderr);
    return 2;
}

bool ParseCount(std::string_view text, unsigned *count) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *count);
    return error == std::errc() && end == text.data() + text.size() && *count <= 10'000'000;
}

}  // namespace

int main(int argc, char **argv) {
    zafo::rig::ExampleOptions options;
    for (int at = 1; at < argc; ++at) {
        const std::string_view option = argv[at];
        if (option == "--full") {
            options.full = true;
        } else if (option == "--users" && at + 1 < argc &&
                   ParseCount(argv[at + 1], &options.users)) {
            ++at;
        } else {
            return Usage();
        }
    }
    zafo::rig::ForEachExampleEntry(options, [](const zafo::rig::LdifEntry &entry) {
        const std::string record = zafo::rig::LdifRecord(entry);
        std::fwrite(record.data(), 1, record.size(), stdout);
    });
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fprintf(stderr, "zafo-example-ldif: standard output: %s\n", std::strerror(errno));
        return 1;
    }
    return 0;
}
