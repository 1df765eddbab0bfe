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

std::string_view TakeField(std::string_view &rest, char separator) {
    const size_t end = rest.find(separator);
    const std::string_view field = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return field;
}

std::string_view TakeWord(std::string_view &rest) {
    const size_t begin = rest.find_first_not_of(" \t");
    rest.remove_prefix(begin == std::string_view::npos ? rest.size() : begin);
    const std::string_view word = rest.substr(0, rest.find_first_of(" \t"));
    rest.remove_prefix(word.size());
    return word;
}

bool ParseNumber(std::string_view text, unsigned &number) {
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

}  // namespace zafo::front
