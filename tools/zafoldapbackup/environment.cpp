// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapbackup/environment.h"

#include <charconv>
#include <cstdlib>
#include <limits>
#include <string_view>

#include <fmt/format.h>

#include "tools/backup/backup_folder.h"
#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

constexpr std::uint64_t kKeepDefault = 10;

void Take(const char *variable, std::string *value) {
    const char *text = std::getenv(variable);
    if (text != nullptr && *text != '\0') *value = text;
}

}  // namespace

Environment ReadEnvironment() {
    Environment environment;
    Take("LDAP_BROWSER_CONF", &environment.browser_conf);
    Take("LDAP_BKP_PROGRESS_FILE", &environment.progress_file);
    Take("LDAP_BKP_PREFIX", &environment.prefix);
    Take("LDAP_BKP_TASK", &environment.task);
    Take("LDAP_BKP_DEST_DIR", &environment.folder);
    environment.keep = KeepFrom(std::getenv("LDAP_BKP_MAX_BACKUP_FILE"));
    if (!IsPrefix(environment.prefix))
        throw JobError(Exit::kSystem,
                       fmt::format("LDAP_BKP_PREFIX: \"{}\" cannot begin a file name",
                                   OneLine(environment.prefix)));
    return environment;
}

std::uint64_t KeepFrom(const char *text) {
    const std::string_view digits = text != nullptr ? text : "";
    std::uint64_t number = 0;
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    // A number too large to represent means no limit.
    if (parsed.ec == std::errc::result_out_of_range)
        return std::numeric_limits<std::uint64_t>::max();
    if (parsed.ec != std::errc() || parsed.ptr != digits.data() + digits.size() || number == 0)
        return kKeepDefault;
    return number;
}

}  // namespace zafo::backup
