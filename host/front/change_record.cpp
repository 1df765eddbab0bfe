// SPDX-License-Identifier: Apache-2.0
#include "host/front/change_record.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/ascii.h"
#include "base/lines.h"
#include "base/unique_fd.h"

namespace zafo::front {

namespace {

constexpr std::string_view kOptionalKinds[] = {
    "automountKey=", "automountMapName=", "sambaDomainName="};
constexpr std::string_view kDefaultGroups[] = {"cn=Directory Operators,cn=groups,",
                                               "cn=administrators,cn=groups,"};

// Removes a prefix; false, removing nothing, when the text lacks it.
bool Cut(std::string_view &text, std::string_view beginning) {
    if (!StartsWithIgnoringCase(text, beginning)) return false;
    text.remove_prefix(beginning.size());
    return true;
}

// The same for a line: returns its value. Nothing when the next line has another name.
std::string_view CutValue(std::string_view &rest, std::string_view name) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    if (!Cut(line, name) || !Cut(line, ": ")) return {};
    TakeLine(&rest);
    return line;
}

bool CutLine(std::string_view &rest, std::string_view wanted) {
    if (rest.substr(0, rest.find('\n')) != wanted) return false;
    TakeLine(&rest);
    return true;
}

}  // namespace

bool IsOfOptionalKind(std::string_view dn) {
    for (const std::string_view kind : kOptionalKinds) {
        if (StartsWithIgnoringCase(dn, kind)) return true;
    }
    return false;
}

ChangeRecord::ChangeRecord(const char *path) {
    const UniqueFd fd(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!fd.IsOpen()) return;
    struct stat facts {};
    const bool is_file = fstat(fd.Get(), &facts) == 0 && S_ISREG(facts.st_mode);
    const ssize_t n = is_file ? read(fd.Get(), text_, sizeof text_) : 0;
    if (n <= 0 || n == sizeof text_) return;
    record_ = {text_, static_cast<size_t>(n)};
    while (record_.ends_with('\n'))
        record_.remove_suffix(1);
    if (record_.find("\n\n") != record_.npos || record_.find("\n ") != record_.npos) record_ = {};
}

bool ChangeRecord::IsSwap() const {
    std::string_view rest = record_;
    if (CutValue(rest, "dn").empty() || CutValue(rest, "changetype") != "modify") return false;
    const std::string_view attribute = CutValue(rest, "delete");
    return !attribute.empty() && !CutValue(rest, attribute).empty() && CutLine(rest, "-") &&
           CutValue(rest, "add") == attribute && !CutValue(rest, attribute).empty() &&
           (rest.empty() || rest == "-");
}

bool ChangeRecord::AddsOptionalEntry() const {
    std::string_view rest = record_;
    if (!IsOfOptionalKind(CutValue(rest, "dn"))) return false;
    const std::string_view type = CutValue(rest, "changetype");
    return type.empty() || type == "add";
}

bool ChangeRecord::JoinsDefaultGroup() const {
    std::string_view rest = record_;
    const std::string_view dn = CutValue(rest, "dn");
    bool is_default = false;
    for (const std::string_view group : kDefaultGroups)
        is_default = is_default || StartsWithIgnoringCase(dn, group);
    if (!is_default || CutValue(rest, "changetype") != "modify") return false;
    if (CutValue(rest, "add") != "memberUid" || CutValue(rest, "memberUid") != "admin" ||
        !CutLine(rest, "-")) {
        return false;
    }
    return CutValue(rest, "add") == "member" &&
           StartsWithIgnoringCase(CutValue(rest, "member"), "uid=admin,cn=users,") &&
           (rest.empty() || rest == "-");
}

}  // namespace zafo::front
