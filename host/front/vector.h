// SPDX-License-Identifier: Apache-2.0
//
// Turns the argument vector that a caller passes into the one that the tool gets.
#pragma once

#include <cstddef>
#include <string_view>

#include "host/front/tool.h"

namespace zafo::front {

// Two texts as one, which lives until the end of the process.
char *Join(std::string_view head, std::string_view tail);
const char *Join(std::string_view head, unsigned number);

// An argument vector under construction, always terminated by NULL. Strings are borrowed from the
// process's own vector or live until its end.
class Vector {
  public:
    explicit Vector(size_t capacity);
    ~Vector();
    Vector(const Vector &) = delete;
    Vector &operator=(const Vector &) = delete;

    void Add(const char *argument);
    void Add(const Vector &other);
    size_t Size() const { return size_; }
    char **Data() { return items_; }
    const char *const *Data() const { return items_; }

  private:
    char **items_;
    size_t size_ = 0;
    size_t capacity_;
};

// Adds the arguments after argv[0] as the tool is to see them: a secret as the name of a memory
// file, "-Z" made strict. On return argv contains no secret.
void Rewrite(const Tool &tool, int argc, char **argv, Vector &out);

// The same for openssl: of the files of "rand -rand LIST" only the readable ones.
void RewriteRandom(int argc, char **argv, Vector &out);

// How long a client waits, in seconds, and how much it accepts.
struct Limits {
    unsigned answer = 60;
    unsigned network = 10;         // for a connection
    unsigned whole_answer = 3600;  // from the first byte of a call to its last
    unsigned size = 16384;         // MiB that it may print
};

// From "/usr/zafo/etc/tools.conf": lines "timeout N", "network_timeout N" and "answer_time N", 1 to
// 86400, and "answer_size N", 1 to 1048576. Anything else leaves the default.
Limits ReadLimits();

// Adds what every client gets: trust, time limits, unfolded output.
void AddClientOptions(const Tool &tool, const Limits &limits, Vector &out);

}  // namespace zafo::front
