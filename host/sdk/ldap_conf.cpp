// SPDX-License-Identifier: Apache-2.0
#include "platform/ldap.h"
