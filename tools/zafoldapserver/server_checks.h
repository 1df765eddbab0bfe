// SPDX-License-Identifier: Apache-2.0
//
// The checks of the server's health. Each gathers its own facts, so that a failing one does not
// hide others; only "answer" and "operators" need a running server.
#pragma once

#include <optional>
#include <string>

#include "tools/cli/certificate.h"
#include "tools/cli/check_steps.h"
#include "tools/zafoldapserver/database_census.h"
#include "tools/zafoldapserver/local_server.h"
#include "tools/zafoldapserver/service_facts.h"
#include "tools/zafoldapserver/slapd_conf.h"

namespace zafo::cli {

struct CheckedServer {
    Session &session;
    LocalServer server = {};
    std::string certificate_file = {};  // empty: not configured
    std::optional<DatabaseCensus> census = {};
    ServiceFacts service = {};
};

CheckStep CheckConfigurationFile(CheckedServer &checked);
CheckStep CheckAccessRules(CheckedServer &checked);
CheckStep CheckEnabled(CheckedServer &checked);
CheckStep CheckRunning(CheckedServer &checked);
CheckStep CheckAnswer(CheckedServer &checked);
CheckStep CheckOperators(CheckedServer &checked);

CheckStep CheckRestart(CheckedServer &checked);
CheckStep CheckCrashes(CheckedServer &checked);

CheckStep CheckCertificateChain(CheckedServer &checked);
CheckStep CheckCertificateNames(CheckedServer &checked);
CheckStep CheckCertificateEnd(CheckedServer &checked);
CheckStep CheckAuthorityEnd(CheckedServer &checked);

CheckStep CheckDatabaseSpace(CheckedServer &checked);
CheckStep CheckUidPool(CheckedServer &checked);
CheckStep CheckGidPool(CheckedServer &checked);
CheckStep CheckWriters(CheckedServer &checked);
CheckStep CheckAdministratorDn(CheckedServer &checked);
CheckStep CheckPasswords(CheckedServer &checked);

CheckStep CheckBackupDestination(CheckedServer &checked);
CheckStep CheckBackupSchedule(CheckedServer &checked);
CheckStep CheckLastBackup(CheckedServer &checked);

// Examines this machine, not the server.
CheckStep CheckDebugSwitch(CheckedServer &checked);

// The verdicts behind the checks, on numbers alone.
CheckStep JudgeSpace(unsigned long long used, unsigned long long limit);
CheckStep JudgeCrashes(const ServiceFacts &service, std::time_t now);
CheckStep JudgePool(const NumberCensus &numbers, std::string_view which);
CheckStep JudgePasswords(const DatabaseCensus &census);
CheckStep JudgeEnd(const std::string &whose, const std::string &subject, std::time_t ends,
                   std::time_t now);

}  // namespace zafo::cli
