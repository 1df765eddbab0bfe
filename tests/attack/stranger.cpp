// SPDX-License-Identifier: Apache-2.0
#include "tests/attack/stranger.h"

namespace zafo::test {

namespace {

std::vector<std::string> Become(const std::vector<std::string> &argv) {
    const std::string number = std::to_string(kNobody);
    std::vector<std::string> words{"setpriv", "--reuid",        number, "--regid",
                                   number,    "--clear-groups", "--"};
    words.insert(words.end(), argv.begin(), argv.end());
    return words;
}

}  // namespace

bool HasOtherAccounts() {
    static const bool has = rig::RunProgram(Become({"true"})).exit_code == 0;
    return has;
}

rig::ProgramRun AsNobody(const std::vector<std::string> &argv, std::string_view input) {
    return rig::RunProgram(Become(argv), input);
}

}  // namespace zafo::test
