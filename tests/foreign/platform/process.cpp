// SPDX-License-Identifier: Apache-2.0
//
// Simulated child processes: a tool's output comes from a stream, its status from the test.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "tests/foreign/platform/state.h"

namespace zafo::foreign {

namespace {

Strings Environment() {
    Strings environment;
    for (char **variable = environ; variable != nullptr && *variable != nullptr; ++variable)
        environment.emplace_back(*variable);
    std::sort(environment.begin(), environment.end());
    return environment;
}

void TakeChange(Run &run) {
    for (size_t i = 0; i + 1 < run.argv.size(); ++i) {
        struct stat status {};
        if ((run.argv[i] != "-f" && run.argv[i] != "-l") ||
            stat(run.argv[i + 1].c_str(), &status) != 0)
            continue;
        run.change = FileText(run.argv[i + 1]).value_or("");
        run.change_mode = status.st_mode & 07777;
    }
}

// Records the run and finds its answer.
Tool Start(const Step &step, const char *path, Strings argv, const char *how, int bits = 0) {
    Run run;
    run.path = path;
    run.tool = run.path.substr(run.path.rfind('/') + 1);
    run.argv = std::move(argv);
    run.how = how;
    run.bits = bits;
    run.environment = Environment();
    TakeChange(run);
    const Tool answer = step.platform().AnswerTo(run);
    step.state().runs.push_back(run);
    if (answer.starts())
        answer.Act(run);
    else
        step.Failure(answer.start_error());
    return answer;
}

ssize_t Read(void *cookie, char *buffer, size_t size) {
    auto *stream = static_cast<Stream *>(cookie);
    if (stream->interrupted > 0) {
        --stream->interrupted;
        errno = EINTR;
        return -1;
    }
    const size_t left = stream->output.size() - stream->position;
    if (left == 0 && stream->read_fails) {
        errno = EIO;
        return -1;
    }
    // Pieces of one to seven bytes, and just one byte for the first read.
    const size_t piece = stream->awkward ? stream->position % 7 + 1 : left;
    const size_t count = std::min({left, size, piece});
    stream->output.copy(buffer, count, stream->position);
    stream->position += count;
    if (count == 0 && stream->run != SIZE_MAX) {
        Platform::State &state = Platform::Get().state();
        if (stream->run >= state.forgotten_runs)
            state.runs[stream->run - state.forgotten_runs].read_to_end = true;
    }
    return static_cast<ssize_t>(count);
}

FILE *Open(const Step &step, const Tool &answer) {
    if (!answer.starts()) return nullptr;
    auto stream = std::make_unique<Stream>();
    stream->run = step.state().forgotten_runs + step.state().runs.size() - 1;
    stream->output = answer.output();
    stream->interrupted = answer.interrupted();
    stream->read_fails = answer.read_fails();
    stream->awkward = step.temperament().awkward_chunks;
    stream->status = answer.WaitStatus();
    FILE *file = fopencookie(stream.get(), "r", {Read, nullptr, nullptr, nullptr});
    if (file == nullptr) std::abort();
    const Run &run = step.state().runs.back();
    step.state().Made(file, run.how + " " + run.tool);
    step.state().streams[file] = std::move(stream);
    return file;
}

Strings Known(const char *path, const Strings &arguments) {
    Strings all{Text(path)};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

Strings Vector(char *const argv[]) {
    Strings arguments;
    for (size_t i = 0; argv != nullptr && argv[i] != nullptr; ++i)
        arguments.emplace_back(argv[i]);
    return arguments;
}

// The arguments after argv[0], which must be the path.
bool WithoutName(const Step &step, const char *path, Strings &arguments) {
    if (arguments.empty() || arguments[0] != path) {
        step.Fault("argv[0] is not the path");
        return false;
    }
    arguments.erase(arguments.begin());
    return true;
}

Strings Variable(va_list list) {
    Strings arguments;
    for (const char *argument = va_arg(list, const char *); argument != nullptr;
         argument = va_arg(list, const char *))
        arguments.emplace_back(argument);
    return arguments;
}

bool Readable(const Step &step, const char *path, const char *mode) {
    if (!step.Given(path, "path") || !step.Given(mode, "mode")) return false;
    if (std::string(mode) == "r") return true;
    step.Fault(std::string("mode ") + mode);
    return false;
}

}  // namespace

}  // namespace zafo::foreign

using namespace zafo::foreign;

FILE *QLIBCPopen(const char *szPath, const char *szMode, ...) {
    va_list list;
    va_start(list, szMode);
    const Strings arguments = Variable(list);
    va_end(list);
    const Step step("QLIBCPopen", Known(szPath, arguments));
    if (step.Fails() || !Readable(step, szPath, szMode)) return nullptr;
    return Open(step, Start(step, szPath, arguments, "QLIBCPopen r"));
}

FILE *QLIBCPopenv(const char *szPath, const char *szMode, char *const argv[]) {
    Strings arguments = Vector(argv);
    const Step step("QLIBCPopenv", Known(szPath, arguments));
    if (step.Fails() || !Readable(step, szPath, szMode) || !WithoutName(step, szPath, arguments))
        return nullptr;
    return Open(step, Start(step, szPath, arguments, "QLIBCPopenv r"));
}

int QLIBCPclose(FILE *pStream) {
    const Step step("QLIBCPclose", {});
    if (!step.Given(pStream, "stream")) return -1;
    const auto found = step.state().streams.find(pStream);
    if (found == step.state().streams.end()) return step.Fault("not an open stream");
    const std::unique_ptr<Stream> stream = std::move(found->second);
    step.state().streams.erase(found);
    step.state().live.erase(pStream);
    std::fclose(pStream);
    if (stream->run >= step.state().forgotten_runs)
        step.state().runs[stream->run - step.state().forgotten_runs].closed = true;
    return step.Fails() ? step.Result() : step.Success(stream->status);
}

int QLIBCExec(const char *szPath, const char *szArg1, const char *szArg2, const char *szArg3,
              const char *szArg4) {
    Strings arguments;
    for (const char *argument : {szArg1, szArg2, szArg3, szArg4}) {
        if (argument == nullptr) break;
        arguments.emplace_back(argument);
    }
    const Step step("QLIBCExec", Known(szPath, arguments));
    if (step.Fails()) return step.Result();
    if (!step.Given(szPath, "path")) return -1;
    const Tool answer = Start(step, szPath, arguments, "QLIBCExec");
    return answer.starts() ? step.Success(answer.ExitResult()) : -1;
}

int QLIBCExecl(const char *szPath, int nOptions, ...) {
    va_list list;
    va_start(list, nOptions);
    const Strings arguments = Variable(list);
    va_end(list);
    Strings known = Known(szPath, arguments);
    known.insert(known.begin() + 1, Hex(static_cast<unsigned>(nOptions)));
    const Step step("QLIBCExecl", known);
    if (step.Fails()) return step.Result();
    if (!step.Given(szPath, "path")) return -1;
    const Tool answer = Start(step, szPath, arguments, "QLIBCExecl", nOptions);
    return answer.starts() ? step.Success(answer.WaitStatus()) : -1;
}

int QLIBCExecv(const char *szPath, char *const argv[], int nFlags) {
    Strings arguments = Vector(argv);
    Strings known = Known(szPath, arguments);
    known.insert(known.begin() + 1, Hex(static_cast<unsigned>(nFlags)));
    const Step step("QLIBCExecv", known);
    if (step.Fails()) return step.Result();
    if (!step.Given(szPath, "path") || !WithoutName(step, szPath, arguments)) return -1;
    const Tool answer = Start(step, szPath, arguments, "QLIBCExecv", nFlags);
    return answer.starts() ? step.Success(answer.ExitResult()) : -1;
}

int QLIBCStartError(char *szPath, size_t cbPath) {
    const Step step("QLIBCStartError", {Decimal(cbPath)});
    if (szPath != nullptr && cbPath != 0) szPath[0] = '\0';
    return step.Success(0);
}

int QLIBCProcAlive(pid_t pid) {
    const Step step("QLIBCProcAlive", {Decimal(pid)});
    if (step.Fails()) return step.Result();
    const int alive = step.temperament().success == 0 ? 1 : step.temperament().success;
    return step.Success(step.platform().alive.count(pid) != 0 ? alive : 0);
}

pid_t QLIBCReadPidFile(const char *szPath) {
    const Step step("QLIBCReadPidFile", {Text(szPath)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szPath, "path")) return 0;
    const auto found = step.platform().pid_files.find(szPath);
    return step.Success(found == step.platform().pid_files.end() ? 0 : found->second);
}
