// SPDX-License-Identifier: Apache-2.0
//
// Arbitrary section files. The input's first three lines are a section, a key and a value to store;
// the rest is the file.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/check.h"
#include "host/core/szhash.h"
#include "platform/error.h"
#include "platform/file.h"

namespace {

using Sections = std::map<std::string, zafo::Pairs>;

struct FreeMap {
    void operator()(QLIBSZHASH *map) const { QLIBCSzHashFree(map); }
};
using Map = std::unique_ptr<QLIBSZHASH, FreeMap>;

const std::string &Path() {
    static const std::string path =
        "/tmp/fuzz_section_file." + std::to_string(getpid()) + "/file.conf";
    static const bool made =
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    CHECK(made || !path.empty());
    return path;
}

void WriteFile(std::string_view text) {
    std::ofstream(Path(), std::ios::binary | std::ios::trunc) << text;
}

std::string ReadFile() {
    std::ifstream file(Path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A line of the input without zero bytes, since the interface takes C strings.
std::string TakeLine(std::string_view *text) {
    const size_t end = text->find('\n');
    std::string line(text->substr(0, end));
    text->remove_prefix(end == std::string_view::npos ? text->size() : end + 1);
    return line.substr(0, line.find('\0'));
}

Map SectionMap(const std::string &section, int *count) {
    Map map(QLIBCSzHashAlloc(1));
    *count = QLIBCFileGetSection(Path().c_str(), section.c_str(), map.get());
    return map;
}

// Reads the whole file; false if it is damaged.
bool ReadSections(Sections *sections) {
    sections->clear();
    QLIBSZLIST *names = QLIBCSzListAlloc(1);
    const int found = QLIBCFileEnumSection(Path().c_str(), &names);
    if (found < 0) CHECK(QLIBCErrGet() == QLIB_ERR_BAD_FORMAT);
    CHECK(found < 0 || names->nItem == found);
    for (int i = 0; i < found; ++i) {
        const std::string name = QLIBCSzListGet(names, i);
        int count = 0;
        const Map map = SectionMap(name, &count);
        CHECK(count >= 0 && map->pairs.size() == static_cast<size_t>(count));
        CHECK(sections->emplace(name, map->pairs).second);
    }
    QLIBCSzListFree(names);
    return found >= 0;
}

// The "#" and ";" lines, unchanged and in order.
std::vector<std::string> Comments(std::string_view text) {
    std::vector<std::string> comments;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        const size_t first = line.find_first_not_of(" \t\r\v\f");
        if (first != std::string_view::npos && (line[first] == '#' || line[first] == ';'))
            comments.emplace_back(line);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return comments;
}

// Stores one pair in an existing section.
void CheckSet(const Sections &before, const std::string &section, const std::string &key,
              const std::string &value) {
    const std::string text = ReadFile();
    int count = 0;
    const Map map = SectionMap(section, &count);
    CHECK(QLIBCSzHashSetValue(map.get(), key.c_str(), value.c_str()) == 0);
    const int result = QLIBCFileSetSection(Path().c_str(), section.c_str(), nullptr, map.get(), 0);
    if (result != 0) {
        CHECK(QLIBCErrGet() == QLIB_ERR_BAD_ARGUMENT && ReadFile() == text);
        return;
    }
    Sections expected = before;
    expected[section][key] = value;
    Sections after;
    CHECK(ReadSections(&after) && after == expected);
    CHECK(Comments(ReadFile()) == Comments(text));
}

void CheckAdd(const Sections &before, const std::string &section, const std::string &key,
              const std::string &value) {
    const std::string text = ReadFile();
    const Map map(QLIBCSzHashAlloc(1));
    CHECK(QLIBCSzHashSetValue(map.get(), key.c_str(), value.c_str()) == 0);
    if (QLIBCFileAddSection(Path().c_str(), section.c_str(), map.get(), 0) != 0) {
        CHECK(QLIBCErrGet() == QLIB_ERR_BAD_ARGUMENT && ReadFile() == text);
        return;
    }
    Sections expected = before;
    expected[section][key] = value;
    Sections after;
    CHECK(ReadSections(&after) && after == expected);
    CHECK(Comments(ReadFile()) == Comments(text));

    CHECK(QLIBCFileRemoveSection(Path().c_str(), section.c_str()) == 1);
    CHECK(ReadSections(&after) && after == before);
}

void CheckDamagedStays(const std::string &text, const std::string &section,
                       const std::string &key) {
    const Map map(QLIBCSzHashAlloc(1));
    CHECK(QLIBCSzHashSetValue(map.get(), "key", key.c_str()) == 0);
    const char *path = Path().c_str();
    CHECK(QLIBCFileGetSection(path, section.c_str(), map.get()) == -1);
    CHECK(QLIBCFileSetSection(path, section.c_str(), nullptr, map.get(), 0) == -1);
    CHECK(QLIBCFileAddSection(path, section.c_str(), map.get(), 0) == -1);
    CHECK(QLIBCFileRemoveSection(path, section.c_str()) == -1);
    CHECK(ReadFile() == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view input(reinterpret_cast<const char *>(data), size);
    const std::string section = TakeLine(&input);
    const std::string key = TakeLine(&input);
    const std::string value = TakeLine(&input);
    WriteFile(input);
    Sections sections;
    if (!ReadSections(&sections)) {
        CheckDamagedStays(std::string(input), section, key);
    } else if (sections.contains(section)) {
        CheckSet(sections, section, key, value);
    } else {
        CheckAdd(sections, section, key, value);
    }
    const Map map(QLIBCSzHashAlloc(1));
    CHECK(QLIBCFileGetPair(Path().c_str(), map.get()) == static_cast<int>(map->pairs.size()));
    return 0;
}
