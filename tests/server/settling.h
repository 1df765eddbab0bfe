// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zafo::server_test {

// The seconds that the library has slept in this process. A binary with settling.cpp skips them;
// that the wait is effective is tested in server_service_test, which does not.
unsigned SecondsSlept();

}  // namespace zafo::server_test
