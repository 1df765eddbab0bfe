// SPDX-License-Identifier: Apache-2.0
//
// Allocation failures in the directory core.
#include "tests/core/allocation_failure.h"

#include "platform/crypt.h"
#include "platform/error.h"

namespace zafo::core_test {
namespace {

constexpr const char *kEntries =
    "dn: dc=a\ncn: one\nobjectClass: top\ndescription:: aGVsbG8sIHRoaXMg\n "
    "aXMgYSBsb25nZXIgdGV4dC4=\n\n"
    "# note\n\n"
    "dn: dc=b\ncn: tw\n o\nobjectClass: person\n";

void ScriptEntries(rig::FakeTools &tools) {
    tools.On("ldapsearch").IgnoreSignals().Output(kEntries);
}

void ScriptSchemaOnly(rig::FakeTools &tools) {
    tools.On("ldapsearch").IgnoreSignals().Output("dn:\nsubschemaSubentry: cn=Subschema\n\n");
    tools.On("ldapsearch").IgnoreSignals().Output("dn: cn=s\nobjectClasses: ( 1 NAME 'top' )\n\n");
}

void ScriptServer(rig::FakeTools &tools) {
    tools.On("ldapsearch").Exit(32);
    tools.On("ldapsearch").IgnoreSignals().Output("dn: ou=macosxodconfig\n\n");
    ScriptSchemaOnly(tools);
}

int NoteEntry(const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *, const ZAFOLDAP_RESULT *result,
              void *data) {
    static_cast<Outcome *>(data)->Note(*result);
    return 0;
}

void RunHost(Outcome &outcome) {
    ZAFOLDAP_HOST host{}, clone{};
    InOrder(
        outcome, [&] { return ZAFOLDAPHostInit(&host); },
        [&] { return ZAFOLDAPHostSet(&host, LDAP_HOST_ATTR_URI, "server"); },
        [&] { return ZAFOLDAPHostSet(&host, LDAP_HOST_ATTR_BASEDN, "dc=example,dc=com"); },
        [&] { return ZAFOLDAPHostClone(&clone, &host); });
    FailingAllocator::StopFailing();
    if (outcome.result == 0) outcome.Note("%s %s", clone.szUri, clone.szBaseDN);
    ZAFOLDAPHostFree(&clone);
    ZAFOLDAPHostFree(&host);
}

void RunResult(Outcome &outcome) {
    ZAFOLDAP_RESULT entry{}, clone{};
    QLIBSZLIST *values = nullptr;
    static const std::string kLarge(5000, 'v');
    InOrder(
        outcome, [&] { return ZAFOLDAPResultInit(&entry); },
        [&] { return ZAFOLDAPResultSet(&entry, "dn", "dc=a"); },
        [&] { return ZAFOLDAPResultSet(&entry, "cn", kLarge.c_str()); },
        [&] { return ZAFOLDAPResultConcateAttr(&entry, kLarge.c_str()); },
        [&] { return ZAFOLDAPResultInit(&clone); },
        [&] { return ZAFOLDAPResultClone(&clone, &entry); },
        [&] { return (values = QLIBCSzListAlloc(16)) != nullptr ? 0 : -1; },
        [&] { return ZAFOLDAPResultGetAll(&clone, "CN", &values); });
    FailingAllocator::StopFailing();
    outcome.Note("%d values", values != nullptr ? values->nItem : 0);
    QLIBCSzListFree(values);
    ZAFOLDAPResultFree(&clone);
    ZAFOLDAPResultFree(&entry);
}

void RunRequest(Outcome &outcome) {
    ZAFOLDAP_SEARCH_REQUEST request{}, clone{};
    InOrder(
        outcome, [&] { return ZAFOLDAPSearchRequestInit(&request, 1); },
        [&] { return QLIBCSzListPush(&request.plistAttr, "cn"); },
        [&] { return ZAFOLDAPSearchRequestClone(&clone, &request); });
    FailingAllocator::StopFailing();
    if (outcome.result == 0) outcome.Note(clone.plistAttr);
    ZAFOLDAPSearchRequestFree(&clone);
    ZAFOLDAPSearchRequestFree(&request);
}

void RunCommand(Outcome &outcome) {
    const ZAFOLDAP_SEARCH_REQUEST request{};
    char command[256] = "";
    outcome.result = ZAFOLDAPSearchBuildRequestCmd(&kHost, &request, command, sizeof command);
    FailingAllocator::StopFailing();
    if (outcome.result == 0) outcome.Note("%s", command);
}

void RunSearchLoop(Outcome &outcome) {
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT entry{};
    outcome.result = ZAFOLDAPSearchInit(&kHost, &request, &entry);
    while (outcome.result == 0 && (outcome.result = ZAFOLDAPSearchGetNext(&request, &entry)) == 1) {
        outcome.Note(entry);
        outcome.result = 0;
    }
    FailingAllocator::StopFailing();
    ZAFOLDAPSearchFree(&request, &entry);
}

void RunSearchResultGet(Outcome &outcome) {
    const ZAFOLDAP_SEARCH_REQUEST request{};
    outcome.result = ZAFOLDAPSearchResultGet(&kHost, &request, NoteEntry, &outcome);
    FailingAllocator::StopFailing();
}

void RunEachValue(Outcome &outcome) {
    const ZAFOLDAP_SEARCH_REQUEST request{};
    QLIBSZLIST *dns = nullptr, *values = nullptr;
    InOrder(
        outcome, [&] { return (dns = QLIBCSzListAlloc(1)) != nullptr ? 0 : -1; },
        [&] { return (values = QLIBCSzListAlloc(1)) != nullptr ? 0 : -1; },
        [&] { return ZAFOLDAPSearchEachValue(&kHost, &request, "cn", &dns, &values); });
    FailingAllocator::StopFailing();
    outcome.Note(dns);
    outcome.Note(values);
    QLIBCSzListFree(dns);
    QLIBCSzListFree(values);
}

void RunValueByDN(Outcome &outcome) {
    char value[64] = "";
    outcome.result = ZAFOLDAPSearchGetValueByDN(&kHost, "dc=a", nullptr, "cn", value, sizeof value);
    FailingAllocator::StopFailing();
    outcome.Note("%s", outcome.result >= 0 ? value : "");
}

void RunObjectClasses(Outcome &outcome) {
    unsigned int bits = 0;
    outcome.result = ZAFOLDAPSearchObjectClasses(&kHost, "dc=a", nullptr, &bits);
    FailingAllocator::StopFailing();
    if (outcome.result == 0) outcome.Note("%x", bits);
}

void RunModify(Outcome &outcome) {
    ZAFOLDAP_LDIF ldif{};
    InOrder(
        outcome, [&] { return ZAFOLDAPLdifInit(&ldif, nullptr); },
        [&] { return ZAFOLDAPLdifTargetDN(&ldif, "dc=a"); },
        [&] { return ZAFOLDAPLdifAttr(&ldif, "cn", "%s", "x"); },
        [&] { return ZAFOLDAPModify(&kHost, &ldif, 1); });
    FailingAllocator::StopFailing();
    ZAFOLDAPLdifClose(&ldif);
    ZAFOLDAPLdifUnlink(&ldif);
}

void NoteHost(Outcome &outcome, ZAFOLDAP_HOST *host) {
    FailingAllocator::StopFailing();
    if (outcome.result == 1) {
        outcome.Note("%s %s %s %d %x", host->szUri, host->szBaseDN, host->szBindPasswd,
                     host->nServerType, host->nSchema);
    }
    ZAFOLDAPHostFree(host);
}

void RunSupportedSchema(Outcome &outcome) {
    ZAFOLDAP_HOST host = kHost;
    outcome.result = ZAFOLDAPHostGetSupportedSchema(&host);
    FailingAllocator::StopFailing();
    if (outcome.result == 0) outcome.Note("%x", host.nSchema);
}

// The file holds the old connection or the new one, never anything else.
void RunBrowserConfSet(Outcome &outcome) {
    ZAFOLDAP_HOST host = kHost;
    host.szUri = "other";
    outcome.result = ZAFOLDAPBrowserConfSet(&host, "ann");
    FailingAllocator::StopFailing();
    QLIBSZHASH *pairs = QLIBCSzHashAlloc(16);
    QLIBCFileGetSection(kBrowserConf, "ann", pairs);
    const char *uri = QLIBCSzHashGetValue(pairs, "uri");
    outcome.Note("%s", outcome.result == 0 ? uri : "");
    if (uri == nullptr) outcome.result = -99;
    QLIBCSzHashFree(pairs);
}

void RunBrowserConfig(Outcome &outcome) {
    ZAFOLDAP_HOST host{};
    outcome.result = ZAFOLDAPHostInitByBrowserConfig(&host, "ann");
    NoteHost(outcome, &host);
}

void RunBindConfig(Outcome &outcome) {
    ZAFOLDAP_HOST host{};
    outcome.result = ZAFOLDAPHostInitByBindConfig(&host);
    NoteHost(outcome, &host);
}

void RunServerType(Outcome &outcome) {
    ZAFOLDAP_HOST host = kHost;
    outcome.result = ZAFOLDAPBrowserCheckServerType(&host);
    FailingAllocator::StopFailing();
    if (outcome.result == 0) outcome.Note("%d", host.nServerType);
}

}  // namespace

const Calls &AllCalls() {
    // A tool or a file that cannot be opened for lack of memory also gives 0x0900.
    static const std::vector<int> kStart = {0x0200, 0x0900};
    // The scripted server has no marker of its own kind: 32. If the login suffix cannot be
    // determined, for any reason, the code is -65537.
    static const std::vector<int> kServer = {kStaleLdapCode, 32};
    static const std::vector<int> kBinding = {kStaleLdapCode, 32, -65537};
    static const Calls kCalls = {
        {"Host", NoScript, RunHost},
        {"Result", NoScript, RunResult},
        {"SearchRequest", NoScript, RunRequest},
        {"SearchBuildRequestCmd",
         NoScript,
         RunCommand,
         {-1},
         {0x0200},
         {kStaleLdapCode},
         {"Failed to alloc arg array (Cannot allocate memory)"}},
        {"SearchGetNext",
         ScriptEntries,
         RunSearchLoop,
         {-1},
         kStart,
         {kStaleLdapCode},
         {"Failed to alloc arg array (Cannot allocate memory)", "Memory allocation failed.",
          "out of memory"}},
        {"SearchResultGet", ScriptEntries, RunSearchResultGet, {-1}, kStart},
        {"SearchEachValue", ScriptEntries, RunEachValue, {-1}, kStart},
        {"SearchGetValueByDN", ScriptEntries, RunValueByDN, {-1}, kStart},
        {"SearchObjectClasses", ScriptEntries, RunObjectClasses, {-1}, kStart},
        {"Modify", NoScript, RunModify, {-1}, kStart},
        {"BrowserCheckServerType", ScriptServer, RunServerType, {-1}, kStart, kServer},
        {"HostGetSupportedSchema", ScriptSchemaOnly, RunSupportedSchema, {-1, -2, -3}, kStart},
        {"BrowserConfSet", NoScript, RunBrowserConfSet, {-1}, {0x0200, 0x0900, 0x0B00}},
        // 0: the record is filled, but the server could not be asked. A section that cannot be read
        // counts as missing.
        {"HostInitByBrowserConfig",
         ScriptServer,
         RunBrowserConfig,
         {0, -1},
         {0x0200, 0x0900, 0x2200},
         kServer},
        {"HostInitByBindConfig", ScriptServer, RunBindConfig, {0, -1}, kStart, kBinding},
    };
    return kCalls;
}

}  // namespace zafo::core_test
