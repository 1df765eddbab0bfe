// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/password_options.h"

namespace zafo::cli {

void CheckPasswordOptions(const Session &session) {
    int ways = 0;
    for (const char *option : {"password-stdin", "password-file", "random-password"})
        ways += session.invocation.Has(option) ? 1 : 0;
    if (ways > 1) {
        RefuseUsage(
            session,
            "--password-stdin, --password-file and --random-password cannot be used together");
    }
}

void PrintRandomPassword(Session &session, const std::string &password) {
    if (session.invocation.Has("random-password") && session.Options().form != Form::kJson)
        session.streams.Out(password + "\n");
}

}  // namespace zafo::cli
