// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/program.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace zafo::rig {

namespace {

// The single JSON object on standard output of a run with --json.
Json DocumentOf(const ProgramRun &run, int exit_code) {
    EXPECT_EQ(run.exit_code, exit_code) << run.err;
    EXPECT_EQ(run.err.empty(), exit_code == 0) << run.err;
    Json document = Json::parse(run.out, nullptr, /*allow_exceptions=*/false);
    EXPECT_TRUE(document.is_object()) << run.out;
    if (!document.is_object()) return Json::object();
    EXPECT_EQ(document["schema"], 1);
    EXPECT_EQ(document["ok"], exit_code == 0);
    EXPECT_TRUE(document.contains("complete"));
    EXPECT_TRUE(document.contains("data"));
    if (exit_code != 0) {
        EXPECT_EQ(ErrorOf(run)["code"], exit_code);
    }
    return document;
}

}  // namespace

ProgramRun Zafoldap(std::vector<std::string> arguments, std::string_view input) {
    arguments.insert(arguments.begin(), "/usr/zafo/bin/zafoldap");
    return RunProgram(arguments, input);
}

ProgramRun Zafoldapserver(std::vector<std::string> arguments, std::string_view input) {
    arguments.insert(arguments.begin(), "/usr/zafo/bin/zafoldapserver");
    return RunProgram(arguments, input);
}

Json ZafoldapJson(std::vector<std::string> arguments, int exit_code, std::string_view input) {
    arguments.emplace_back("--json");
    return DocumentOf(Zafoldap(std::move(arguments), input), exit_code);
}

Json ZafoldapserverJson(std::vector<std::string> arguments, int exit_code, std::string_view input) {
    arguments.emplace_back("--json");
    return DocumentOf(Zafoldapserver(std::move(arguments), input), exit_code);
}

Json ErrorOf(const ProgramRun &run) {
    Json error = Json::parse(run.err, nullptr, /*allow_exceptions=*/false);
    EXPECT_TRUE(error.is_object()) << run.err;
    if (!error.is_object()) return Json::object();
    for (const char *member : {"code", "ldap_code", "key", "message", "hint", "detail"}) {
        EXPECT_TRUE(error.contains(member)) << member;
    }
    return error;
}

void WriteFile(const std::string &path, std::string_view text, unsigned mode) {
    std::ofstream(path) << text;
    chmod(path.c_str(), mode);
}

std::string ReadFile(const std::string &path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

void ForgetConnections() {
    unlink(kConnections);
}

}  // namespace zafo::rig
