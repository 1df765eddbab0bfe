// SPDX-License-Identifier: Apache-2.0
#include "tests/seam/seam.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <map>
#include <memory>

#include "platform/ldap.h"
#include "platform/process.h"
#include "platform/share.h"

namespace zafo::seam_test {

Hooks g_hooks;

namespace {

template <typename Function>
Function *Next(Function *, const char *name) {
    static std::map<std::string, void *> known;
    void *&next = known[name];
    if (next == nullptr) next = dlsym(RTLD_NEXT, name);
    return reinterpret_cast<Function *>(next);
}

#define REAL(name) ::zafo::seam_test::Next(&(name), #name)

// A tool that consists only of its output stream.
struct Script {
    std::vector<Reading> steps;
    int status = 0;
    int *reads = nullptr;
};

std::map<FILE *, int> &Scripted() {
    static std::map<FILE *, int> statuses;
    return statuses;
}

ssize_t Read(void *cookie, char *buffer, size_t size) {
    Script &script = *static_cast<Script *>(cookie);
    if (script.reads != nullptr) ++*script.reads;
    if (script.steps.empty()) return 0;
    Reading step = script.steps.front();
    if (const int *error = std::get_if<int>(&step)) {
        script.steps.erase(script.steps.begin());
        errno = *error;
        return -1;
    }
    auto &text = std::get<std::string>(script.steps.front());
    const size_t some = std::min(size, text.size());
    std::memcpy(buffer, text.data(), some);
    text.erase(0, some);
    if (text.empty()) script.steps.erase(script.steps.begin());
    return static_cast<ssize_t>(some);
}

int Close(void *cookie) {
    delete static_cast<Script *>(cookie);
    return 0;
}

Texts Words(const char *path, const char *first, va_list more) {
    Texts words = {path};
    for (const char *word = first; word != nullptr; word = va_arg(more, const char *))
        words.emplace_back(word);
    return words;
}

std::vector<char *> Vector(Texts &words) {
    std::vector<char *> pointers;
    for (std::string &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

FILE *Open(Texts words, const char *mode) {
    return g_hooks.open ? g_hooks.open(words, mode) : RealOpen(words, mode);
}

}  // namespace

QLIBSZLIST *RealListAlloc(int capacity) {
    return REAL(QLIBCSzListAlloc)(capacity);
}

int RealListPush(QLIBSZLIST **list, const char *text) {
    return REAL(QLIBCSzListPush)(list, text);
}

const char *RealListGet(const QLIBSZLIST *list, int index) {
    return REAL(QLIBCSzListGet)(list, index);
}

int RealListSub(QLIBSZLIST *list, const QLIBSZLIST *other, int flags) {
    return REAL(QLIBCSzListSub)(list, other, flags);
}

QLIBSZHASH *RealMapAlloc(int capacity) {
    return REAL(QLIBCSzHashAlloc)(capacity);
}

FILE *RealOpen(const Texts &words, const std::string &mode) {
    Texts own = words;
    return REAL(QLIBCPopenv)(words[0].c_str(), mode.c_str(), Vector(own).data());
}

FILE *ToolSaying(std::vector<Reading> steps, int status, int *reads) {
    auto script = std::make_unique<Script>(Script{std::move(steps), status, reads});
    cookie_io_functions_t functions{};
    functions.read = Read;
    functions.close = Close;
    FILE *stream = fopencookie(script.get(), "r", functions);
    if (stream == nullptr) return nullptr;
    static_cast<void>(script.release());
    Scripted()[stream] = status;
    return stream;
}

std::function<QLIBSZLIST *(int)> NoListAt(int nth) {
    return [left = nth](int capacity) mutable {
        return --left == 0 ? nullptr : RealListAlloc(capacity);
    };
}

std::function<int(QLIBSZLIST **, const char *)> NoPushAt(int nth) {
    return [left = nth](QLIBSZLIST **list, const char *text) mutable {
        return --left == 0 ? -1 : RealListPush(list, text);
    };
}

}  // namespace zafo::seam_test

// --- In front of the platform ----------------------------------------------------------------

#define SEAM extern "C" __attribute__((visibility("default")))

using zafo::seam_test::g_hooks;

SEAM QLIBSZLIST *QLIBCSzListAlloc(int capacity) {
    if (g_hooks.list_alloc) return g_hooks.list_alloc(capacity);
    return zafo::seam_test::RealListAlloc(capacity);
}

SEAM int QLIBCSzListPush(QLIBSZLIST **list, const char *text) {
    if (g_hooks.list_push) return g_hooks.list_push(list, text);
    return zafo::seam_test::RealListPush(list, text);
}

SEAM int QLIBCSzListInsert(QLIBSZLIST **list, int index, const char *text) {
    if (g_hooks.list_insert) return g_hooks.list_insert(list, index, text);
    return REAL(QLIBCSzListInsert)(list, index, text);
}

SEAM const char *QLIBCSzListGet(const QLIBSZLIST *list, int index) {
    if (g_hooks.list_get) return g_hooks.list_get(list, index);
    return zafo::seam_test::RealListGet(list, index);
}

SEAM int QLIBCSzListSub(QLIBSZLIST *list, const QLIBSZLIST *other, int flags) {
    if (g_hooks.list_sub) return g_hooks.list_sub(list, other, flags);
    return zafo::seam_test::RealListSub(list, other, flags);
}

SEAM int QLIBCSzListPop(QLIBSZLIST *list) {
    if (g_hooks.list_pop) return g_hooks.list_pop(list);
    return REAL(QLIBCSzListPop)(list);
}

SEAM int QLIBCSzListRemoveAll(QLIBSZLIST *list) {
    if (g_hooks.list_remove_all) return g_hooks.list_remove_all(list);
    return REAL(QLIBCSzListRemoveAll)(list);
}

SEAM int QLIBCSzListSortItems(QLIBSZLIST *list, int flags) {
    if (g_hooks.list_sort) return g_hooks.list_sort(list);
    return REAL(QLIBCSzListSortItems)(list, flags);
}

SEAM QLIBSZHASH *QLIBCSzHashAlloc(int capacity) {
    if (g_hooks.map_alloc) return g_hooks.map_alloc(capacity);
    return zafo::seam_test::RealMapAlloc(capacity);
}

SEAM int QLIBCSzHashSetValue(QLIBSZHASH *map, const char *key, const char *value) {
    if (g_hooks.map_set) return g_hooks.map_set(map, key, value);
    return REAL(QLIBCSzHashSetValue)(map, key, value);
}

SEAM FILE *QLIBCPopen(const char *path, const char *mode, ...) {
    va_list more;
    va_start(more, mode);
    const zafo::seam_test::Texts words =
        zafo::seam_test::Words(path, va_arg(more, const char *), more);
    va_end(more);
    return zafo::seam_test::Open(words, mode);
}

SEAM FILE *QLIBCPopenv(const char *path, const char *mode, char *const argv[]) {
    zafo::seam_test::Texts words = {path};
    for (int i = 1; argv[i] != nullptr; ++i)
        words.emplace_back(argv[i]);
    return zafo::seam_test::Open(words, mode);
}

SEAM int QLIBCPclose(FILE *stream) {
    auto &scripted = zafo::seam_test::Scripted();
    const auto found = scripted.find(stream);
    if (found == scripted.end()) return REAL(QLIBCPclose)(stream);
    const int status = found->second;
    scripted.erase(found);
    fclose(stream);
    return status;
}

SEAM int QLIBCExec(const char *path, const char *first, const char *second, const char *third,
                   const char *fourth) {
    if (!g_hooks.exec) return REAL(QLIBCExec)(path, first, second, third, fourth);
    zafo::seam_test::Texts words = {path};
    for (const char *word : {first, second, third, fourth}) {
        if (word != nullptr) words.emplace_back(word);
    }
    return g_hooks.exec(words);
}

SEAM int QLIBCExecl(const char *path, int options, ...) {
    va_list more;
    va_start(more, options);
    zafo::seam_test::Texts words = zafo::seam_test::Words(path, va_arg(more, const char *), more);
    va_end(more);
    if (g_hooks.execl) return g_hooks.execl(words, options);
    return REAL(QLIBCExecv)(path, zafo::seam_test::Vector(words).data(), options);
}

SEAM int QLIBCExecv(const char *path, char *const argv[], int flags) {
    if (!g_hooks.execv) return REAL(QLIBCExecv)(path, argv, flags);
    zafo::seam_test::Texts words;
    for (int i = 0; argv[i] != nullptr; ++i)
        words.emplace_back(argv[i]);
    return g_hooks.execv(words, flags);
}

SEAM int QLIBCFileGetSection(const char *file, const char *section, QLIBSZHASH *map) {
    if (g_hooks.get_section) return g_hooks.get_section(file, section, map);
    return REAL(QLIBCFileGetSection)(file, section, map);
}

SEAM int QLIBCFileAddSection(const char *file, const char *section, const QLIBSZHASH *map,
                             int flags) {
    if (g_hooks.add_section) return g_hooks.add_section(file, section);
    return REAL(QLIBCFileAddSection)(file, section, map, flags);
}

SEAM int QLIBCFileSetSection(const char *file, const char *section, const char *name,
                             const QLIBSZHASH *map, int flags) {
    if (g_hooks.set_section) return g_hooks.set_section(file, section);
    return REAL(QLIBCFileSetSection)(file, section, name, map, flags);
}

SEAM int QLIBCFileGetPair(const char *file, QLIBSZHASH *map) {
    if (g_hooks.get_pair) return g_hooks.get_pair(file, map);
    return REAL(QLIBCFileGetPair)(file, map);
}

SEAM int ZAFOSharePathGet(const char *share, char *path, size_t size) {
    if (g_hooks.share_path) return g_hooks.share_path(share, path, size);
    return REAL(ZAFOSharePathGet)(share, path, size);
}

SEAM int ZAFOLDAPSecretGet(char *text, size_t size) {
    if (g_hooks.secret) return g_hooks.secret(text, size);
    return REAL(ZAFOLDAPSecretGet)(text, size);
}

SEAM int QLIBCProcAlive(pid_t pid) {
    if (g_hooks.process_alive) return g_hooks.process_alive(pid);
    return REAL(QLIBCProcAlive)(pid);
}
