// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "zafoldap/object_class.h"

namespace zafo {

struct ObjectClass {
    unsigned int bit;
    const char *name;
};

// The object classes that the library knows, in the order of their bits.
inline constexpr ObjectClass kObjectClasses[] = {
    {ZAFOLDAP_CLASS_TOP, "top"},
    {ZAFOLDAP_CLASS_DOMAIN, "domain"},
    {ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT, "extensibleObject"},
    {ZAFOLDAP_CLASS_ORGANIZATIONAL_PERSON, "organizationalPerson"},
    {ZAFOLDAP_CLASS_PERSON, "person"},
    {ZAFOLDAP_CLASS_POSIX_ACCOUNT, "posixAccount"},
    {ZAFOLDAP_CLASS_POSIX_GROUP, "posixGroup"},
    {ZAFOLDAP_CLASS_INET_ORG_PERSON, "inetOrgPerson"},
    {ZAFOLDAP_CLASS_SHADOW_ACCOUNT, "shadowAccount"},
    {ZAFOLDAP_CLASS_APPLE_USER, "apple-user"},
    {ZAFOLDAP_CLASS_APPLE_GROUP, "apple-group"},
    {ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT, "sambaSamAccount"},
    {ZAFOLDAP_CLASS_SAMBA_GROUP_MAPPING, "sambaGroupMapping"},
};

}  // namespace zafo
