// SPDX-License-Identifier: Apache-2.0
//
// "ldap-restore-settle": run by the server's start program, which holds the start lock, before the
// server opens its database. Exit code 0: the server may start.
#include <cstdio>
#include <exception>

#include "tools/backup/job_error.h"
#include "tools/cli/display_text.h"
#include "tools/restore/places.h"
#include "tools/restore/recovery.h"

int main() {
    try {
        zafo::backup::RecoverBeforeStart(zafo::backup::Places());
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "ldap-restore-settle: %s\n", zafo::cli::OneLine(error.what()).c_str());
        return 1;
    }
}
