// SPDX-License-Identifier: Apache-2.0
//
// The search engine: runs ldapsearch(1) and turns its LDIF (RFC 2849) into
// entries, one at a time.
//
// What "ldapsearch -LLL" prints: an entry is a "dn:" line, a line a value and
// an empty line. A value that is not safe text stands in base64 after "::". A
// line that begins with a blank continues the one before; "#" begins a comment,
// which may be continued too. References to other servers come as comments with an empty line
// behind them, which ends no entry: there was none.
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/unique_fd.h"
#include "core/ldap_result.h"
#include "core/ldap_search_command.h"
#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "frame/own_file.h"
#include "frame/text.h"
#include "platform/crypt.h"
#include "platform/error.h"
#include "platform/process.h"
#include "zafoldap/debug.h"
#include "zafoldap/error.h"
#include "zafoldap/search.h"

namespace zafo {

namespace {

constexpr size_t kMaxLoggedCommand = 4095;
constexpr const char *kBase64 = "base64";

int g_nSearchSequence = 0;

struct FreeMemory {
    void operator()(void *p) const { free(p); }
};

// zafoldap/search.h names both. A server decides what comes: without them one answer could take all memory.
constexpr size_t kMostLine = size_t{16} << 20;
constexpr size_t kMostEntry = size_t{32} << 20;
constexpr size_t kPairSize = 32;  // what a value takes beside its text in the three lists

// One line of the tool's output, without its line break, in a buffer that grows up to the bound.
class LineBuffer {
  public:
    enum class Outcome { kLine, kEnd, kError, kNoMemory, kTooLong };

    Outcome Read(FILE *pFile);

    // The same where nobody waits for the line.
    Outcome ReadAtLeisure(FILE *pFile);

    char *text() const { return line_.get(); }
    size_t size() const { return size_; }

  private:
    bool Grow();
    bool TakeBuffered(FILE *pFile);
    Outcome ReadInParts(FILE *pFile);

    std::unique_ptr<char, FreeMemory> line_;
    size_t capacity_ = 0;
    size_t size_ = 0;
    size_t gathered_ = 0;  // bytes of lines that came at once
    int waits_ = 0;        // how often it was for few
};

bool LineBuffer::Grow() {
    constexpr size_t kFirst = 1024;
    const size_t capacity = std::min(capacity_ == 0 ? kFirst : 2 * capacity_, kMostLine + kFirst);
    auto *larger = static_cast<char *>(realloc(line_.get(), capacity));
    if (larger == nullptr) return false;
    static_cast<void>(line_.release());
    line_.reset(larger);
    capacity_ = capacity;
    return true;
}

LineBuffer::Outcome LineBuffer::Read(FILE *pFile) {
    if (capacity_ == 0 && !Grow()) return Outcome::kNoMemory;
    return TakeBuffered(pFile) ? Outcome::kLine : ReadInParts(pFile);
}

// A tool that is asked for little hands every entry to the pipe by itself. To be woken for each takes
// both sides more time than everything else; from a while of that on, more is left to come first.
LineBuffer::Outcome LineBuffer::ReadAtLeisure(FILE *pFile) {
    constexpr size_t kFew = 1024;
    constexpr int kPatience = 16;
    constexpr timespec kWhile{0, 1'000'000};
    if (capacity_ == 0 && !Grow()) return Outcome::kNoMemory;
    gathered_ += size_ + 1;
    if (TakeBuffered(pFile)) return Outcome::kLine;
    const bool few = gathered_ < kFew;
    gathered_ = 0;
    if (few && waits_ < kPatience) {
        ++waits_;
    } else if (few && fileno(pFile) >= 0) {
        nanosleep(&kWhile, nullptr);
    }
    return ReadInParts(pFile);
}

// Most lines stand whole between the two pointers from which glibc's getc_unlocked, compiled into its
// callers, takes what has been read. fgets takes twice the time for them.
bool LineBuffer::TakeBuffered([[maybe_unused]] FILE *pFile) {
#ifdef __GLIBC__
    const char *const begin = pFile->_IO_read_ptr;
    const auto held = static_cast<size_t>(pFile->_IO_read_end - begin);
    const auto *end =
        held > 0 ? static_cast<const char *>(std::memchr(begin, '\n', held)) : nullptr;
    if (end == nullptr) return false;
    const auto size = static_cast<size_t>(end - begin);
    if (size >= capacity_) return false;  // this buffer grows while it reads
    std::memcpy(line_.get(), begin, size);
    line_.get()[size] = '\0';
    size_ = size;
    pFile->_IO_read_ptr += size + 1;
    return true;
#else
    return false;
#endif
}

// fgets, for it stops where the buffer ends. Whether it did shows in the place before the last, which
// holds a character of the line only then.
LineBuffer::Outcome LineBuffer::ReadInParts(FILE *pFile) {
    for (size_ = 0;;) {
        if (capacity_ - size_ < 2 && !Grow()) return Outcome::kNoMemory;
        char *const part = line_.get() + size_;
        const size_t room = capacity_ - size_;
        part[room - 2] = '\n';
        if (fgets(part, static_cast<int>(room), pFile) == nullptr) {
            if (ferror(pFile) != 0) return Outcome::kError;
            return size_ > 0 ? Outcome::kLine : Outcome::kEnd;
        }
        const bool full = part[room - 2] != '\n' && part[room - 2] != '\0';
        size_ += full ? room - 1 : std::strlen(part);
        if (size_ > kMostLine + 1) return Outcome::kTooLong;
        if (full) continue;
        if (size_ > 0 && line_.get()[size_ - 1] == '\n') line_.get()[--size_] = '\0';
        return Outcome::kLine;
    }
}

// The window of matching entries that a request hands out.
struct Window {
    explicit Window(const ZAFOLDAP_SEARCH_REQUEST &request)
        : nFirst(request.nOffset),
          nCount(request.nOffset == 0 && request.nCount == 0 ? -1 : request.nCount) {}

    bool Holds(int nIndex) const {
        return nIndex >= nFirst && (nCount == -1 || nIndex - nFirst < nCount);
    }

    int64_t nFirst;  // wider than the request's, whatever a caller puts there
    int nCount;
};

// ASCII white space, whatever the caller's locale.
bool IsSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Ends the search: reaps the tool and turns its wait status into the library
// error. 0 when the tool succeeded or no search was open, else -1.
int EndSearch(ZAFOLDAP_RESULT *pResult);

// The list of an entry's marks; nothing, with a line in the log, without memory.
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
    EntryReader(const Window &window, ZAFOLDAP_RESULT *pResult, List marks)
        : window_(window), result_(*pResult), marks_(std::move(marks)) {}

    // As ZAFOLDAPSearchGetNext.
    int Read();

  private:
    enum class Step { kGoOn, kDelivered, kFailed };

    int FailToRead(LineBuffer::Outcome outcome);
    int EndOfOutput();
    Step EndOfEntry();
    Step Continuation(const char *szText);
    Step Pair(char *szLine);
    bool FlushFolded();
    bool Decode();
    bool DecodeValues();

    const Window window_;
    ZAFOLDAP_RESULT &result_;
    LineBuffer line_;
    size_t entry_size_ = 0;    // so far, whether it is stored or not
    List marks_;               // one for each pair of this entry: kBase64, or ""
    bool has_base64_ = false;  // one of them at least
    std::string folded_;       // text of the last value while continuation lines add to it
    bool is_folded_ = false;
    bool skip_continuation_ = false;
    bool in_entry_ = false;   // a line of an entry has come, handed out or not
    bool commented_ = false;  // a comment has come since the last empty line
};

int EntryReader::Read() {
    for (;;) {
        LineBuffer::Outcome outcome = window_.Holds(result_.nEntry)
                                          ? line_.Read(result_.pFile)
                                          : line_.ReadAtLeisure(result_.pFile);
        if (outcome == LineBuffer::Outcome::kEnd) return EndOfOutput();
        entry_size_ += line_.size() + kPairSize;
        if (outcome == LineBuffer::Outcome::kLine && entry_size_ > kMostEntry)
            outcome = LineBuffer::Outcome::kTooLong;
        if (outcome != LineBuffer::Outcome::kLine) return FailToRead(outcome);

        char *szLine = line_.text();
        if (szLine[0] == '#') {
            skip_continuation_ = commented_ = true;
            continue;
        }
        Step step = Step::kGoOn;
        if (szLine[0] == '\0') {
            step = EndOfEntry();
        } else {
            in_entry_ = in_entry_ || szLine[0] != ' ' || !skip_continuation_;
            if (!window_.Holds(result_.nEntry)) continue;
            step = szLine[0] == ' ' ? Continuation(szLine + 1) : Pair(szLine);
        }
        if (step == Step::kDelivered) return 1;
        if (step == Step::kFailed) return -1;
    }
}

// A last entry that no empty line ends is handed out as it stands, undecoded.
int EntryReader::FailToRead(LineBuffer::Outcome outcome) {
    switch (outcome) {
        case LineBuffer::Outcome::kTooLong:
            ZAFO_LOG("entry %d is too large: more than %zu bytes, or %zu in a line",
                     result_.nEntry + 1, kMostEntry, kMostLine);
            [[fallthrough]];
        case LineBuffer::Outcome::kNoMemory:
            QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
            break;
        default:
            QLIBCErrSet(QLIB_ERR_READ_FAILED);
    }
    return -1;
}

int EntryReader::EndOfOutput() {
    if (!FlushFolded()) return -1;
    if (result_.plistAttr->nItem == 0) return EndSearch(&result_);
    ++result_.nEntry;
    return 1;
}

EntryReader::Step EntryReader::EndOfEntry() {
    const bool blOnlyComments = commented_ && !in_entry_;
    commented_ = in_entry_ = false;
    if (blOnlyComments) return Step::kGoOn;
    if (!FlushFolded()) return Step::kFailed;
    if (result_.plistValue->nItem != marks_.size()) {
        ZAFO_LOG("mismatch %d and %d", result_.plistValue->nItem, marks_.size());
        return Step::kFailed;
    }
    if (!Decode()) return Step::kFailed;
    entry_size_ = 0;
    QLIBCSzListRemoveAll(marks_.get());
    has_base64_ = false;
    const bool blInside = window_.Holds(result_.nEntry);
    ++result_.nEntry;
    return blInside ? Step::kDelivered : Step::kGoOn;
}

// The text is gathered here and stored once, when the value is complete: a value
// of megabytes comes in a hundred thousand lines.
EntryReader::Step EntryReader::Continuation(const char *szText) {
    if (skip_continuation_) return Step::kGoOn;
    const int nPairs = result_.plistValue->nItem;
    if (nPairs == 0) return Step::kFailed;
    if (!is_folded_) {
        folded_ = ItemAt(result_.plistValue, nPairs - 1);
        is_folded_ = true;
    }
    folded_.append(szText);
    return Step::kGoOn;
}

EntryReader::Step EntryReader::Pair(char *szLine) {
    // A name is short, and what has just been written is read faster in bytes than in vectors.
    char *szColon = szLine;
    while (*szColon != ':' && *szColon != '\0')
        ++szColon;
    if (*szColon == '\0') return Step::kGoOn;
    if (!FlushFolded()) return Step::kFailed;
    *szColon = '\0';
    const char *szValue = szColon + 1;
    const bool blBase64 = *szValue == ':';
    if (blBase64) ++szValue;
    while (IsSpace(*szValue))
        ++szValue;
    marks_.Push(blBase64 ? kBase64 : "");
    has_base64_ = has_base64_ || blBase64;
    if (ZAFOLDAPResultSet(&result_, szLine, szValue) != 0) return Step::kFailed;
    skip_continuation_ = false;
    return Step::kGoOn;
}

bool EntryReader::FlushFolded() {
    if (!is_folded_) return true;
    is_folded_ = false;
    return ReplaceLastValue(&result_, folded_.c_str()) == 0;
}

bool EntryReader::Decode() {
    try {
        return DecodeValues();
    } catch (const std::bad_alloc &) {
        ZAFO_LOG("out of memory");
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return false;
    }
}

// Decoders differ: some touch kLeastRoom bytes whatever the text is, some take the length for the size of
// the buffer and leave it alone. So it counts only where it can be the length of what was decoded; else
// the value ends at the first zero of a buffer that was all zeros, or at the one behind it.
bool EntryReader::DecodeValues() {
    constexpr size_t kLeastRoom = 1024;
    std::string decoded;
    for (int i = 0; has_base64_ && i < marks_.size(); ++i) {
        if (marks_[i][0] == '\0') continue;
        const char *szText = ItemAt(result_.plistValue, i);
        const size_t cbText = std::strlen(szText);
        const size_t cbRoom = std::max(kLeastRoom, cbText + 1);
        decoded.assign(cbRoom, '\0');
        size_t cbDecoded = cbRoom;
        if (ZAFOEncodingBase64Decode(szText, cbText, decoded.data(), &cbDecoded) == 0) {
            ZAFO_LOG("base64 decode failed: [%s], [0x%04X]", szText, PlatformError());
            return false;
        }
        if (0 < cbDecoded && cbDecoded <= cbText / 4 * 3) decoded[cbDecoded] = '\0';
        if (QLIBCSzListSet(&result_.plistValue, i, decoded.c_str()) < 0) return false;
    }
    return true;
}

// The search's error file, when it is a file of this user's: under that name anybody can leave a
// link to a file that only we may read, or a FIFO, for whose other end one would wait.
FILE *OpenErrorFile(const char *szErrFile) {
    if (szErrFile[0] == '\0') return nullptr;
    UniqueFd file(open(szErrFile, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !IsOwnFile(status) ||
        status.st_uid != geteuid()) {
        return nullptr;
    }
    FILE *pFile = fdopen(file.Get(), "r");
    if (pFile != nullptr) file.Release();
    return pFile;
}

// While debugging, what somebody left in the search's error file.
void LogErrorFile(const char *szErrFile) {
    FILE *pFile = OpenErrorFile(szErrFile);
    if (pFile == nullptr) return;
    LineBuffer line;
    while (line.Read(pFile) == LineBuffer::Outcome::kLine)
        ZAFO_LOG("  %s", line.text());
    fclose(pFile);
}

int ReapTool(ZAFOLDAP_RESULT *pResult) {
    const int nStatus = QLIBCPclose(pResult->pFile);
    pResult->pFile = nullptr;
    if (nStatus == 0) return 0;
    if ((nStatus & 127) == 0) {
        const int nExitCode = (nStatus >> 8) & 255;
        ZAFO_DEBUG_LOG("ldapsearch return %d", nExitCode);
        pResult->nExitCode = nExitCode;
        ZAFOLDAPErrSet(nExitCode);
    } else {
        ZAFO_DEBUG_LOG("ldapsearch terminate abnormal %d", nStatus);
    }
    if (ZAFOLDAPDebugEnabled() != 0) LogErrorFile(pResult->szErrFile);
    return -1;
}

int EndSearch(ZAFOLDAP_RESULT *pResult) {
    const int nResult = pResult->pFile != nullptr ? ReapTool(pResult) : 0;
    if (pResult->szErrFile[0] != '\0') {
        unlink(pResult->szErrFile);
        pResult->szErrFile[0] = '\0';
    }
    return nResult;
}

// Runs what needs an argument vector, and says when there is no memory for it.
template <class Body>
int WithVector(const Body &body) {
    try {
        return body();
    } catch (const std::exception &) {
        ZAFO_LOG("Failed to alloc arg array (%s)", std::strerror(errno));
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

void LogCommand(const ZAFOLDAP_HOST &host, const ZAFOLDAP_SEARCH_REQUEST &request) {
    if (ZAFOLDAPDebugEnabled() == 0) return;
    ZAFOLDAP_HOST masked = host;
    if (masked.szBindPasswd != nullptr) masked.szBindPasswd = "****";
    char szCommand[kMaxLoggedCommand];
    if (ZAFOLDAPSearchBuildRequestCmd(&masked, &request, szCommand, sizeof szCommand) == 0) {
        ZAFO_LOG("search command: %s", szCommand);
    }
}

// The tool's output as a stream, or nullptr.
FILE *StartTool(const ZAFOLDAP_HOST &host, const ZAFOLDAP_SEARCH_REQUEST &request) {
    std::vector<std::string> arguments = SearchArguments(host, request);
    std::vector<char *> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string &argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    return QLIBCPopenv(argv[0], "r", argv.data());
}

}  // namespace

}  // namespace zafo

int ZAFOLDAPSearchBuildRequestCmd(const ZAFOLDAP_HOST *pHost,
                                  const ZAFOLDAP_SEARCH_REQUEST *pRequest, char *szCmd,
                                  size_t cbCmd) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (pRequest == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    if (szCmd == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szCmd");
    if (cbCmd == 0) return ZAFO_BAD_ARGUMENT("0 < cbCmd");

    return zafo::WithVector([&] {
        const std::string line = zafo::CommandLine(zafo::SearchArguments(*pHost, *pRequest));
        zafo::CopyText(line.c_str(), szCmd, cbCmd);
        return 0;
    });
}

int ZAFOLDAPSearchInit(const ZAFOLDAP_HOST *pHost, const ZAFOLDAP_SEARCH_REQUEST *pRequest,
                       ZAFOLDAP_RESULT *pResult) {
    // Zeroed before the checks: the record is freed after a failure as well.
    if (pResult != nullptr) *pResult = {};
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (pHost->szUri == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szUri");
    if (pRequest == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    if (ZAFOLDAPResultInit(pResult) != 0 || pResult == nullptr) return -1;

    snprintf(pResult->szErrFile, sizeof pResult->szErrFile, "/tmp/ldapsearch.err.%d.%d", getpid(),
             zafo::g_nSearchSequence++);
    return zafo::WithVector([&] {
        zafo::LogCommand(*pHost, *pRequest);
        pResult->pFile = zafo::StartTool(*pHost, *pRequest);
        if (pResult->pFile != nullptr) return 0;
        QLIBCErrSet(QLIB_ERR_OPEN_FAILED);
        return -1;
    });
}

int ZAFOLDAPSearchGetNext(const ZAFOLDAP_SEARCH_REQUEST *pRequest, ZAFOLDAP_RESULT *pResult) {
    if (pResult == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pResult");
    if (pResult->plistAttr == nullptr)
        return ZAFO_BAD_ARGUMENT("((void *)0) != pResult->plistAttr");
    if (pResult->plistValue == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pResult->plistValue");
    if (pRequest == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");

    if (ZAFOLDAPResultRemoveAll(pResult) != 0) return -1;
    if (pResult->pFile == nullptr) return 0;
    if (feof(pResult->pFile) != 0) return zafo::EndSearch(pResult);
    return zafo::Guarded(-1, [&] {
        auto marks = zafo::MakeMarks();
        if (!marks) return -1;
        return zafo::EntryReader(zafo::Window(*pRequest), pResult, std::move(*marks)).Read();
    });
}

int ZAFOLDAPSearchFree(ZAFOLDAP_SEARCH_REQUEST *pRequest, ZAFOLDAP_RESULT *pResult) {
    if (pResult != nullptr) zafo::EndSearch(pResult);
    ZAFOLDAPSearchRequestFree(pRequest);
    ZAFOLDAPResultFree(pResult);
    return 0;
}
