// SPDX-License-Identifier: Apache-2.0
#include "host/core/secret_arguments.h"

#include <cerrno>
#include <string>
#include <string_view>

#include "host/front/option.h"
#include "host/front/secret_file.h"

namespace zafo {

namespace {

constexpr std::string_view kTools = "/usr/zafo/bin/";

// The tool at a path, if it takes secrets.
const front::Tool *ToolWithSecrets(std::string_view path) {
    if (!path.starts_with(kTools)) return nullptr;
    const front::Tool *tool = front::FindTool(path.substr(kTools.size()));
    return tool != nullptr && !tool->secrets.empty() ? tool : nullptr;
}

}  // namespace

int SecretArguments::Take(const char *path, char *const argv[], int first) {
    given_ = argv;
    const front::Tool *tool = ToolWithSecrets(path);
    if (tool == nullptr) return 0;
    Rewrite(*tool, first);
    return MakeFiles(first);
}

void SecretArguments::AddText(std::string_view text) {
    texts_.push_back(std::make_unique<char[]>(text.size() + 1));
    text.copy(texts_.back().get(), text.size());
    rewritten_.push_back(texts_.back().get());
}

// Texts that stay are the caller's; only the replacements are allocated.
void SecretArguments::Rewrite(const front::Tool &tool, int first) {
    rewritten_.push_back(given_[0]);
    char *const *at = given_ + 1;
    for (; *at != nullptr && !front::EndsOptions(*at); ++at) {
        if (!front::HoldsOptions(*at)) {
            rewritten_.push_back(*at);
            continue;
        }
        const front::Option option = front::ReadOption(tool, *at, at[1]);
        const char letter =
            option.value == nullptr ? '\0' : front::FileLetter(tool, *option.letter);
        if (letter == '\0') {
            rewritten_.push_back(*at);
            if (option.value_is_next && option.value != nullptr) rewritten_.push_back(*++at);
            continue;
        }
        if (option.letter != option.flags) AddText({*at, option.letter});
        AddText(std::string{'-', letter});
        AddText("/dev/fd/" + std::to_string(first + static_cast<int>(secrets_.size())));
        secrets_.push_back(option.value);
        if (option.value_is_next) ++at;
    }
    while (*at != nullptr)
        rewritten_.push_back(*at++);
    rewritten_.push_back(nullptr);
}

int SecretArguments::MakeFiles(int first) {
    files_.reserve(secrets_.size());
    const int least = first + static_cast<int>(secrets_.size());
    for (const char *secret : secrets_) {
        files_.push_back(front::MakeSecretFile("zafo-argument", secret, least));
        if (!files_.back().IsOpen()) return errno;
    }
    return 0;
}

}  // namespace zafo
