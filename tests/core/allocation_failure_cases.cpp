// SPDX-License-Identifier: Apache-2.0
//
// Every allocation of the library's calls fails in turn. A call then either fails as its header
// documents or does all of its work without the memory; it never does half of it and reports
// success, leaks, or throws.
#include <syslog.h>

#include <set>

#include "platform/error.h"
#include "tests/core/allocation_failure.h"
#include "tests/rig/build.h"

namespace zafo::core_test {

void PrintTo(const Call &call, std::ostream *out) {
    *out << call.name;
}

namespace {

class AllocationFailure
    : public ConnectionTest,
      public testing::WithParamInterface<std::tuple<Call, FailingAllocator::Mode>> {
  protected:
    AllocationFailure() {
        syslog(LOG_ERR, "the time zone is read once for the life of the process");
        Write(kNslcdConf, "uri ldap://server\nbase dc=example,dc=com\nbindpw secret\n");
        EXPECT_EQ(ZAFOLDAPBrowserConfSet(&kHost, "ann"), 0);
    }

    struct Run {
        Outcome outcome;
        long left = 0;
        bool failed = false;
    };
    // The call with its `nth` allocation failing; 0: none.
    Run With(long nth) {
        const auto &[call, mode] = GetParam();
        tools_.Reset();
        call.script(tools_);
        SetStaleCodes();
        Run run;
        FailingAllocator::Begin(nth, mode);
        call.run(run.outcome);
        run.left = FailingAllocator::End();
        run.failed = FailingAllocator::HasFailed();
        return run;
    }
};

TEST_P(AllocationFailure, FailsTheCallOrNothing) {
    const Call &call = std::get<0>(GetParam());
    if (rig::IsSanitized()) GTEST_SKIP() << "the sanitizer replaces the allocator";
    With(0);  // allocations made once per process
    const Run whole = With(0);
    ASSERT_EQ(whole.left, 0);
    std::set<std::string> logged;
    long nth = 1;
    for (;; ++nth) {
        SCOPED_TRACE(testing::Message() << "allocation " << nth);
        log_.Clear();
        const Run run = With(nth);
        EXPECT_EQ(run.left, 0) << "blocks leaked";
        for (const std::string &text : LoggedTexts())
            logged.insert(text);
        if (run.outcome.result == whole.outcome.result) {
            EXPECT_STREQ(run.outcome.text, whole.outcome.text) << "half of the work as success";
        } else {
            EXPECT_THAT(call.failures, testing::Contains(run.outcome.result));
            EXPECT_THAT(call.codes, testing::Contains(QLIBCErrGet()));
            EXPECT_THAT(call.ldap_codes, testing::Contains(ZAFOLDAPErrGet()));
        }
        if (!run.failed || nth == 5000) break;
    }
    EXPECT_GT(nth, 1) << "nothing was ever allocated";
    EXPECT_LT(nth, 5000);
    for (const std::string &line : call.logged)
        EXPECT_THAT(logged, testing::Contains(line));
    RecordProperty("allocations", static_cast<int>(nth - 1));
}

std::string NameOf(const testing::TestParamInfo<AllocationFailure::ParamType> &test) {
    const bool once = std::get<1>(test.param) == FailingAllocator::Mode::kOnce;
    return std::get<0>(test.param).name + std::string(once ? "_Once" : "_FromThenOn");
}

INSTANTIATE_TEST_SUITE_P(EveryCall, AllocationFailure,
                         testing::Combine(testing::ValuesIn(AllCalls()),
                                          testing::Values(FailingAllocator::Mode::kOnce,
                                                          FailingAllocator::Mode::kFromThenOn)),
                         NameOf);

}  // namespace
}  // namespace zafo::core_test
