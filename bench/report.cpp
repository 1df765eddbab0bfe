// SPDX-License-Identifier: Apache-2.0
//
// Formats the figures as the table of goals. Times are compared by their least: other work on the
// machine only ever adds to them.
#include "bench/report.h"

#include <sys/utsname.h>

#include <ctime>
#include <functional>
#include <stdexcept>
#include <thread>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "bench/scenarios.h"

namespace zafo::bench {

namespace {

constexpr double kMegabyte = 1e6;
constexpr double kMiB = 1024;  // in KiB

Row Ratio(std::string id, std::string work, std::string unit, double floor, double ours,
          double most) {
    const double ratio = ours / floor;
    return {std::move(id),
            std::move(work),
            std::move(unit),
            floor,
            ours,
            ratio,
            fmt::format("at most {:.3g} times", most),
            ratio <= most};
}

Row PeakGrowth(std::string id, const char *work, const Peak &few, const Peak &many) {
    const double growth = static_cast<double>(many.kib - few.kib) / kMiB;
    return {std::move(id),
            fmt::format("{}, {} and {}", work, few.entries, many.entries),
            "MiB",
            static_cast<double>(few.kib) / kMiB,
            static_cast<double>(many.kib) / kMiB,
            growth,
            "at most 1 MiB more",
            growth <= 1};
}

Row PeakItself(std::string id, const char *work, const Peak &many, double most) {
    if (many.kib == 0) throw std::out_of_range("no memory was measured");
    const double peak = static_cast<double>(many.kib) / kMiB;
    return {std::move(id),
            fmt::format("{}, {} entries", work, many.entries),
            "MiB",
            0,
            peak,
            peak,
            fmt::format("under {} MiB", most),
            peak < most};
}

Row Stop(const Samples &stop) {
    const double worst = stop.Most() * 1e3;
    return {"stop_after_first",
            fmt::format("stop after the first entry, worst (median {:.1f})", stop.Median() * 1e3),
            "ms",
            0,
            worst,
            worst,
            "under 20 ms",
            worst < 20};
}

Row Parse(const Samples &floor, const Samples &ours) {
    const double share = ours.bytes_per_second / floor.bytes_per_second;
    return {"parse",
            "parse a prepared answer from a pipe",
            "MB/s",
            floor.bytes_per_second / kMegabyte,
            ours.bytes_per_second / kMegabyte,
            share,
            "at least 0.5 of the rate",
            share >= 0.5};
}

// Comparison with another program that does the same; `package` contains it.
Row Peer(const Figures &figures, std::string id, std::string work, const char *peer,
         const char *ours, const char *package) {
    if (figures.All().count(peer) == 0) {
        return {.id = std::move(id),
                .work = std::move(work),
                .unit = "s",
                .ours = figures.Of(ours).Least(),
                .goal = fmt::format("{} is not installed", package),
                .measured = false};
    }
    return Ratio(std::move(id), std::move(work), "s", figures.Of(peer).Least(),
                 figures.Of(ours).Least(), 1.0);
}

std::string Machine() {
    utsname names{};
    uname(&names);
    return fmt::format("{} {}, {} processors", names.machine, names.release,
                       std::thread::hardware_concurrency());
}

}  // namespace

std::vector<Row> Rows(const Figures &figures, const Peaks &peaks, bool some) {
    const auto least = [&figures](const char *name) { return figures.Of(name).Least(); };
    const std::vector<std::function<Row()>> makers = {
        [&] {
            return Ratio("read_all", "read 100,000 users, all attributes", "s",
                         figures.Of(kReadFloor).Least(), figures.Of(kReadOurs).Least(), 1.0);
        },
        [&] {
            return PeakGrowth("memory_growth", "peak memory, entries", peaks.read_few,
                              peaks.read_many);
        },
        [&] { return PeakItself("memory_peak", "peak memory", peaks.read_many, 10); },
        [&] { return Stop(figures.Of(kStopOurs)); },
        [&] {
            return Ratio("base_search", "one base search", "ms",
                         figures.Of(kBaseFloor).Least() * 1e3, figures.Of(kBaseOurs).Least() * 1e3,
                         1.1);
        },
        [&] {
            return Ratio("spawn", "start a tool, small process and 1 GiB", "ms",
                         figures.Of(kSpawnSmall).Least() * 1e3,
                         figures.Of(kSpawnLarge).Least() * 1e3, 1.2);
        },
        [&] {
            return Ratio("secret", "start a tool, without and with a password", "ms",
                         figures.Of(kSecretFloor).Least() * 1e3,
                         figures.Of(kSecretOurs).Least() * 1e3, 1.2);
        },
        [&] { return Parse(figures.Of(kParseFloor), figures.Of(kParseOurs)); },
        [&] {
            return Ratio("count", "count 100,000 users", "s", least(kCountFloor), least(kCountOurs),
                         1.1);
        },
        [&] {
            return Ratio("list", "list 100,000 users, DN and name", "s", least(kListFloor),
                         least(kListOurs), 1.2);
        },
        [&] {
            return PeakGrowth("count_memory", "peak memory, counting", peaks.count_few,
                              peaks.count_many);
        },
        [&] {
            return PeakGrowth("list_memory", "peak memory, listing (no lists)", peaks.list_few,
                              peaks.list_many);
        },
        [&] {
            return Ratio("not_in_group", "not in a group, a user of 10,000 and 100,000", "us",
                         least(kNotInGroupMedium) / kMedium.users * 1e6,
                         least(kNotInGroupLarge) / kLarge.users * 1e6, 1.3);
        },
        [&] {
            return Ratio("look_up", "look up a name among 1,000 and 100,000", "ms",
                         least(kLookUpSmall) * 1e3, least(kLookUpLarge) * 1e3, 1.2);
        },
        [&] {
            return Ratio("user_list", "zafoldap user list, ldapsearch uid | cat", "s",
                         least(kUserListFloor), least(kUserListOurs), 1.2);
        },
        [&] {
            return Peer(figures, "user_list_smbldap", "zafoldap user list, smbldap-userlist",
                        kUserListSmbldap, kUserListOurs, "smbldap-tools");
        },
        [&] {
            return Peer(figures, "user_list_python", "zafoldap user list, python-ldap",
                        kUserListPython, kUserListOurs, "python3-ldap");
        },
        [&] {
            return Ratio("user_stat", "zafoldap stat users, ldapsearch dn | wc", "s",
                         least(kUserStatFloor), least(kUserStatOurs), 1.1);
        },
        [&] {
            return Ratio("create_user", "create a user, full Samba; the same tools alone", "ms",
                         least(kCreateFloor) * 1e3, least(kCreateOurs) * 1e3, 1.15);
        },
        [&] {
            return Peer(figures, "create_user_smbldap", "create a user; smbldap-useradd, -passwd",
                        kCreateSmbldap, kCreateOurs, "smbldap-tools");
        },
        [&] {
            return Peer(figures, "create_user_ldapscripts",
                        "create a user; ldapadduser, ldapsetpasswd", kCreateLdapscripts,
                        kCreateOurs, "ldapscripts");
        },
        [&] {
            return Ratio("free_number", "free number, per number used, 10,000 and 100,000", "us",
                         figures.Of(kNumberFew).Least() * 1e6 / kFewUsed,
                         figures.Of(kNumberMany).Least() * 1e6 / kManyUsed, 1.2);
        },
        [&] {
            return Ratio("enable_server", "the own server from nothing; the same tools alone", "s",
                         least(kEnableFloor), least(kEnableOurs), 1.1);
        },
        [&] {
            return Ratio("backup", "back up 100,000 entries; slapcat | zstd", "s",
                         least(kBackupFloor), least(kBackupOurs), 1.5);
        },
        [&] {
            return Ratio("restore", "restore 100,000 entries; slapadd -q", "s",
                         least(kRestoreFloor), least(kRestoreOurs), 2.5);
        },
        [&] {
            return PeakItself("backup_memory", "peak memory of backup and restore", peaks.backup,
                              64);
        },
        [&] {
            return Ratio("migrate_users", "migrate 500 users; 500 creations", "s",
                         least(kMigrateFloor), least(kMigrateOurs), 1.1);
        },
    };
    std::vector<Row> rows;
    for (const auto &make : makers) {
        try {
            rows.push_back(make());
        } catch (const std::out_of_range &) {
            if (!some) throw;
        }
    }
    return rows;
}

std::string Table(const std::vector<Row> &rows) {
    constexpr const char *kLine = "{:<49} {:>9} {:>9} {:<5} {:>7}  {:<24}  {}\n";
    std::string table =
        fmt::format(fmt::runtime(kLine), "work", "floor", "ours", "", "ratio", "goal", "reached");
    for (const Row &row : rows) {
        const bool has_floor = row.floor != 0;
        table += fmt::format(
            fmt::runtime(kLine), row.work, has_floor ? fmt::format("{:.2f}", row.floor) : "-",
            fmt::format("{:.2f}", row.ours), row.unit,
            has_floor ? fmt::format("{:.2f}", row.ours / row.floor) : "-", row.goal,
            !row.measured ? "-"
            : row.reached ? "yes"
                          : "NO");
    }
    return table;
}

std::string Json(const std::vector<Row> &rows, const Figures &figures) {
    nlohmann::ordered_json document;
    document["machine"] = Machine();
    document["time"] = static_cast<int64_t>(std::time(nullptr));
    for (const Row &row : rows) {
        nlohmann::ordered_json item = {{"id", row.id}, {"work", row.work}, {"unit", row.unit}};
        item["floor"] = row.floor != 0 ? nlohmann::ordered_json(row.floor) : nullptr;
        item["ours"] = row.ours;
        item["compared"] = row.compared;
        item["goal"] = row.goal;
        item["reached"] = row.measured ? nlohmann::ordered_json(row.reached) : nullptr;
        document["rows"].push_back(item);
    }
    for (const auto &[name, samples] : figures.All())
        document["seconds"][name] = samples.seconds;
    return document.dump(2) + '\n';
}

}  // namespace zafo::bench
