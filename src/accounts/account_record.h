// SPDX-License-Identifier: Apache-2.0
//
// How an account's texts become lines of LDIF and parts of a DN. Runs no tool.
#pragma once

#include <string>
#include <string_view>

#include "platform/szlist.h"
#include "src/core/dn_length.h"
#include "src/frame/log.h"
#include "zafoldap/host.h"
#include "zafoldap/ldif.h"

namespace zafo {

// Whether a text fits on one line: a line break in a value would let its author inject an attribute
// or a record. NULL is allowed, except as an item of a list.
bool IsOneLine(const char *text);
bool AreOneLineEach(const QLIBSZLIST *list);

// Reports that a text, under the name that the log has always shown, is more than one line;
// evaluates to -1.
//
//     if (!zafo::IsOneLine(dn)) return ZAFO_NOT_ONE_LINE("szDN");
#define ZAFO_NOT_ONE_LINE(name) ZAFO_BAD_ARGUMENT("NULL == strpbrk(" name ", \"\\r\\n\")")

// "ATTR: VALUE". A value that LDIF cannot represent as is (it begins with a blank, which readers
// drop) is written in base64 (RFC 2849).
void WriteValue(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *value);

// The same for texts in which "%%" stands for "%"; any other "%" stands for itself.
void WriteFormatText(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *text);

// A "replace" modification with one value, separated from the previous one.
void ReplaceValue(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *value);

// A "modrdn" record: the entry's new RDN, which replaces the old one.
void WriteModRDN(ZAFOLDAP_LDIF *ldif, const char *dn, std::string_view attr, std::string_view name);

// Writes the pairs of a list of name, value, name, value; an incomplete pair is dropped.
void WriteExtra(ZAFOLDAP_LDIF *ldif, const QLIBSZLIST *extra);

// "ATTR=NAME,CONTAINER,BASE"; container and base are used verbatim.
std::string AccountDN(std::string_view attr, std::string_view name, std::string_view container,
                      std::string_view base);

// A user's value in "member": "uid=NAME,cn=users,BASE", wherever the user's entry is.
std::string MemberDN(const ZAFOLDAP_HOST &host, std::string_view uid);

}  // namespace zafo
