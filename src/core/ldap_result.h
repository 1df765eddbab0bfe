// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "zafoldap/result.h"

namespace zafo {

// Replaces the text of the entry's last value, or, when the new text cannot be
// stored, drops the last pair whole. 0 or -1.
int ReplaceLastValue(ZAFOLDAP_RESULT *result, const char *value);

}  // namespace zafo
