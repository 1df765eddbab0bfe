// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "src/core/tool_arguments.h"
#include "zafoldap/search.h"

namespace zafo {

// The argument vector of ldapsearch for a request.
ToolArguments SearchArguments(const ZAFOLDAP_HOST &host, const ZAFOLDAP_SEARCH_REQUEST &request);

}  // namespace zafo
