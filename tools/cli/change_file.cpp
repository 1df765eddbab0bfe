// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/change_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/cli/display_text.h"
#include "tools/cli/temporary_folder.h"

namespace zafo::cli {

ChangeFile::ChangeFile(const std::string &dn, const char *type) {
    if (ZAFOLDAPLdifInit(&file_, nullptr) != 0) throw LibraryFailure(0, QLIBCErrGet(), {}, {});
    ZAFOLDAPLdifTargetDN(&file_, dn.c_str());
    ZAFOLDAPLdifChangeType(&file_, type);
    NoteFault();
}

ChangeFile::~ChangeFile() {
    ZAFOLDAPLdifClose(&file_);
    ZAFOLDAPLdifUnlink(&file_);
}

// The writers do not report errors, and once the buffer is lost later writes may succeed.
void ChangeFile::NoteFault() {
    if (fault_ == 0 && std::ferror(file_.pFile) != 0) fault_ = errno;
}

// The library's writers do not encode values: one that LDIF cannot hold as text is written in
// base64.
void ChangeFile::Value(const std::string &attribute, const std::string &value) {
    if (std::string_view(" :<").find(value.front()) == std::string_view::npos) {
        ZAFOLDAPLdifAttr(&file_, attribute.c_str(), "%s", value.c_str());
    } else {
        ZAFOLDAPLdifLine(&file_, "%s:: %s", attribute.c_str(), Base64(value).c_str());
    }
    NoteFault();
}

void ChangeFile::Values(const char *how, const char *attribute,
                        const std::vector<std::string> &values) {
    if (values.empty()) return;
    ZAFOLDAPLdifSepAttr(&file_);
    ZAFOLDAPLdifAttr(&file_, how, "%s", attribute);
    for (const std::string &value : values)
        Value(attribute, value);
}

void ChangeFile::Replace(const std::string &attribute, const std::string &value) {
    if (value.empty()) {
        ZAFOLDAPLdifAttrDelete(&file_, attribute.c_str(), nullptr);
        NoteFault();
        return;
    }
    ZAFOLDAPLdifSepAttr(&file_);
    ZAFOLDAPLdifAttr(&file_, "replace", "%s", attribute.c_str());
    Value(attribute, value);
}

std::optional<Failure> ChangeFile::Apply(Streams &streams, const ZAFOLDAP_HOST &host,
                                         const Facts &facts) {
    if (std::fflush(file_.pFile) != 0 && fault_ == 0) fault_ = errno;
    if (fault_ == 0)
        return Attempt(streams, facts, [&] { return ZAFOLDAPModify(&host, &file_, 0); });
    return OwnFailure(Message::kTemporaryFolder,
                      {.subject = kTemporaryFolder, .reason = std::strerror(fault_)});
}

}  // namespace zafo::cli
