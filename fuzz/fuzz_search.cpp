// SPDX-License-Identifier: Apache-2.0
//
// The search engine on arbitrary output of a tool. The input is that output, followed by four bytes
// with a digit each: entries to skip, entries to read (7: all), how the tool ends, and the step
// size in which its output arrives.
#include <strings.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/check.h"
#include "fuzz/tool_output.h"
#include "platform/error.h"
#include "zafoldap/host.h"
#include "zafoldap/search.h"

namespace {

using zafo::fuzz::ToolOutput;
using Entry = std::vector<std::pair<std::string, std::string>>;

enum class End { kGood, kToolFailed, kReadFailed, kMakesNoSense };

struct Answer {
    std::vector<Entry> entries;
    End end = End::kGood;
};

struct Input {
    ToolOutput output;
    int offset = 0;
    int count = -1;
};

Input TakeApart(const uint8_t *data, size_t size) {
    constexpr size_t kDigits = 4;
    constexpr size_t kSteps[] = {0, 1, 2, 7, 64, 120, 1000, 4095};
    constexpr int kStatuses[] = {0, 32 << 8, 4 << 8, 255 << 8, 9, 13, 0, 0};
    Input input;
    uint8_t digits[kDigits] = {};
    if (size >= kDigits) {
        size -= kDigits;
        std::copy_n(data + size, kDigits, digits);
    }
    input.output.text = {reinterpret_cast<const char *>(data), size};
    input.offset = digits[0] & 7;
    input.count = (digits[1] & 7) == 7 ? -1 : digits[1] & 7;
    input.output.wait_status = kStatuses[digits[2] & 7];
    input.output.fails = (digits[2] & 7) == 7;
    input.output.step = kSteps[digits[3] & 7];
    return input;
}

// Looking up the name of any pair finds its values in the entry.
void CheckLookUp(const ZAFOLDAP_RESULT &result, const Entry &entry) {
    QLIBSZLIST *values = QLIBCSzListAlloc(1);
    for (const auto &[name, unused] : entry) {
        std::vector<std::string> expected;
        for (const auto &[other, value] : entry) {
            if (strcasecmp(other.c_str(), name.c_str()) == 0) expected.push_back(value);
        }
        CHECK(ZAFOLDAPResultGetFirst(&result, name.c_str()) == expected.front());
        CHECK(ZAFOLDAPResultGetAll(&result, name.c_str(), &values) ==
              static_cast<int>(expected.size()));
        for (int i = 0; i < values->nItem; ++i)
            CHECK(QLIBCSzListGet(values, i) == expected[static_cast<size_t>(i)]);
    }
    QLIBCSzListFree(values);
}

Entry PairsOf(const ZAFOLDAP_RESULT &result) {
    CHECK(result.plistAttr->nItem == result.plistValue->nItem);
    CHECK(ZAFOLDAPResultGetAttrCount(&result) == result.plistAttr->nItem);
    Entry entry;
    for (int i = 0; i < result.plistAttr->nItem; ++i) {
        const char *value = nullptr;
        const char *name = ZAFOLDAPResultGetAt(&result, i, &value);
        CHECK(name != nullptr && value != nullptr);
        CHECK(std::strpbrk(name, ":\n") == nullptr);
        entry.emplace_back(name, value);
    }
    return entry;
}

void CheckClone(const ZAFOLDAP_RESULT &result, const Entry &entry) {
    ZAFOLDAP_RESULT clone;
    CHECK(ZAFOLDAPResultInit(&clone) == 0);
    CHECK(ZAFOLDAPResultClone(&clone, &result) == 0);
    CHECK(clone.pFile == nullptr && clone.szErrFile[0] == '\0');
    CHECK(clone.nEntry == result.nEntry);
    CHECK(PairsOf(clone) == entry);
    ZAFOLDAPResultFree(&clone);
}

End EndOf(const ZAFOLDAP_RESULT &result, int found, int wait_status) {
    if (found == 0) {
        CHECK(wait_status == 0 && result.pFile == nullptr && result.nExitCode == 0);
        return End::kGood;
    }
    if (result.pFile == nullptr) {
        CHECK(wait_status != 0);
        CHECK((wait_status & 127) != 0 || result.nExitCode == wait_status >> 8);
        return End::kToolFailed;
    }
    return QLIBCErrGet() == QLIB_ERR_READ_FAILED ? End::kReadFailed : End::kMakesNoSense;
}

// Reads the output through the library.
Answer Read(const ToolOutput &output, int offset, int count) {
    zafo::fuzz::Play(output);
    QLIBCErrSet(0);
    ZAFOLDAP_HOST host{};
    host.szUri = "localhost";
    ZAFOLDAP_SEARCH_REQUEST request;
    CHECK(ZAFOLDAPSearchRequestInit(&request, 0) == 0);
    request.nOffset = offset;
    request.nCount = count;
    ZAFOLDAP_RESULT result;
    CHECK(ZAFOLDAPSearchInit(&host, &request, &result) == 0);
    Answer answer;
    int found = 0;
    while ((found = ZAFOLDAPSearchGetNext(&request, &result)) == 1) {
        const Entry entry = PairsOf(result);
        if (entry.size() < 64) CheckLookUp(result, entry);
        CheckClone(result, entry);
        answer.entries.push_back(entry);
        CHECK(answer.entries.size() <= static_cast<size_t>(result.nEntry));
        CHECK(answer.entries.size() <= output.text.size());
    }
    CHECK(found == 0 || found == -1);
    answer.end = EndOf(result, found, output.wait_status);
    if (result.pFile == nullptr) CHECK(ZAFOLDAPSearchGetNext(&request, &result) == 0);
    CHECK(ZAFOLDAPSearchFree(&request, &result) == 0);
    CHECK(zafo::fuzz::OpenStreams() == 0);
    return answer;
}

std::vector<Entry> Slice(const std::vector<Entry> &entries, int offset, int count) {
    const size_t first = std::min(static_cast<size_t>(offset), entries.size());
    const size_t most = entries.size() - first;
    const size_t wanted = count < 0 ? most : std::min(static_cast<size_t>(count), most);
    const auto begin = entries.begin() + static_cast<ptrdiff_t>(first);
    return {begin, begin + static_cast<ptrdiff_t>(wanted)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const Input input = TakeApart(data, size);
    ToolOutput at_once = input.output;
    at_once.step = 0;
    const Answer all = Read(at_once, 0, 0);
    const Answer in_steps = Read(input.output, 0, -1);
    CHECK(in_steps.entries == all.entries && in_steps.end == all.end);

    // Skipped entries are not parsed, so a fault in them goes unnoticed.
    if (all.end == End::kMakesNoSense) return 0;
    const bool whole = input.offset == 0 && input.count == 0;
    const Answer window = Read(input.output, input.offset, input.count);
    CHECK(window.entries == Slice(all.entries, input.offset, whole ? -1 : input.count));
    CHECK(window.end == all.end);
    return 0;
}
