// SPDX-License-Identifier: Apache-2.0
//
// Files placed in the backup folder by an attacker, with names and contents that control a
// terminal.
#include "tests/attack/hostile_text.h"
#include "tests/tools/backup_fixture.h"

namespace zafo::test {
namespace {

using rig::ProgramRun;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class HostileBackup : public rig::Backup {
  protected:
    void SetUp() override {
        Backup::SetUp();
        SetDestination();
        for (const HostileText &text : HostileTexts()) {
            std::string name = "zafoldap-000009-20270228T140300Z" + text.bytes + ".tar.zst";
            std::erase(name, '/');
            rig::WriteFile(rig::kFolder + ("/" + name), AllHostileTexts());
            names_.push_back(rig::kFolder + ("/" + name));
        }
    }

    static void ExpectNothingHidden(const ProgramRun &run) {
        EXPECT_THAT(HiddenIn(run.out), IsEmpty());
        EXPECT_THAT(HiddenIn(run.err), IsEmpty());
        EXPECT_THAT("\n" + run.err, Not(HasSubstr("\nhint: run evil")));
    }

    std::vector<std::string> names_;
};

TEST_F(HostileBackup, ListShowsNoneOfThem) {
    for (const char *form : {"table", "plain", "csv", "json"}) {
        const ProgramRun run = rig::Zafoldapserver({"backup", "list", "--format", form});
        ExpectNothingHidden(run);
        EXPECT_THAT(run.out, Not(HasSubstr("000009"))) << "only whole names are a backup's";
    }
}

TEST_F(HostileBackup, MessagesOfTheServersProgramShowTheirNamesEscaped) {
    for (const std::string &name : names_) {
        for (const char *form : {"table", "json"}) {
            const ProgramRun run =
                rig::Zafoldapserver({"backup", "verify", name, "--format", form});
            EXPECT_NE(run.exit_code, 0);
            EXPECT_THAT(run.err, Not(IsEmpty()));
            ExpectNothingHidden(run);
        }
    }
    ExpectNothingHidden(rig::Zafoldapserver({"restore", names_.front(), "--yes"}));
    ExpectNothingHidden(rig::Zafoldapserver({"check"}));
}

TEST_F(HostileBackup, MessagesOfTheBackupProgramShowTheirNamesEscaped) {
    for (const std::string &name : names_) {
        const ProgramRun run = rig::RunProgram({"/usr/zafo/bin/zafoldapbackup", "-r", name});
        EXPECT_NE(run.exit_code, 0);
        EXPECT_THAT(run.err, Not(IsEmpty()));
        ExpectNothingHidden(run);
    }
}

}  // namespace
}  // namespace zafo::test
