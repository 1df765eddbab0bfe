// SPDX-License-Identifier: Apache-2.0
//
// zafo-bench-reader read N | count PLACE | list PLACE: a fresh process that reads N users, or
// counts or lists those of a place ("small", "large"), and prints their number and its peak memory
// without the lists, in KiB.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>

#include "bench/connection.h"
#include "zafoldap/browser.h"

namespace {

// As accounted by the kernel: VmHWM of "/proc/self/status".
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

int Read(int wanted) {
    const zafo::bench::Connection connection;
    // The users' numbers start at 20000.
    const std::string filter =
        "(&(uidNumber>=20000)(uidNumber<=" + std::to_string(20000 + wanted - 1) + "))";
    zafo::bench::Search search(connection, zafo::bench::kUsersBase, "one", filter.c_str());
    int entries = 0;
    while (search.Next() == 1)
        ++entries;
    return entries;
}

int Count(const zafo::bench::Place &place) {
    return ZAFOLDAPBrowserStatUGNum(zafo::bench::Connection(place).get(), "user");
}

// The size of the lists is excluded, since the caller requested them.
int ListAll(const zafo::bench::Place &place, long *lists_kib) {
    QLIBSZLIST *dns = QLIBCSzListAlloc(1024);
    QLIBSZLIST *names = QLIBCSzListAlloc(1024);
    if (dns == nullptr || names == nullptr) throw std::bad_alloc();
    const zafo::bench::Connection connection(place);
    const int entries = ZAFOLDAPBrowserUserEnumAll(connection.get(), &dns, &names);
    *lists_kib = static_cast<long>((dns->cbText + names->cbText) / 1024) +
                 static_cast<long>(sizeof(size_t)) * 2 * entries / 1024;
    QLIBCSzListFree(dns);
    QLIBCSzListFree(names);
    return entries;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 3) return 2;
    const std::string mode = argv[1];
    const auto &place = std::string(argv[2]) == "small" ? zafo::bench::kSmall : zafo::bench::kLarge;
    try {
        long lists_kib = 0;
        const int entries = mode == "read"    ? Read(std::atoi(argv[2]))
                            : mode == "count" ? Count(place)
                                              : ListAll(place, &lists_kib);
        std::printf("%d %ld\n", entries, PeakKiB() - lists_kib);
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "zafo-bench-reader: %s\n", error.what());
        return 1;
    }
}
