// SPDX-License-Identifier: Apache-2.0
//
// One argument of a tool, read as the tool's own getopt reads it. Shared by the front and the
// platform that starts it.
#pragma once

#include "host/front/tool.h"

namespace zafo::front {

// Flags, then perhaps a letter with a value.
struct Option {
    char *flags = nullptr;   // after the dash
    char *letter = nullptr;  // nullptr: flags only
    char *value = nullptr;   // nullptr: missing, although the letter requires one
    bool value_is_next = false;
};

// Whether the argument holds options at all: a dash and more.
bool HoldsOptions(const char *argument);

// "--": the rest are not options, whatever they look like.
bool EndsOptions(const char *argument);

// Reads an argument that holds options; `next` is the one after it, or nullptr.
Option ReadOption(const Tool &tool, char *argument, char *next);

// If this letter's value is a secret: the letter that reads it from a file; else 0.
char FileLetter(const Tool &tool, char letter);

}  // namespace zafo::front
