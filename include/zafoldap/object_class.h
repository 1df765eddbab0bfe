/* SPDX-License-Identifier: Apache-2.0
 *
 * Object classes as bits. A connection's `nSchema` holds the classes that the
 * server's schema defines; ZAFOLDAPSearchObjectClasses gives those of one
 * entry. Optional attributes are written only when both hold the class.
 *
 * Classes: top, extensibleObject, person, organizationalPerson (RFC 4512, RFC
 * 4519); domain (RFC 4524); inetOrgPerson (RFC 2798); posixAccount,
 * posixGroup, shadowAccount (RFC 2307); apple-user, apple-group (Apple Open
 * Directory); sambaSamAccount, sambaGroupMapping (Samba's samba.schema).
 */
#ifndef ZAFOLDAP_OBJECT_CLASS_H
#define ZAFOLDAP_OBJECT_CLASS_H

enum {
    ZAFOLDAP_CLASS_TOP = 0x0001,                   /* "top" */
    ZAFOLDAP_CLASS_DOMAIN = 0x0002,                /* "domain" */
    ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT = 0x0004,     /* "extensibleObject" */
    ZAFOLDAP_CLASS_ORGANIZATIONAL_PERSON = 0x0008, /* "organizationalPerson" */
    ZAFOLDAP_CLASS_PERSON = 0x0010,                /* "person" */
    ZAFOLDAP_CLASS_POSIX_ACCOUNT = 0x0020,         /* "posixAccount" */
    ZAFOLDAP_CLASS_POSIX_GROUP = 0x0040,           /* "posixGroup" */
    ZAFOLDAP_CLASS_INET_ORG_PERSON = 0x0080,       /* "inetOrgPerson" */
    ZAFOLDAP_CLASS_SHADOW_ACCOUNT = 0x0100,        /* "shadowAccount" */
    ZAFOLDAP_CLASS_APPLE_USER = 0x0200,            /* "apple-user" */
    ZAFOLDAP_CLASS_APPLE_GROUP = 0x0400,           /* "apple-group" */
    ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT = 0x0800,     /* "sambaSamAccount" */
    ZAFOLDAP_CLASS_SAMBA_GROUP_MAPPING = 0x1000    /* "sambaGroupMapping" */
};

#endif
