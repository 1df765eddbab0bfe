// SPDX-License-Identifier: Apache-2.0
//
// check: a list for people and for monitoring, with stable ids.
#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/directives.h"
#include "tools/zafoldapserver/commands.h"
#include "tools/zafoldapserver/server_checks.h"

namespace zafo::cli {

namespace {

struct CheckRow {
    const char *id;
    CheckStep (*check)(CheckedServer &);
    bool without_server = false;  // also run where no server is set up
};

constexpr CheckRow kRows[] = {
    {"configuration", CheckConfigurationFile},
    {"access-rules", CheckAccessRules},
    {"enabled", CheckEnabled},
    {"running", CheckRunning},
    {"answer", CheckAnswer},
    {"restart", CheckRestart},
    {"crashes", CheckCrashes},
    {"operators", CheckOperators},
    {"certificate-chain", CheckCertificateChain},
    {"certificate-names", CheckCertificateNames},
    {"certificate-end", CheckCertificateEnd},
    {"authority-end", CheckAuthorityEnd},
    {"database-space", CheckDatabaseSpace},
    {"id-pool-uid", CheckUidPool},
    {"id-pool-gid", CheckGidPool},
    {"writers", CheckWriters},
    {"administrator-dn", CheckAdministratorDn},
    {"passwords", CheckPasswords},
    {"backup-destination", CheckBackupDestination},
    {"backup-schedule", CheckBackupSchedule},
    {"backup-last", CheckLastBackup},
    {"debug-switch", CheckDebugSwitch, true},
};

constexpr int kWidth = 19;
const StepWords kWords = {.step = {"id", "ID"},
                          .result = {"severity", "SEVERITY"},
                          .detail = {"cause", "CAUSE"},
                          .hint = {"fix", "FIX"},
                          .failed = "error"};

CheckStep CheckSetUp(const LocalServer &server) {
    if (!server.SetUp())
        return Wrong(
            "the server is not set up",
            "zafoldapserver enable --suffix dc=… sets it up; zafoldapserver enable --help");
    return Good(fmt::format("suffix {}, administrator {}", server.suffix, server.admin_dn));
}

int CheckServer(Session &session) {
    RequireRoot(session);
    CheckedServer checked{.session = session, .server = LookAtServer(), .service = LookAtService()};
    checked.certificate_file = DirectiveOf(kSlapdConf, "TLSCertificateFile");
    if (checked.server.SetUp())
        checked.census = TakeCensus({.administrator = checked.server.admin_dn});
    StepPrinter printer(session, kWidth, kWords);
    CheckStep step = CheckSetUp(checked.server);
    step.step = "set-up";
    printer.Print(step);
    for (const CheckRow &row : kRows) {
        step = checked.server.SetUp() || row.without_server ? row.check(checked)
                                                            : Skipped("the server is not set up");
        step.step = row.id;
        printer.Print(step);
        if (Interrupted()) throw OwnFailure(Message::kInterrupted, {});
    }
    const size_t errors = printer.Count(StepResult::kFailed);
    printer.Finish(errors == 0);
    if (errors > 0)
        throw OwnFailure(Message::kServerUnwell,
                         {.reason = fmt::format("{} of the checks found an error", errors)});
    return 0;
}

}  // namespace

Command CheckCommand() {
    return {
        .noun = "check",
        .run = CheckServer,
        .summary = "Check the server's health",
        .description =
            "Runs these checks, even on a stopped server: set-up, configuration (slapd accepts "
            "it), access-rules (not changed by hand), enabled, running, answer (over StartTLS with "
            "the saved connection \"root\"), restart (it is restarted when it ends by itself), "
            "crashes (a warning for a week after one), operators (the group Directory Operators "
            "exists and lists only existing users), certificate-chain (signed by the authority "
            "trusted here), certificate-names (for this host and localhost), certificate-end and "
            "authority-end (a warning 30 days before), database-space (a warning at 80 %), "
            "id-pool-uid and id-pool-gid (a warning when fewer than 5 % are free), writers (only "
            "one server accepts changes), administrator-dn (no entry has it), passwords (one hash "
            "of moderate cost per account), backup-destination (writable), backup-schedule (as "
            "set, also in the scheduler), backup-last (the newest one is complete, not older than "
            "two periods, and the last run did not fail), debug-switch (passwords go to the system "
            "log while /tmp/zafoldap_debug exists).\n\n"
            "Fields: severity (ok, warning, error, skipped), id, cause, fix. The ids never change. "
            "The exit code is 1 when there is an error.",
        .examples = {{"zafoldapserver check", "a table to read"},
                     {"zafoldapserver check --json", "for a monitoring system"}},
        .exits = {4, 130}};
}

}  // namespace zafo::cli
