// SPDX-License-Identifier: Apache-2.0
#include "tests/rig/fake_tool.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "tests/rig/fake_tool_format.h"

namespace zafo::rig {

namespace {

template <class Number>
Number Parse(const std::string &text, int base = 10) {
    return static_cast<Number>(std::strtoull(text.c_str(), nullptr, base));
}

// A file's fields follow each other: name, mode, content.
class CallReader {
  public:
    explicit CallReader(FakeCall &call) : call_(call) {}

    void operator()(fake::Fact fact, std::string_view bytes) {
        const std::string text(bytes);
        switch (fact) {
            case fake::Fact::kTool:
                call_.tool = text;
                break;
            case fake::Fact::kArgument:
                call_.executed.push_back(text);
                break;
            case fake::Fact::kVariable:
                call_.environment.push_back(text);
                break;
            case fake::Fact::kDescriptor:
                call_.descriptors[Parse<int>(text)] = text.substr(text.find(' ') + 1);
                break;
            case fake::Fact::kFolder:
                call_.folder = text;
                break;
            case fake::Fact::kUmask:
                call_.umask = Parse<mode_t>(text);
                break;
            case fake::Fact::kUid:
                call_.uid = Parse<uid_t>(text);
                break;
            case fake::Fact::kGid:
                call_.gid = Parse<gid_t>(text);
                break;
            case fake::Fact::kGroup:
                call_.groups.push_back(Parse<gid_t>(text));
                break;
            case fake::Fact::kProcess:
                call_.pid = Parse<pid_t>(text);
                break;
            case fake::Fact::kParent:
                call_.parent = Parse<pid_t>(text);
                break;
            case fake::Fact::kInput:
                call_.input = text;
                break;
            case fake::Fact::kFileName:
                file_ = &call_.files[text];
                break;
            case fake::Fact::kFileMode:
                file_->mode = Parse<mode_t>(text);
                break;
            case fake::Fact::kFileContent:
                file_->content = text;
                break;
            case fake::Fact::kIgnored:
                call_.ignored_signals = Parse<unsigned long long>(text, 16);
                break;
            case fake::Fact::kBlocked:
                call_.blocked_signals = Parse<unsigned long long>(text, 16);
                break;
            case fake::Fact::kCoreLimit:
                call_.core_limit = Parse<unsigned long long>(text);
                break;
        }
    }

  private:
    FakeCall &call_;
    FakeCall::File *file_ = nullptr;
};

// The platform's files in memory, and the original option for each one that reads such a file.
constexpr const char *kPlatformFile = "/memfd:zafo-argument (deleted)";
const std::map<std::string, std::string> kReplaced = {{"-y", "-w"}, {"-T", "-s"}, {"-t", "-a"}};

// The descriptor that the path refers to, if it is such a file.
std::optional<int> PlatformFile(const FakeCall &call, const std::string &path) {
    constexpr std::string_view kFolder = "/dev/fd/";
    if (!path.starts_with(kFolder) || !call.files.contains(path)) return {};
    const auto found = call.descriptors.find(Parse<int>(path.substr(kFolder.size())));
    if (found == call.descriptors.end() || found->second != kPlatformFile) return {};
    return found->first;
}

void PutSecretsBack(FakeCall &call) {
    call.argv = call.executed;
    for (size_t i = 1; i + 1 < call.argv.size(); ++i) {
        const auto replaced = kReplaced.find(call.argv[i]);
        if (replaced == kReplaced.end()) continue;
        std::string &value = call.argv[i + 1];
        const std::optional<int> descriptor = PlatformFile(call, value);
        if (!descriptor) continue;
        call.secrets[*descriptor] = call.files.extract(value).mapped();
        call.argv[i] = replaced->second;
        value = call.secrets[*descriptor].content;
    }
}

// Whether an option that takes a secret has one. The library passes each as a separate word.
bool ShowsASecret(const FakeCall &call) {
    static const std::map<std::string, std::vector<std::string>> kOptions = {
        {"/usr/zafo/bin/ldapsearch", {"-w"}},
        {"/usr/zafo/bin/ldapmodify", {"-w"}},
        {"/usr/zafo/bin/ldappasswd", {"-w", "-s", "-a"}},
        {"/usr/zafo/bin/slappasswd", {"-s"}}};
    const auto options = call.executed.empty() ? kOptions.end() : kOptions.find(call.executed[0]);
    if (options == kOptions.end()) return false;
    for (size_t i = 1; i + 1 < call.executed.size() && call.executed[i] != "--"; ++i) {
        if (std::ranges::find(options->second, call.executed[i]) != options->second.end())
            return true;
    }
    return false;
}

}  // namespace

bool FakeCall::InputIsNull() const {
    const auto found = descriptors.find(STDIN_FILENO);
    return found != descriptors.end() && found->second == "/dev/null";
}

FakeScript &FakeScript::Add(char step, std::string_view bytes) {
    std::string field;
    fake::Append(field, step, bytes);
    const fake::StateLock lock;
    fake::WriteState(name_, field, O_APPEND);
    return *this;
}

FakeScript &FakeScript::Output(std::string_view bytes) {
    return Add(static_cast<char>(fake::Step::kOutput), bytes);
}

FakeScript &FakeScript::Error(std::string_view bytes) {
    return Add(static_cast<char>(fake::Step::kError), bytes);
}

FakeScript &FakeScript::Flood(std::string_view bytes) {
    if (bytes.empty()) throw std::invalid_argument("a flood needs bytes");
    return Add(static_cast<char>(fake::Step::kFlood), bytes);
}

FakeScript &FakeScript::Sleep(std::chrono::milliseconds duration) {
    return Add(static_cast<char>(fake::Step::kSleep), std::to_string(duration.count()));
}

FakeScript &FakeScript::Hang() {
    return Add(static_cast<char>(fake::Step::kHang), "");
}

FakeScript &FakeScript::WaitForFile(const std::string &path) {
    return Add(static_cast<char>(fake::Step::kWaitForFile), path);
}

FakeScript &FakeScript::CloseOutput() {
    return Add(static_cast<char>(fake::Step::kCloseOutput), "");
}

FakeScript &FakeScript::IgnoreSignals() {
    return Add(static_cast<char>(fake::Step::kIgnoreSignals), "");
}

FakeScript &FakeScript::MoveAway(const std::string &path) {
    return Add(static_cast<char>(fake::Step::kMoveAway), path);
}

FakeScript &FakeScript::Exit(int code) {
    return Add(static_cast<char>(fake::Step::kExit), std::to_string(code));
}

FakeScript &FakeScript::Die(int signal) {
    return Add(static_cast<char>(fake::Step::kDie), std::to_string(signal));
}

FakeTools::~FakeTools() {
    ExpectNoSecretWasShown();
    std::error_code ignored;
    std::filesystem::remove_all(fake::kStateFolder, ignored);
}

void FakeTools::Reset() {
    ExpectNoSecretWasShown();
    Clear();
}

void FakeTools::ExpectNoSecretWasShown() const {
    for (const FakeCall &call : Calls()) {
        EXPECT_FALSE(ShowsASecret(call)) << "started with a secret among its arguments: "
                                         << testing::PrintToString(call.executed);
    }
}

void FakeTools::Clear() {
    std::filesystem::create_directory(fake::kStateFolder);
    std::filesystem::permissions(fake::kStateFolder, std::filesystem::perms::all);
    const fake::StateLock lock;
    if (!lock.Held()) throw std::runtime_error("cannot keep the fake tools' state");
    for (const auto &entry : std::filesystem::directory_iterator(fake::kStateFolder)) {
        if (entry.path().filename() != "lock") std::filesystem::remove(entry.path());
    }
    scripts_.clear();
}

FakeScript FakeTools::On(const std::string &tool) {
    const std::string name = "script." + tool + "." + std::to_string(scripts_[tool]++);
    const fake::StateLock lock;
    fake::WriteState(name, "");
    return FakeScript(name);
}

std::vector<FakeCall> FakeTools::Calls() const {
    const fake::StateLock lock;
    std::vector<FakeCall> calls(Parse<size_t>(fake::ReadState("calls")));
    for (size_t i = 0; i < calls.size(); i++) {
        fake::ForEachField<fake::Fact>(fake::ReadState("call." + std::to_string(i)),
                                       CallReader(calls[i]));
        PutSecretsBack(calls[i]);
    }
    return calls;
}

bool FakeTools::WaitForCalls(size_t count, std::chrono::milliseconds limit) const {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (static_cast<size_t>(fake::ReadNumber("calls")) < count) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace zafo::rig
