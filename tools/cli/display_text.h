// SPDX-License-Identifier: Apache-2.0
//
// Directory text made fit to print. A value can hold anything: control
// characters that would drive the terminal, bytes that are no text at all.
#pragma once

#include <string>
#include <string_view>

namespace zafo::cli {

// Printable ASCII only: most values are, and need no closer look.
bool IsPlainAscii(std::string_view text);

// UTF-8 without control characters other than tab and line breaks.
bool IsText(std::string_view bytes);

// The text on one line: control characters as \t, \n, \r, \xNN. Backslashes stay as they are,
// because DNs are full of them and people copy DNs.
std::string OneLine(std::string_view text);

// Columns of a terminal that the text takes.
int DisplayWidth(std::string_view text);

// The text cut to `columns` with "…" at the end when it is wider.
std::string Shortened(std::string_view text, int columns);

std::string Base64(std::string_view bytes);

// A field of CSV (RFC 4180): in quotes when it needs them.
std::string CsvField(std::string_view text);

}  // namespace zafo::cli
