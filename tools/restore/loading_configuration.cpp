// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/loading_configuration.h"

#include <fmt/format.h>

#include "base/directives.h"
#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

std::string WithoutSlashesAtEnd(std::string path) {
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    return path;
}

}  // namespace

std::string LoadingConfiguration(std::string_view text, const LoadingChange &change) {
    bool found = false;
    std::string result = Directives(text).Rewritten([&](const Directive &directive) {
        const std::string value = WithoutSlashesAtEnd(directive.Unquoted());
        if (directive.Is("rootpw")) return std::string();
        if (directive.Is("directory") && value == change.directory) {
            found = true;
            return fmt::format("directory \"{}\"\n", change.new_directory);
        }
        if (directive.Is("include") && value == change.include)
            return fmt::format("include \"{}\"\n", change.new_include);
        return directive.text;
    });
    if (!found)
        throw JobError(
            Exit::kSystem,
            fmt::format("the server's configuration has no database in {}", change.directory));
    return result;
}

}  // namespace zafo::backup
