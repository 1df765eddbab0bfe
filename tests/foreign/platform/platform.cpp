// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ostream>

#include "tests/foreign/platform/foreign.h"
#include "tests/foreign/platform/state.h"

namespace zafo::foreign {

namespace {
Platform *current = nullptr;
}

void PrintTo(const Temperament &temperament, std::ostream *out) {
    *out << temperament.name;
}

std::string TemperamentName(const testing::TestParamInfo<Temperament> &info) {
    return info.param.name;
}

Quarantine::~Quarantine() {
    for (void *block : blocks_)
        std::free(block);
}

void Quarantine::Take(void *block, size_t size) {
    // Keeps the text terminated for any reader.
    if (size != 0) {
        std::memset(block, '?', size);
        static_cast<char *>(block)[size - 1] = '\0';
    }
    blocks_.push_back(block);
}

Tool &Tool::Prints(std::string text) {
    output_ += text;
    return *this;
}

Tool &Tool::Exits(int code) {
    status_ = code;
    exits_ = true;
    return *this;
}

Tool &Tool::Dies(int signal) {
    status_ = signal;
    exits_ = false;
    return *this;
}

Tool &Tool::Status(int raw) {
    status_ = raw;
    raw_ = true;
    return *this;
}

Tool &Tool::CannotStart(int slot) {
    starts_ = false;
    start_error_ = slot;
    return *this;
}

Tool &Tool::ReadFails() {
    read_fails_ = true;
    return *this;
}

Tool &Tool::Interrupted(int times) {
    interrupted_ = times;
    return *this;
}

Tool &Tool::Does(std::function<void(const Run &)> action) {
    action_ = std::move(action);
    return *this;
}

Tool &Tool::Always() {
    always_ = true;
    return *this;
}

Tool &Tool::Then() {
    return owner_->On(tool_, fits_);
}

int Tool::WaitStatus() const {
    return raw_ || !exits_ ? status_ : status_ << 8;
}

int Tool::ExitResult() const {
    return raw_ || exits_ ? status_ : 128 + status_;
}

Platform::Platform(const Temperament &temperament)
    : temperament_(temperament), state_(std::make_unique<State>()) {
    current = this;
}

Platform::~Platform() {
    if (current == this) current = nullptr;
}

Platform &Platform::Get() {
    if (current == nullptr) {
        std::fputs("foreign platform: a platform function was called outside a test\n", stderr);
        std::abort();
    }
    return *current;
}

Tool &Platform::On(const std::string &tool) {
    return On(tool, [](const Strings &) { return true; });
}

Tool &Platform::On(const std::string &tool, const std::string &in_an_argument) {
    return On(tool, [in_an_argument](const Strings &arguments) {
        return std::any_of(arguments.begin(), arguments.end(), [&](const std::string &argument) {
            return argument.find(in_an_argument) != std::string::npos;
        });
    });
}

Tool &Platform::On(const std::string &tool, const char *in_an_argument) {
    return On(tool, std::string(in_an_argument));
}

Tool &Platform::On(const std::string &tool, std::function<bool(const Strings &)> fits) {
    Tool &answer = state_->answers.emplace_back();
    answer.owner_ = this;
    answer.tool_ = tool;
    answer.fits_ = std::move(fits);
    return answer;
}

Tool Platform::AnswerTo(const Run &run) {
    for (Tool &answer : state_->answers) {
        if (answer.tool_ != run.tool || (answer.used_ && !answer.always_) ||
            !answer.fits_(run.argv))
            continue;
        answer.used_ = true;
        return answer;
    }
    return Tool{};
}

int Platform::AnswersLeft() const {
    return static_cast<int>(
        std::count_if(state_->answers.begin(), state_->answers.end(),
                      [](const Tool &answer) { return !answer.used_ && !answer.always_; }));
}

const std::vector<Call> &Platform::Calls() const {
    return state_->calls;
}

std::vector<Call> Platform::CallsOf(const std::string &function) const {
    std::vector<Call> calls;
    for (const Call &call : state_->calls)
        if (call.function == function) calls.push_back(call);
    return calls;
}

Strings Platform::Order(const std::set<std::string> &functions) const {
    Strings order;
    for (const Call &call : state_->calls)
        if (functions.count(call.function) != 0) order.push_back(call.function);
    return order;
}

const std::vector<Run> &Platform::Runs() const {
    return state_->runs;
}

std::vector<Run> Platform::RunsOf(const std::string &tool) const {
    std::vector<Run> runs;
    for (const Run &run : state_->runs)
        if (run.tool == tool) runs.push_back(run);
    return runs;
}

void Platform::Forget() {
    state_->calls.clear();
    state_->log.clear();
    state_->forgotten_runs += state_->runs.size();
    state_->runs.clear();
}

void Platform::Fail(const std::string &function, int nth, int result, int error) {
    Rule rule;
    rule.function = function;
    rule.nth = nth;
    rule.result = result;
    rule.slot = error;
    state_->rules.push_back(rule);
}

void Platform::Returns(const std::string &function, int result, int nth) {
    Rule rule;
    rule.kind = Rule::Kind::kReturn;
    rule.function = function;
    rule.nth = nth;
    rule.result = result;
    state_->rules.push_back(rule);
}

void Platform::Fills(const std::string &function, int nth, char byte) {
    Rule rule;
    rule.kind = Rule::Kind::kFill;
    rule.function = function;
    rule.nth = nth;
    rule.byte = byte;
    state_->rules.push_back(rule);
}

void Platform::Watch(const std::string &function, std::function<void(const Call &)> action) {
    state_->watches.emplace(function, std::move(action));
}

std::string Platform::Encipher(const std::string &clear) {
    return "<" + std::string(clear.rbegin(), clear.rend()) + ">";
}

std::string Platform::NtHash(const std::string &clear) {
    static const char digits[] = "0123456789ABCDEF";
    unsigned long long state = 1469598103934665603ULL;
    std::string hash;
    for (int i = 0; i < 32; ++i) {
        for (const char c : clear)
            state = (state ^ static_cast<unsigned char>(c)) * 1099511628211ULL;
        state += static_cast<unsigned long long>(i) + 1;
        hash += digits[(state >> 32) & 15];
    }
    return hash;
}

const char *Platform::SslText(int type) {
    static const char *const texts[] = {"cleartext", "wrapped", "upgraded"};
    return type < 0 || type > 2 ? nullptr : texts[type];
}

Strings Platform::Outstanding() const {
    Strings outstanding;
    for (const auto &[what, by] : state_->live)
        if (by != kTestsList) outstanding.push_back(by);
    return outstanding;
}

const Strings &Platform::Faults() const {
    return state_->faults;
}

Strings Platform::TakeFaults() {
    return std::exchange(state_->faults, {});
}

std::string Text(const char *text) {
    return text == nullptr ? "(null)" : text;
}

std::string Hex(unsigned long number) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%lx", number);
    return text;
}

char *Copy(const char *text) {
    if (text == nullptr) return nullptr;
    const size_t size = std::strlen(text) + 1;
    char *copy = static_cast<char *>(std::malloc(size));
    if (copy == nullptr) std::abort();
    std::memcpy(copy, text, size);
    return copy;
}

char *CopyOrNull(const std::optional<std::string> &text) {
    return text ? Copy(text->c_str()) : nullptr;
}

Step::Step(const char *function, Strings arguments, const QLIBSZHASH *map)
    : platform_(Platform::Get()), temperament_(platform_.temperament()), function_(function) {
    Call call{function, std::move(arguments), {}};
    if (map != nullptr) call.map = PairsOf(map);
    state().calls.push_back(call);
    const auto [first, last] = state().watches.equal_range(function);
    for (auto watch = first; watch != last; ++watch)
        watch->second(call);
    for (Rule &rule : state().rules) {
        if (rule.function != function) continue;
        ++rule.seen;
        if (rule.nth != 0 && rule.seen != rule.nth) continue;
        (rule.kind == Rule::Kind::kFail     ? fail_
         : rule.kind == Rule::Kind::kReturn ? give_
                                            : fill_) = &rule;
    }
    if (fail_ != nullptr && fail_->slot != 0) platform_.slot = fail_->slot;
}

int Step::Failure(int slot) const {
    if (slot != 0) platform_.slot = slot;
    return -1;
}

int Step::Fault(const std::string &what) const {
    state().faults.push_back(std::string(function_) + ": " + what);
    return Failure(QLIB_ERR_BAD_ARGUMENT);
}

bool Step::Put(const std::string &text, char *buffer, size_t size) const {
    if (!Given(buffer, "buffer")) return false;
    if (fill_ != nullptr) {
        std::memset(buffer, fill_->byte, size);
        return true;
    }
    if (text.size() + 1 > size) {
        Failure(QLIB_ERR_BUFFER_TOO_SMALL);
        return false;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

bool Step::Given(const void *pointer, const char *what) const {
    if (pointer == nullptr) Fault(std::string("no ") + what);
    return pointer != nullptr;
}

bool Step::Live(const void *what, const char *kind) const {
    if (!Given(what, kind)) return false;
    if (state().live.count(what) != 0) return true;
    Fault(std::string(state().freed.count(what) != 0 ? "a freed " : "not a ") + kind);
    return false;
}

}  // namespace zafo::foreign
