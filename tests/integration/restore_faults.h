// SPDX-License-Identifier: Apache-2.0
//
// Restores that are killed, or whose system calls fail, at a given call.
#pragma once

#include <string>
#include <string_view>

#include "tests/integration/restore_fixture.h"
#include "tests/rig/fault.h"

namespace zafo::test {

class FaultTest : public RestoreTest {
  protected:
    // Uses an administrator's certificate: with it a start does not check its own, which takes
    // long.
    static void SetUpTestSuite();

    static rig::FaultRun RestoreWith(const std::string &fault);

    static void StopAndStart();

    // Does what the server's next start does first.
    static void Recover();

    // Expects the old or the restored entries, complete, and nothing besides.
    static void ExpectEither(const std::string &entries);

    // What the progress file says does not affect which of the two is in place.
    static bool IsProgress(const rig::CountedCall &call);

    // The number of the first call of a kind on a path with that suffix.
    static std::string CallOf(const rig::FaultRun &run, std::string_view kind,
                              std::string_view path);
};

}  // namespace zafo::test
