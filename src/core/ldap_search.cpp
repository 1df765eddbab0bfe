// SPDX-License-Identifier: Apache-2.0
//
// The search engine: runs ldapsearch(1) and turns its LDIF (RFC 2849) into entries, one at a time.
//
// In the output of "ldapsearch -LLL" an entry is a "dn:" line, one line per value and an empty
// line. A value that is not safe text follows "::" in base64. A line that begins with a blank
// continues the previous one; "#" begins a comment, which may be continued too. References to other
// servers are printed as comments followed by an empty line, which ends no entry because there was
// none.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "base/unique_fd.h"
#include "platform/crypt.h"
#include "platform/error.h"
#include "platform/process.h"
#include "src/core/check_connection.h"
#include "src/core/ldap_result.h"
#include "src/core/ldap_search_command.h"
#include "src/core/line_buffer.h"
#include "src/core/list.h"
#include "src/core/tool_output.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/own_file.h"
#include "src/frame/text.h"
#include "zafoldap/debug.h"
#include "zafoldap/search.h"

namespace zafo {

namespace {

constexpr size_t kMaxLoggedCommand = 4095;
constexpr const char *kBase64 = "base64";

int g_search_sequence = 0;

// Documented in zafoldap/search.h. A server's answer could otherwise exhaust memory.
constexpr size_t kMostEntry = size_t{32} << 20;
constexpr size_t kPairSize = 32;  // overhead of a value in the three lists

// The range of matching entries that a request asks for.
struct Window {
    explicit Window(const ZAFOLDAP_SEARCH_REQUEST &request)
        : first(request.nOffset),
          count(request.nOffset == 0 && request.nCount == 0 ? -1 : request.nCount) {}

    bool Holds(int index) const { return index >= first && (count == -1 || index - first < count); }

    int64_t first;  // wider than the request's type, so that no value overflows
    int count;
};

// ASCII white space, regardless of the caller's locale.
bool IsSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Ends the search: reaps the tool and turns its wait status into the library error. Returns 0 if
// the tool succeeded or no search was open, else -1.
int EndSearch(ZAFOLDAP_RESULT *result);

// The list of an entry's marks; nothing, after a log line, when out of memory.
std::optional<List> MakeMarks() {
    try {
        return List();
    } catch (const std::bad_alloc &) {
        ZAFO_LOG("Memory allocation failed.");
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return {};
    }
}

// Reads one entry into a result record.
class EntryReader {
  public:
    EntryReader(const Window &window, ZAFOLDAP_RESULT *result, List marks)
        : window_(window), result_(*result), marks_(std::move(marks)) {}

    // As ZAFOLDAPSearchGetNext.
    int Read();

  private:
    enum class Step { kGoOn, kDelivered, kFailed };

    int FailToRead(LineBuffer::Outcome outcome);
    int EndOfOutput();
    Step EndOfEntry();
    Step Continuation(const char *text);
    Step Pair(char *line);
    bool FlushFolded();
    int DecodeValues();

    const Window window_;
    ZAFOLDAP_RESULT &result_;
    LineBuffer line_;
    size_t entry_size_ = 0;  // so far, stored or not
    List marks_;             // one per pair of this entry: kBase64, or ""
    int first_base64_ = -1;  // the first pair marked kBase64
    std::string folded_;     // text of the last value while continuation lines are added
    bool is_folded_ = false;
    bool skip_continuation_ = false;
    bool in_entry_ = false;   // a line of an entry, delivered or not, has been read
    bool commented_ = false;  // a comment has been read since the last empty line
};

int EntryReader::Read() {
    for (bool wanted = window_.Holds(result_.nEntry);;) {
        LineBuffer::Outcome outcome =
            wanted ? line_.Read(result_.pFile) : line_.ReadAtLeisure(result_.pFile);
        if (outcome == LineBuffer::Outcome::kEnd) return EndOfOutput();
        entry_size_ += line_.size() + kPairSize;
        if (outcome == LineBuffer::Outcome::kLine && entry_size_ > kMostEntry)
            outcome = LineBuffer::Outcome::kTooLong;
        if (outcome != LineBuffer::Outcome::kLine) return FailToRead(outcome);

        char *line = line_.text();
        if (line[0] == '#') {
            skip_continuation_ = commented_ = true;
            continue;
        }
        Step step = Step::kGoOn;
        if (line[0] == '\0') {
            step = EndOfEntry();
            wanted = window_.Holds(result_.nEntry);
        } else {
            in_entry_ = in_entry_ || line[0] != ' ' || !skip_continuation_;
            if (!wanted) continue;
            step = line[0] == ' ' ? Continuation(line + 1) : Pair(line);
        }
        if (step == Step::kDelivered) return 1;
        if (step == Step::kFailed) return -1;
    }
}

int EntryReader::FailToRead(LineBuffer::Outcome outcome) {
    switch (outcome) {
        case LineBuffer::Outcome::kTooLong:
            ZAFO_LOG("entry %d is too large: more than %zu bytes, or %zu in a line",
                     result_.nEntry + 1, kMostEntry, kMostLine);
            [[fallthrough]];
        case LineBuffer::Outcome::kNoMemory:
            return FailWith(QLIB_ERR_OUT_OF_MEMORY);
        default:
            return FailWith(QLIB_ERR_READ_FAILED);
    }
}

// A last entry without an empty line after it is delivered as is, undecoded.
int EntryReader::EndOfOutput() {
    if (!FlushFolded()) return -1;
    if (result_.plistAttr->nItem == 0) return EndSearch(&result_);
    ++result_.nEntry;
    return 1;
}

EntryReader::Step EntryReader::EndOfEntry() {
    const bool only_comments = commented_ && !in_entry_;
    commented_ = in_entry_ = false;
    if (only_comments) return Step::kGoOn;
    if (!FlushFolded()) return Step::kFailed;
    if (result_.plistValue->nItem != marks_.size()) {
        ZAFO_LOG("mismatch %d and %d", result_.plistValue->nItem, marks_.size());
        return Step::kFailed;
    }
    if (GuardedAloud(__FILE_NAME__, __LINE__, [this] { return DecodeValues(); }) != 0)
        return Step::kFailed;
    entry_size_ = 0;
    QLIBCSzListRemoveAll(marks_.get());
    first_base64_ = -1;
    const bool is_inside = window_.Holds(result_.nEntry);
    ++result_.nEntry;
    return is_inside ? Step::kDelivered : Step::kGoOn;
}

// The text is collected here and stored once, when the value is complete: a value of several
// megabytes arrives in a hundred thousand lines.
EntryReader::Step EntryReader::Continuation(const char *text) {
    if (skip_continuation_) return Step::kGoOn;
    const int pairs = result_.plistValue->nItem;
    if (pairs == 0) return Step::kFailed;
    if (!is_folded_) {
        folded_ = ItemAt(result_.plistValue, pairs - 1);
        is_folded_ = true;
    }
    folded_.append(text);
    return Step::kGoOn;
}

EntryReader::Step EntryReader::Pair(char *line) {
    char *colon = std::strchr(line, ':');
    if (colon == nullptr) return Step::kGoOn;
    if (!FlushFolded()) return Step::kFailed;
    *colon = '\0';
    const char *value = colon + 1;
    const bool is_base64 = *value == ':';
    if (is_base64) ++value;
    while (IsSpace(*value))
        ++value;
    if (is_base64 && first_base64_ < 0) first_base64_ = marks_.size();
    marks_.Push(is_base64 ? kBase64 : "");
    if (AddPair(&result_, line, value) != 0) return Step::kFailed;
    skip_continuation_ = false;
    return Step::kGoOn;
}

bool EntryReader::FlushFolded() {
    if (!is_folded_) return true;
    is_folded_ = false;
    return ReplaceLastValue(&result_, folded_.c_str()) == 0;
}

// Decoders differ: some write to kLeastRoom bytes however short the text is, and some take the
// length for the buffer's size and never set it. So the length is used only if it is plausible for
// the decoded text; otherwise the value ends at the first zero byte of the zero-filled buffer. 0 or
// -1.
int EntryReader::DecodeValues() {
    constexpr size_t kLeastRoom = 1024;
    std::string decoded;
    for (int i = first_base64_; i >= 0 && i < marks_.size(); ++i) {
        if (marks_[i][0] == '\0') continue;
        const char *text = ItemAt(result_.plistValue, i);
        const size_t text_size = std::strlen(text);
        const size_t room = std::max(kLeastRoom, text_size + 1);
        decoded.assign(room, '\0');
        size_t decoded_size = room;
        if (ZAFOEncodingBase64Decode(text, text_size, decoded.data(), &decoded_size) == 0) {
            return ZAFO_FAILURE("base64 decode failed: [%s], [0x%04X]", text, PlatformError());
        }
        if (0 < decoded_size && decoded_size <= text_size / 4 * 3) decoded[decoded_size] = '\0';
        if (QLIBCSzListSet(&result_.plistValue, i, decoded.c_str()) < 0) return -1;
    }
    return 0;
}

// Opens the search's error file if it belongs to this user. Anyone can leave a link to a file that
// only we may read under that name, or a FIFO, which would block us until its other end is opened.
FILE *OpenErrorFile(const char *error_file) {
    if (error_file[0] == '\0') return nullptr;
    UniqueFd file(open(error_file, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !IsOwnFile(status) ||
        status.st_uid != geteuid()) {
        return nullptr;
    }
    FILE *stream = fdopen(file.Get(), "r");
    if (stream != nullptr) file.Release();
    return stream;
}

// While debugging, logs the content of the search's error file.
void LogErrorFile(const char *error_file) {
    FILE *file = OpenErrorFile(error_file);
    if (file == nullptr) return;
    LineBuffer line;
    while (line.Read(file) == LineBuffer::Outcome::kLine)
        ZAFO_LOG("  %s", line.text());
    fclose(file);
}

int ReapTool(ZAFOLDAP_RESULT *result) {
    const int status = QLIBCPclose(result->pFile);
    result->pFile = nullptr;
    if (status == 0) return 0;
    if (KeepExitCode(status, &result->nExitCode)) {
        ZAFO_DEBUG_LOG("ldapsearch return %d", result->nExitCode);
    } else {
        ZAFO_DEBUG_LOG("ldapsearch terminate abnormal %d", status);
    }
    if (ZAFOLDAPDebugEnabled() != 0) LogErrorFile(result->szErrFile);
    return -1;
}

int EndSearch(ZAFOLDAP_RESULT *result) {
    const int reaped = result->pFile != nullptr ? ReapTool(result) : 0;
    if (result->szErrFile[0] != '\0') {
        unlink(result->szErrFile);
        result->szErrFile[0] = '\0';
    }
    return reaped;
}

// Runs `body`, which needs an argument vector, and logs if there is not enough memory for it.
template <class Body>
int WithVector(const Body &body) {
    try {
        return body();
    } catch (const std::exception &) {
        ZAFO_LOG("Failed to alloc arg array (%s)", std::strerror(errno));
        return FailWith(QLIB_ERR_OUT_OF_MEMORY);
    }
}

void LogCommand(const ZAFOLDAP_HOST &host, const ZAFOLDAP_SEARCH_REQUEST &request) {
    if (ZAFOLDAPDebugEnabled() == 0) return;
    ZAFOLDAP_HOST masked = host;
    if (masked.szBindPasswd != nullptr) masked.szBindPasswd = "****";
    char command[kMaxLoggedCommand];
    if (ZAFOLDAPSearchBuildRequestCmd(&masked, &request, command, sizeof command) == 0) {
        ZAFO_LOG("search command: %s", command);
    }
}

// The tool's output as a stream, or nullptr.
FILE *StartTool(const ZAFOLDAP_HOST &host, const ZAFOLDAP_SEARCH_REQUEST &request) {
    ToolArguments arguments = SearchArguments(host, request);
    char **argv = arguments.argv();
    return QLIBCPopenv(argv[0], "r", argv);
}

}  // namespace

}  // namespace zafo

int ZAFOLDAPSearchBuildRequestCmd(const ZAFOLDAP_HOST *host, const ZAFOLDAP_SEARCH_REQUEST *request,
                                  char *command, size_t size) {
    if (host == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (request == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    if (command == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szCmd");
    if (size == 0) return ZAFO_BAD_ARGUMENT("0 < cbCmd");

    return zafo::WithVector([&] {
        const std::string line = zafo::SearchArguments(*host, *request).CommandLine();
        zafo::CopyText(line.c_str(), command, size);
        return 0;
    });
}

int ZAFOLDAPSearchInit(const ZAFOLDAP_HOST *host, const ZAFOLDAP_SEARCH_REQUEST *request,
                       ZAFOLDAP_RESULT *result) {
    // Cleared before the checks: the caller frees the record even after a failure.
    if (result != nullptr) *result = {};
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (request == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    if (result == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pResult");
    if (ZAFOLDAPResultInit(result) != 0) return -1;

    snprintf(result->szErrFile, sizeof result->szErrFile, "/tmp/ldapsearch.err.%d.%d", getpid(),
             zafo::g_search_sequence++);
    return zafo::WithVector([&] {
        zafo::LogCommand(*host, *request);
        result->pFile = zafo::StartTool(*host, *request);
        return result->pFile != nullptr ? 0 : zafo::FailWith(QLIB_ERR_OPEN_FAILED);
    });
}

int ZAFOLDAPSearchGetNext(const ZAFOLDAP_SEARCH_REQUEST *request, ZAFOLDAP_RESULT *result) {
    if (result == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pResult");
    if (result->plistAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pResult->plistAttr");
    if (result->plistValue == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pResult->plistValue");
    if (request == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");

    if (ZAFOLDAPResultRemoveAll(result) != 0) return -1;
    if (result->pFile == nullptr) return 0;
    if (feof(result->pFile) != 0) return zafo::EndSearch(result);
    return zafo::Guarded(-1, [&] {
        auto marks = zafo::MakeMarks();
        if (!marks) return -1;
        return zafo::EntryReader(zafo::Window(*request), result, std::move(*marks)).Read();
    });
}

int ZAFOLDAPSearchFree(ZAFOLDAP_SEARCH_REQUEST *request, ZAFOLDAP_RESULT *result) {
    if (result != nullptr) zafo::EndSearch(result);
    ZAFOLDAPSearchRequestFree(request);
    ZAFOLDAPResultFree(result);
    return 0;
}
