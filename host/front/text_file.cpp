// SPDX-License-Identifier: Apache-2.0
#include "host/front/text_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>

#include "base/unique_fd.h"

namespace zafo::front {

TextFile::TextFile(const char *path) {
    const UniqueFd fd(open(path, O_RDONLY | O_CLOEXEC));
    if (!fd.IsOpen()) return;
    size_t room = 0;
    for (ssize_t n = 1; n > 0;) {
        if (room - size_ < 4096) {
            room = room == 0 ? 16384 : room * 2;
            auto *larger = static_cast<char *>(std::realloc(text_, room));
            if (larger == nullptr) break;
            text_ = larger;
        }
        n = read(fd.Get(), text_ + size_, room - size_);
        if (n > 0) size_ += static_cast<size_t>(n);
    }
}

TextFile::~TextFile() {
    std::free(text_);
}

std::string_view TakeWord(std::string_view *text) {
    const size_t begin = text->find_first_not_of(" \t");
    text->remove_prefix(begin == std::string_view::npos ? text->size() : begin);
    const std::string_view word = text->substr(0, text->find_first_of(" \t"));
    text->remove_prefix(word.size());
    return word;
}

bool ParseNumber(std::string_view text, unsigned &number) {
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

}  // namespace zafo::front
