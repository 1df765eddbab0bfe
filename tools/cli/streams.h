// SPDX-License-Identifier: Apache-2.0
//
// Where a program reads and writes: data on standard output, messages and questions on standard
// error.
//
// The LDAP tools that the library runs inherit descriptor 2 and report failures there. While a
// Streams exists, descriptor 2 is a small file in memory and the program keeps the real standard
// error for itself: the tools' words become the detail of an error and never mix with it.
#pragma once

#include <string>
#include <string_view>

#include "base/unique_fd.h"
#include "tools/cli/failure.h"
#include "tools/cli/parser.h"

namespace zafo::cli {

class Streams {
  public:
    Streams();
    ~Streams();
    Streams(const Streams &) = delete;
    Streams &operator=(const Streams &) = delete;

    void Configure(const Globals &globals);

    // Data. Fails with "output_failed", at the latest in Flush.
    void Out(std::string_view text);
    void Flush();

    // Messages, with hidden characters made visible (display_text.h). A note is dropped with
    // --quiet and with JSON, where standard error is for a single error object; Verbose text needs
    // -v or -vv.
    void Note(std::string_view text);
    void Verbose(int verbosity, std::string_view text);
    void Report(const Failure &failure);

    // A line on a terminal, overwritten by the next message or line; "" erases it.
    void Passing(std::string_view line);
    // A line for a program that watches, printed even with JSON.
    void Event(std::string_view line);

    // Asks a question on the terminal and returns the answer; call CanAsk first.
    bool CanAsk() const;
    std::string Ask(std::string_view question, bool echo);

    // What tools have written to standard error since the last ForgetToolWords.
    std::string ToolWords() const;
    void ForgetToolWords();

    bool OutIsTerminal() const { return out_terminal_; }
    bool ErrorIsTerminal() const { return error_terminal_; }
    bool ColorsOut() const { return ColorsOn(out_terminal_); }
    std::string Bold(std::string_view text) const;  // where colours are on
    int Columns() const;                            // of the terminal; 0: not a terminal
    const Globals &Options() const { return globals_; }

  private:
    bool ColorsOn(bool terminal) const;
    void Message(std::string_view text);

    Globals globals_;
    UniqueFd real_error_;
    UniqueFd tool_words_;
    bool out_terminal_;
    bool error_terminal_;
    bool passing_ = false;
};

// Interruption by Ctrl-C: the first one ends the work at the next entry or question, the second one
// ends the process.
void CatchInterrupts();
bool Interrupted();

// The interruption has been handled: what remains to be done and reported can be interrupted anew.
void ForgetInterrupt();

}  // namespace zafo::cli
