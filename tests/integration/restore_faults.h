// SPDX-License-Identifier: Apache-2.0
//
// Restores that are killed, or to which the system says no, at one of their calls.
#pragma once

#include <string>
#include <string_view>

#include "tests/integration/restore_fixture.h"
#include "tests/rig/fault.h"

namespace zafo::test {

class FaultTest : public RestoreTest {
  protected:
    // An administrator's certificate: a start does not look after its own then, which takes long.
    static void SetUpTestSuite();

    static rig::FaultRun RestoreWith(const std::string &fault);

    static void StopAndStart();

    // Does what the server's next start does first.
    static void Recover();

    // The old or the restored entries, whole, and nothing beside them.
    static void ExpectEither(const std::string &entries);

    // Which of the two is there does not depend on what the progress file says.
    static bool IsProgress(const rig::CountedCall &call);

    // The number of the first call of a kind on a path that ends so.
    static std::string CallOf(const rig::FaultRun &run, std::string_view kind,
                              std::string_view path);
};

}  // namespace zafo::test
