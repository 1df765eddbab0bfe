// SPDX-License-Identifier: Apache-2.0
#include "host/front/question.h"

#include <strings.h>

#include <cstring>

#include "host/front/change_record.h"
#include "host/front/option.h"

namespace zafo::front {

namespace {

// LDAP result codes (RFC 4511 section 4.1.9), as the tools exit with them.
constexpr int kSizeLimitExceeded = 4;
constexpr int kNoSuchAttribute = 16;
constexpr int kValueExists = 20;
constexpr int kNoSuchObject = 32;
constexpr int kInvalidDN = 34;
constexpr int kFirstRefusal = 47;  // of an anonymous client, up to insufficientAccessRights
constexpr int kLastRefusal = 50;
constexpr int kEntryExists = 68;

// One argument after the other as getopt returns them: options anywhere, each with its letter and
// value, flags one by one; others as plain arguments.
template <class OnOption, class OnPlain>
void ForEach(const Tool &tool, int argc, char **argv, OnOption on_option, OnPlain on_plain) {
    bool options = true;
    for (int i = 1; i < argc; i++) {
        if (options && EndsOptions(argv[i])) {
            options = false;
            continue;
        }
        if (!options || !HoldsOptions(argv[i])) {
            on_plain(argv[i]);
            continue;
        }
        const Option option = ReadOption(tool, argv[i], argv[i + 1]);
        for (const char *flag = option.flags; *flag != '\0' && flag != option.letter; flag++)
            on_option(*flag, nullptr);
        if (option.letter != nullptr) on_option(*option.letter, option.value);
        if (option.value_is_next) i++;
    }
}

bool Is(const char *text, const char *wanted) {
    return text != nullptr && strcasecmp(text, wanted) == 0;
}

struct Search {
    const char *base = nullptr;
    const char *scope = nullptr;
    const char *limit = nullptr;
    const char *filter = nullptr;
    const char *only_attribute = nullptr;  // where there is one
    int plain = 0;                         // arguments that are not options
    bool bound = false;
    bool talks =
        false;  // traces, or searches by a list of filters: its output is not a short answer

    void Take(char letter, const char *value) {
        if (letter == 'b') base = value;
        if (letter == 's') scope = value;
        if (letter == 'z') limit = value;
        if (letter == 'D') bound = true;
        if (std::strchr("dfv", letter) != nullptr) talks = true;
    }

    // ldapsearch treats the first one as its filter if it looks like one.
    void TakePlain(const char *argument) {
        const bool first = plain++ == 0;
        if (first && std::strchr(argument, '=') != nullptr) {
            filter = argument;
            return;
        }
        only_attribute = plain == (filter == nullptr ? 1 : 2) ? argument : nullptr;
    }

    bool OfBase() const { return Is(scope, "base") || Is(scope, "baseObject"); }

    // Stops after one entry; or asks for attributes of a named entry; or names a scope and asks
    // only for the DNs that a filter finds.
    bool AsksForAnEntry() const {
        if (base == nullptr && !OfBase() && filter == nullptr) return false;
        return OfBase() || filter == nullptr || (scope != nullptr && Is(only_attribute, "dn"));
    }
};

}  // namespace

Question::Question(const Tool &tool, int argc, char **argv) {
    if (tool.name == "ldapsearch") ReadSearch(tool, argc, argv);
    if (tool.name == "ldapmodify") ReadChange(tool, argc, argv);
}

void Question::ReadSearch(const Tool &tool, int argc, char **argv) {
    Search search;
    ForEach(
        tool, argc, argv, [&](char letter, const char *value) { search.Take(letter, value); },
        [&](const char *argument) { search.TakePlain(argument); });
    if (search.talks) return;
    entry_ = search.AsksForAnEntry();
    optional_ = entry_ && search.base != nullptr && IsOfOptionalKind(search.base);
    one_ = Is(search.limit, "1");
    anonymous_ = !search.bound && search.OfBase() && search.base != nullptr && *search.base == '\0';
}

// A call that continues after a refusal, or traces, prints more than one answer.
void Question::ReadChange(const Tool &tool, int argc, char **argv) {
    bool talks = false;
    ForEach(
        tool, argc, argv,
        [&](char letter, const char *value) {
            if (letter == 'f') change_file_ = value;
            if (std::strchr("cdv", letter) != nullptr) talks = true;
        },
        [](const char *) {});
    if (talks) change_file_ = nullptr;
}

bool Question::IsAsked() const {
    return entry_ || one_ || anonymous_ || change_file_ != nullptr;
}

bool Question::IsAnsweredBy(int exit_code, std::string_view words) const {
    if (anonymous_ && kFirstRefusal <= exit_code && exit_code <= kLastRefusal) return true;
    // The same code from an earlier step does not answer the question.
    if (words.starts_with("ldap_bind:") || words.starts_with("ldap_start_tls:")) return false;
    switch (exit_code) {
        case kNoSuchObject:
            return entry_;
        case kInvalidDN:
            return optional_;
        case kSizeLimitExceeded:
            return one_;
        case kNoSuchAttribute:
            return change_file_ != nullptr && ChangeRecord(change_file_).IsSwap();
        case kEntryExists:
            return change_file_ != nullptr && ChangeRecord(change_file_).AddsOptionalEntry();
        case kValueExists:
            return change_file_ != nullptr && ChangeRecord(change_file_).JoinsDefaultGroup();
        default:
            return false;
    }
}

}  // namespace zafo::front
