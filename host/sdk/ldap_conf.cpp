// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "base/atomic_file.h"
#include "base/directives.h"
#include "base/server_account.h"
#include "base/whole_file.h"
#include "host/core/copy_out.h"
#include "host/core/szhash.h"
#include "host/sdk/template_values.h"
#include "platform/ldap.h"

namespace {

using zafo::Directives;
using zafo::Fail;
using zafo::OutOfMemoryIs;
using zafo::ReadResult;

// The text to start from: the file's own, if it is to be kept and exists, else the template's; and
// the template, for its placeholders. Returns 0 or a platform error code.
struct Base {
    std::string text;
    std::string pattern;
};

int ReadBase(const std::string &conf, const char *pattern, bool keep, Base *base) {
    const ReadResult own = keep ? zafo::ReadWhole(conf, &base->text) : ReadResult::kAbsent;
    const ReadResult read = zafo::ReadWhole(pattern, &base->pattern);
    if (own == ReadResult::kDone) return 0;  // the file alone is enough
    if (own != ReadResult::kAbsent || read != ReadResult::kDone) return QLIB_ERR_OPEN_FAILED;
    base->text = base->pattern;
    return 0;
}

std::string WithValues(const Base &base, const zafo::Pairs &values) {
    const Directives before(base.text);
    Directives after(base.text);
    for (const auto &[key, value] : values)
        after.Set(key, value);
    if (base.text == base.pattern) return zafo::FillIn(after.Text(), after);
    return zafo::FillInAgain(after.Text(), base.pattern, before, after);
}

int Write(const char *path, const char *pattern, bool keep, const zafo::Pairs &values) {
    const bool valid = std::all_of(values.begin(), values.end(), [](const auto &pair) {
        return zafo::IsDirective(pair.first, pair.second);
    });
    if (!valid) return Fail(QLIB_ERR_BAD_ARGUMENT);
    zafo::FileUpdate update(path);
    if (update.Error() != 0) return Fail(QLIB_ERR_OPEN_FAILED);
    // The file holds the directory administrator's password.
    update.MakePrivate();
    if (const std::optional<gid_t> group = zafo::ServerGroup()) update.LetRead(*group);
    Base base;
    if (const int error = ReadBase(update.Path(), pattern, keep, &base); error != 0) {
        return Fail(error);
    }
    return update.Replace(WithValues(base, values)) == 0 ? 0 : Fail(QLIB_ERR_WRITE_FAILED);
}

}  // namespace

int ZAFOLDAPInfoGetFromConf(const char *conf, const char *key, char *buffer, size_t size) {
    if (conf == nullptr || key == nullptr || *key == '\0' || buffer == nullptr) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [=] {
        std::string text;
        const int error = zafo::ErrorOf(zafo::ReadWhole(conf, &text));
        if (error != QLIB_ERR_NONE) return Fail(error);
        const std::optional<std::string> value = Directives(text).Get(key);
        if (!value) return 0;
        return zafo::CopyOut(*value, buffer, size) == 0 ? 1 : -1;
    });
}

int ZAFOLDAPConfSet(const char *conf, const char *pattern, const QLIBSZHASH *hash, int flags) {
    if (conf == nullptr || pattern == nullptr || hash == nullptr || flags != 0) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [=] { return Write(conf, pattern, false, hash->pairs); });
}

int ZAFOLDAPConfSetOne(const char *conf, const char *pattern, const char *key, const char *value,
                       int flags) {
    if (conf == nullptr || pattern == nullptr || key == nullptr || value == nullptr || flags != 0) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [=] { return Write(conf, pattern, true, {{key, value}}); });
}

int ZAFOLDAPGenTmpConf(const char *conf, int flags, char *path, size_t size) {
    if (conf == nullptr || path == nullptr || flags != 0) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        std::string name = std::string(conf) + ".XXXXXX";
        if (name.size() >= size) return Fail(QLIB_ERR_BUFFER_TOO_SMALL);
        const zafo::UniqueFd file(mkostemp(name.data(), O_CLOEXEC));
        if (!file.IsOpen()) return Fail(QLIB_ERR_OPEN_FAILED);
        const std::optional<gid_t> group = zafo::ServerGroup();
        if (group && fchown(file.Get(), static_cast<uid_t>(-1), *group) == 0 &&
            fchmod(file.Get(), 0640) != 0) {
            unlink(name.c_str());
            return Fail(QLIB_ERR_OPEN_FAILED);
        }
        return zafo::CopyOut(name, path, size);
    });
}
