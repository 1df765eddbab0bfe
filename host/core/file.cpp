// SPDX-License-Identifier: Apache-2.0
#include "platform/file.h"

#include <syslog.h>

#include <algorithm>
#include <string>

#include "base/atomic_file.h"
#include "base/whole_file.h"
#include "host/core/fail.h"
#include "host/core/section_text.h"

namespace {

using zafo::Fail;
using zafo::OutOfMemoryIs;
using zafo::Pairs;
using zafo::SectionText;

// The changes to a section: keys to store and keys to remove.
struct Changes {
    Pairs set;
    std::vector<std::string> removed;
};

// The changes that turn `before` into `after`.
Changes Difference(const Pairs &before, const Pairs &after) {
    Changes changes;
    for (const auto &[key, value] : after) {
        const auto old = before.find(key);
        if (old == before.end() || old->second != value) changes.set.emplace(key, value);
    }
    for (const auto &[key, value] : before) {
        if (!after.contains(key)) changes.removed.push_back(key);
    }
    return changes;
}

bool AreKeys(const Pairs &pairs) {
    return std::all_of(pairs.begin(), pairs.end(),
                       [](const auto &pair) { return zafo::IsKey(pair.first); });
}

// Reads and parses a section file. Returns 0 or the platform error code; a missing file counts as
// empty.
int Load(const std::string &path, SectionText *sections) {
    std::string text;
    if (!zafo::ReadIfPresent(path, &text)) return QLIB_ERR_OPEN_FAILED;
    const zafo::Damage damage = sections->Parse(text);
    if (damage.reason == nullptr) return 0;
    syslog(LOG_ERR, "%s:%d damaged file [%s] line %d: %s\n", __FILE_NAME__, __LINE__, path.c_str(),
           damage.line, damage.reason);
    return QLIB_ERR_BAD_FORMAT;
}

// Changes a section file under its lock. Returns the result of `change`; the file is written only
// if its text has changed.
template <typename Change>
int Update(const char *path, Change change) {
    return OutOfMemoryIs(-1, [&] {
        zafo::FileUpdate update(path);
        if (update.Error() != 0) return Fail(QLIB_ERR_OPEN_FAILED);
        SectionText sections;
        if (const int error = Load(update.Path(), &sections); error != 0) return Fail(error);
        const std::string before = sections.Text();
        const int result = change(sections);
        if (result < 0) return result;
        const std::string after = sections.Text();
        if (after == before) return result;
        if (update.Replace(after) != 0) return Fail(QLIB_ERR_WRITE_FAILED);
        return result;
    });
}

// The changes to make when `hash` is stored in a section that holds the pairs `present`.
Changes ChangesOf(const QLIBSZHASH &hash, const char *file, const char *section,
                  const Pairs &present) {
    const bool loaded = hash.loaded && hash.loaded->file == file && hash.loaded->section == section;
    return Difference(loaded ? hash.loaded->pairs : present, hash.pairs);
}

}  // namespace

int QLIBCFileGetSection(const char *file, const char *section, QLIBSZHASH *hash) {
    if (file == nullptr || section == nullptr || hash == nullptr) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [=] {
        SectionText sections;
        if (const int error = Load(file, &sections); error != 0) return Fail(error);
        zafo::LoadedSection loaded{file, section, sections.Get(section)};
        Pairs merged = loaded.pairs;
        merged.insert(hash->pairs.begin(), hash->pairs.end());
        const int count = static_cast<int>(loaded.pairs.size());
        // Nothing below allocates: the map is filled completely or not at all.
        hash->pairs.swap(merged);
        hash->loaded = std::move(loaded);
        if (count == 0) QLIBCErrSet(QLIB_ERR_SECTION_NOT_FOUND);
        return count;
    });
}

int QLIBCFileAddSection(const char *file, const char *section, const QLIBSZHASH *hash, int flags) {
    if (file == nullptr || section == nullptr || !zafo::IsSectionName(section) || flags != 0 ||
        (hash != nullptr && !AreKeys(hash->pairs))) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return Update(file, [=](SectionText &sections) {
        if (!sections.Has(section)) sections.Add(section, hash ? hash->pairs : Pairs());
        return 0;
    });
}

int QLIBCFileSetSection(const char *file, const char *section, const char *new_name,
                        const QLIBSZHASH *hash, int flags) {
    if (file == nullptr || section == nullptr || hash == nullptr || flags != 0 ||
        !AreKeys(hash->pairs) || (new_name != nullptr && !zafo::IsSectionName(new_name))) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return Update(file, [=](SectionText &sections) {
        if (!sections.Has(section)) return Fail(QLIB_ERR_SECTION_NOT_FOUND);
        const bool renamed = new_name != nullptr && std::string_view(new_name) != section;
        if (renamed && sections.Has(new_name)) return Fail(QLIB_ERR_BAD_ARGUMENT);
        const Changes changes = ChangesOf(*hash, file, section, sections.Get(section));
        for (const std::string &key : changes.removed)
            sections.RemoveKey(section, key);
        for (const auto &[key, value] : changes.set)
            sections.Set(section, key, value);
        if (renamed) sections.Rename(section, new_name);
        return 0;
    });
}

int QLIBCFileGetPair(const char *file, QLIBSZHASH *hash) {
    if (file == nullptr || hash == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        std::string text;
        const int error = zafo::ErrorOf(zafo::ReadWhole(file, &text));
        if (error != QLIB_ERR_NONE) return Fail(error);
        Pairs pairs = zafo::PlainPairs(text);
        const int count = static_cast<int>(pairs.size());
        pairs.insert(hash->pairs.begin(), hash->pairs.end());
        hash->pairs.swap(pairs);
        return count;
    });
}

int QLIBCFileEnumSection(const char *file, QLIBSZLIST **list) {
    if (file == nullptr || list == nullptr || *list == nullptr) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [=] {
        SectionText sections;
        if (const int error = Load(file, &sections); error != 0) return Fail(error);
        const std::vector<std::string> names = sections.Names();
        for (const std::string &name : names) {
            if (QLIBCSzListPush(list, name.c_str()) != 0) return -1;
        }
        return static_cast<int>(names.size());
    });
}

int QLIBCFileRemoveSection(const char *file, const char *section) {
    if (file == nullptr || section == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return Update(file, [=](SectionText &sections) {
        if (!sections.Has(section)) return 0;
        sections.Remove(section);
        return 1;
    });
}
