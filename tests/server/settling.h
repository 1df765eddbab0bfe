// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zafo::server_test {

// The seconds that the library has slept in this process. A binary with settling.cpp does not wait
// for them; what the wait is good for is tested in server_service_test, which does.
unsigned SecondsSlept();

}  // namespace zafo::server_test
