// SPDX-License-Identifier: Apache-2.0
//
// The records that callers declare: which fields they have, in which order and of which type. A program
// that was built long ago still finds them in their places.
#include "tests/foreign/platform/foreign.h"

#include <cstddef>
#include <type_traits>

namespace zafo::foreign {

namespace record_layout_test {

// The records once more, from their description.
struct Result {
    FILE *stream;
    int entries;
    QLIBSZLIST *names;
    QLIBSZLIST *values;
    int exit_code;
    int reserved;
    char error_file[256];
};

struct HostFields {
    QLIBSZLIST *buffer;
    const char *uri;
    const char *base_dn;
    const char *bind_dn;
    const char *bind_password;
    const char *login_suffix;
    int server_type;
    unsigned int schema;
    int ssl_type;
};

struct Request {
    const char *base;
    const char *filter;
    const char *extra;
    const char *scope;
    QLIBSZLIST *attributes;
    int base_as_is;
    int offset;
    int count;
    int size_limit;
};

}  // namespace record_layout_test

using namespace record_layout_test;

#define ZAFO_EXPECT_FIELD(record, field, own, own_field)                                 \
    do {                                                                                 \
        EXPECT_EQ(offsetof(record, field), offsetof(own, own_field)) << #field;          \
        EXPECT_TRUE((std::is_same_v<decltype(record::field), decltype(own::own_field)>)) \
            << #field;                                                                   \
    } while (false)

TEST(RecordLayout, OfAResult) {
    EXPECT_EQ(sizeof(ZAFOLDAP_RESULT), sizeof(Result));
    ZAFO_EXPECT_FIELD(ZAFOLDAP_RESULT, pFile, Result, stream);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_RESULT, nEntry, Result, entries);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_RESULT, plistAttr, Result, names);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_RESULT, plistValue, Result, values);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_RESULT, nExitCode, Result, exit_code);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_RESULT, nReserved, Result, reserved);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_RESULT, szErrFile, Result, error_file);
}

TEST(RecordLayout, OfAConnection) {
    EXPECT_EQ(sizeof(ZAFOLDAP_HOST), sizeof(HostFields));
    ZAFO_EXPECT_FIELD(ZAFOLDAP_HOST, plistBuffer, HostFields, buffer);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_HOST, szUri, HostFields, uri);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_HOST, szBaseDN, HostFields, base_dn);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_HOST, szBindDN, HostFields, bind_dn);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_HOST, szBindPasswd, HostFields, bind_password);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_HOST, szLoginSuffix, HostFields, login_suffix);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_HOST, nServerType, HostFields, server_type);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_HOST, nSchema, HostFields, schema);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_HOST, nSSLType, HostFields, ssl_type);
}

TEST(RecordLayout, OfASearchRequest) {
    EXPECT_EQ(sizeof(ZAFOLDAP_SEARCH_REQUEST), sizeof(Request));
    ZAFO_EXPECT_FIELD(ZAFOLDAP_SEARCH_REQUEST, szBase, Request, base);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_SEARCH_REQUEST, szFilter, Request, filter);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_SEARCH_REQUEST, szExtra, Request, extra);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_SEARCH_REQUEST, szScope, Request, scope);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_SEARCH_REQUEST, plistAttr, Request, attributes);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_SEARCH_REQUEST, blBaseAsIs, Request, base_as_is);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_SEARCH_REQUEST, nOffset, Request, offset);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_SEARCH_REQUEST, nCount, Request, count);
    ZAFO_EXPECT_FIELD(ZAFOLDAP_SEARCH_REQUEST, nSizeLimit, Request, size_limit);
}

TEST(RecordLayout, OfTheAttributeNumbersOfAConnection) {
    EXPECT_EQ(LDAP_HOST_ATTR_MIN, -1);
    EXPECT_EQ(LDAP_HOST_ATTR_URI, 0);
    EXPECT_EQ(LDAP_HOST_ATTR_BASEDN, 1);
    EXPECT_EQ(LDAP_HOST_ATTR_BINDDN, 2);
    EXPECT_EQ(LDAP_HOST_ATTR_BINDPW, 3);
    EXPECT_EQ(LDAP_HOST_ATTR_LOGIN_SUFFIX, 4);
    EXPECT_EQ(LDAP_HOST_ATTR_MAX, 5);
}

}  // namespace zafo::foreign
