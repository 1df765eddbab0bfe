// SPDX-License-Identifier: Apache-2.0
//
// zafo-bench-reader N: a fresh process that reads N users and says how many
// came and the most memory it ever held, in KiB.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>

#include "bench/connection.h"

namespace {

// The kernel's own account: VmHWM of "/proc/self/status".
long PeakKiB() {
    const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen("/proc/self/status", "re"),
                                                      std::fclose);
    char line[256];
    long peak = -1;
    while (file && std::fgets(line, sizeof line, file.get()) != nullptr) {
        if (std::sscanf(line, "VmHWM: %ld kB", &peak) == 1) break;
    }
    return peak;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) return 2;
    const int wanted = std::atoi(argv[1]);
    try {
        const zafo::bench::Connection connection;
        // The users' numbers begin at 20000.
        const std::string filter =
            "(&(uidNumber>=20000)(uidNumber<=" + std::to_string(20000 + wanted - 1) + "))";
        zafo::bench::Search search(connection, zafo::bench::kUsersBase, "one", filter.c_str());
        int entries = 0;
        while (search.Next() == 1)
            ++entries;
        std::printf("%d %ld\n", entries, PeakKiB());
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "zafo-bench-reader: %s\n", error.what());
        return 1;
    }
}
