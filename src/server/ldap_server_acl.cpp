// SPDX-License-Identifier: Apache-2.0
//
// The local server's access rules, slapd.access(5). slapd applies the first rule whose target
// matches, and in it the first clause whose subject matches. Operators are matched by a set: the
// bound user's "uid" is one of the "memberUid" values of their group.
#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "base/unique_fd.h"
#include "base/write_all.h"
#include "platform/ldap.h"
#include "src/accounts/account_record.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/text.h"
#include "src/server/server_files.h"
#include "zafoldap/server.h"

namespace {

constexpr size_t kMaxPath = 4095;

// Placeholder for the operators, whose subject depends on the suffix.
constexpr const char *kOperators = nullptr;

struct Clause {
    const char *subject;
    const char *right;  // nullptr: unused
};

struct Rule {
    const char *target;
    std::array<Clause, 3> clauses;
};

// Permission to set a password does not include reading it: "=w" is less than "write".
constexpr Rule kRules[] = {
    {"dn.base=\"\"", {{{"*", "read"}}}},
    {"dn.base=\"cn=Subschema\"", {{{"*", "read"}}}},
    {"attrs=userPassword", {{{"self", "=w"}, {kOperators, "=w"}, {"anonymous", "auth"}}}},
    {"attrs=sambaLMPassword,sambaNTPassword", {{{"self", "write"}, {kOperators, "write"}}}},
    {"attrs=shadowLastChange,sambaPwdLastSet",
     {{{"self", "write"}, {kOperators, "write"}, {"users", "read"}}}},
    {"attrs=homeDirectory,uid,cn,uidNumber,gidNumber", {{{kOperators, "write"}, {"*", "read"}}}},
    {"attrs=gecos,@inetOrgPerson", {{{"self", "write"}, {kOperators, "write"}, {"*", "read"}}}},
    {"*", {{{kOperators, "write"}, {"*", "read"}}}},
};

std::string OperatorsSubject(const char *suffix) {
    char group[zafo::kServerText];
    snprintf(group, sizeof group, "cn=Directory Operators,cn=groups,%s", suffix);
    return "set=\"[" + std::string(group) + "]/memberUid & user/uid\"";
}

std::string Text(const char *suffix) {
    const std::string operators = OperatorsSubject(suffix);
    std::string text;
    for (const Rule &rule : kRules) {
        text.append("access to ").append(rule.target).append("\n");
        for (const Clause &clause : rule.clauses) {
            if (clause.right == nullptr) continue;
            text.append("\tby ").append(clause.subject != kOperators ? clause.subject : operators);
            text.append(" ").append(clause.right).append("\n");
        }
    }
    return text;
}

int Write(const char *path, const char *suffix) {
    const std::string text = Text(suffix);
    const zafo::UniqueFd file(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!file.IsOpen()) return -1;
    zafo::WriteAll(file.Get(), text);
    return 0;
}

// A line break in the suffix could add a rule.
bool HasSuffix(const ZAFOLDAP_SERVER_PARAM *params, int line = __builtin_LINE()) {
    const char *fault = nullptr;
    if (params == nullptr) {
        fault = "((void *)0) != pParms";
    } else if (params->szSuffix == nullptr) {
        fault = "NULL != pParms->szSuffix";
    } else if (!zafo::IsOneLine(params->szSuffix)) {
        fault = "NULL == strpbrk(pParms->szSuffix, \"\\r\\n\")";
    }
    return fault == nullptr || zafo::BadArgument(__FILE_NAME__, line, fault) == 0;
}

}  // namespace

int ZAFOLDAPServerWriteACL(const char *path, const ZAFOLDAP_SERVER_PARAM *params) {
    if (!HasSuffix(params)) return -1;
    if (path == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szPath");
    return zafo::Guarded(-1, [=] { return Write(path, params->szSuffix); });
}

int ZAFOLDAPServerACLConfGen(const ZAFOLDAP_SERVER_PARAM *params) {
    if (!HasSuffix(params)) return -1;
    ZAFO_DEBUG_LOG("gen tmp conf");
    char temp[kMaxPath] = "";
    if (zafo::Ended(temp, ZAFOLDAPGenTmpConf(zafo::kAccessRules, 0, temp, sizeof temp)) < 0) {
        return ZAFO_FAILURE("generate temp file for %s failed.", zafo::kAccessRules);
    }
    ZAFO_DEBUG_LOG("write acl conf to %s", temp);
    if (ZAFOLDAPServerWriteACL(temp, params) != 0) {
        return ZAFO_FAILURE("write acl rules into %s failed.", temp);
    }
    if (rename(temp, zafo::kAccessRules) != 0) {
        return ZAFO_FAILURE("rename %s -> %s failed. %s", temp, zafo::kAccessRules,
                            std::strerror(errno));
    }
    return 0;
}
