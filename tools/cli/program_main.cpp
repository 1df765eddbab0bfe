// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/program_main.h"

#include <signal.h>
#include <syslog.h>

#include <new>

#include <fmt/format.h>

#include "tools/cli/completion.h"
#include "tools/cli/help.h"
#include "tools/cli/leftover_files.h"

namespace zafo::cli {

namespace {

constexpr std::string_view kVersion = ZAFO_VERSION;

void PrintHelp(Session &session) {
    const Program &program = session.program;
    const Invocation &invocation = session.invocation;
    const std::string text = invocation.command != nullptr
                                 ? CommandHelp(program, *invocation.command)
                             : !invocation.noun.empty() ? NounHelp(program, invocation.noun)
                                                        : ProgramHelp(program);
    session.streams.Out(text);
}

int Run(Session &session) {
    switch (session.invocation.ask) {
        case Ask::kHelp:
            PrintHelp(session);
            return 0;
        case Ask::kVersion:
            session.streams.Out(fmt::format("{} {}\n", session.program.name, kVersion));
            return 0;
        case Ask::kCommand:
            break;
    }
    return session.invocation.command->run(session);
}

int Tell(Streams &streams, JsonDocument &document, const Failure &failure) {
    if (streams.Options().form == Form::kJson && failure.id != Message::kOutputFailed)
        document.Fail();
    streams.Report(failure);
    return failure.exit_code;
}

int RunAndReport(Streams &streams, JsonDocument &document, const Program &program, int argc,
                 char **argv) {
    try {
        Globals globals;
        globals.form = RequestedForm(argc, argv);
        streams.Configure(globals);
        const Invocation invocation = Parse(program, argc, argv);
        streams.Configure(invocation.globals);
        Session session{program, invocation, streams, document};
        const int exit_code = Run(session);
        streams.Flush();
        return exit_code;
    } catch (const Failure &failure) {
        return Tell(streams, document, failure);
    } catch (const std::bad_alloc &) {
        return Tell(streams, document, OwnFailure(Message::kOutOfMemory, {}));
    }
}

// Called by a shell in the middle of a line: the words are not this program's own options.
int Complete(const Program &program, std::vector<std::string> words) {
    const Streams silence;  // swallows messages, from tools and from the program itself
    fputs(AnswerCompletion(program, words).c_str(), stdout);
    return 0;
}

}  // namespace

int RunProgram(const Program &program, int argc, char **argv) {
    if (argc > 1 && argv[1] == kComplete) return Complete(program, {argv + 2, argv + argc});
    openlog(program.name.data(), LOG_PID, LOG_USER);
    CatchInterrupts();
    signal(SIGXFSZ, SIG_IGN);  // exceeding the file size limit then fails the write
    RemoveLeftoverFiles();
    Streams streams;
    JsonDocument document(streams);
    try {
        return RunAndReport(streams, document, program, argc, argv);
    } catch (const Failure &failure) {  // the output broke while a failure was reported
        streams.Report(failure);
        return failure.exit_code;
    }
}

}  // namespace zafo::cli
