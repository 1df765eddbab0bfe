// SPDX-License-Identifier: Apache-2.0
//
// Backups of a real server from the command line: configured, made, refused, interrupted, watched.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/rig/waiting.h"
#include "tests/tools/account_fixture.h"
#include "tests/tools/backup_fixture.h"
#include "tests/tools/on_terminal.h"

namespace {

using namespace zafo::rig;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

// --- Settings -----------------------------------------------------------------

TEST_F(Backup, HasNoSettingsAtFirst) {
    const Json shown = ServerLineJson("backup config show")["data"];
    EXPECT_EQ(shown["enabled"], false);
    EXPECT_EQ(shown["schedule"], "never");
    EXPECT_EQ(shown["destination"], "none is set");
    EXPECT_EQ(shown["keep"], 10);
    EXPECT_EQ(shown["scheduler"], "as set");
    EXPECT_TRUE(shown["next_run"].is_null());
}

TEST_F(Backup, SettingsAndSchedulerAreSetTogether) {
    const Json shown = ServerLineJson(
        "backup config set --dir /backups --keep 3 --schedule 'weekly sunday 04:30'")["data"];
    EXPECT_EQ(shown["enabled"], true);
    EXPECT_EQ(shown["schedule"], "weekly sunday 04:30");
    EXPECT_EQ(shown["dir"], kFolder);
    EXPECT_EQ(shown["destination"], "usable");
    EXPECT_EQ(shown["keep"], 3);
    EXPECT_EQ(shown["scheduler"], "as set");
    EXPECT_TRUE(shown["next_run"].is_string());
    EXPECT_THAT(ReadFile(kCronTable),
                HasSubstr("\n30 4 * * 0 root /usr/zafo/bin/zafoldapserver --backup now 2>/dev/null "
                          ">&2\n"));

    const Json off = ServerLineJson("backup config set --schedule off")["data"];
    EXPECT_EQ(off["enabled"], false);
    EXPECT_EQ(off["schedule"], "weekly sunday 04:30");
    EXPECT_EQ(off["scheduler"], "as set");
    EXPECT_THAT(ReadFile(kCronTable), Not(HasSubstr("zafoldapserver")));
}

TEST_F(Backup, TheScheduleCanBeSwitchedOffWhileTheDestinationIsAway) {
    ASSERT_EQ(ServerLine("backup config set --dir /backups --schedule 'daily 04:00'").exit_code, 0);
    fs::remove(kFolder);
    EXPECT_EQ(ServerLine("backup config set --schedule off").exit_code, 0);
    const Json shown = ServerLineJson("backup config show")["data"];
    EXPECT_EQ(shown["enabled"], false);
    EXPECT_EQ(shown["dir"], kFolder);
    EXPECT_THAT(shown["destination"], HasSubstr("No such file"));
}

TEST_F(Backup, AShareIsADestinationByItsName) {
    WriteFile(kSmbConf, "[Backups]\npath = /backups\n");
    const Json shown = ServerLineJson("backup config set --share backups")["data"];
    EXPECT_EQ(shown["share"], "backups");
    EXPECT_EQ(shown["dir"], kFolder);
    EXPECT_THAT(Make(), StartsWith("/backups/zafoldap-000001-"));
    WriteFile(kSmbConf, "[Other]\npath = /backups\n");
    ExpectRefusal("backup now", 3, "backup.err_invalid_share", "");
    EXPECT_THAT(ServerLineJson("backup config show")["data"]["destination"],
                HasSubstr("no shared folder \"backups\""));
}

TEST_F(Backup, DestinationsThatCannotServeAreRefusedWithTheReason) {
    fs::create_symlink(kFolder, "/link");
    WriteFile("/root/file", "");
    const MountedOver read_only("/mnt/read-only", "ro");
    const std::pair<const char *, const char *> rows[] = {
        {"/link", "it is a link"},
        {"/nowhere", "No such file"},
        {"/root/file", "it is not a folder"},
        {"backups", "not an absolute path"},
        {"/usr/zafo/etc/openldap/data", "inside the database"}};
    for (const auto &[folder, reason] : rows)
        ExpectRefusal(std::string("backup config set --dir ") + folder, 3,
                      "backup.err_invalid_share", reason);
    ExpectRefusal("backup config set --share nix", 3, "backup.err_invalid_share",
                  "no shared folder \"nix\"");
    ExpectRefusal("backup config set --schedule 'daily 04:00'", 3, "zafoldap.backup_no_destination",
                  "no backup destination");
    if (!read_only.Mounted()) GTEST_SKIP() << "nothing can be mounted here";
    ExpectRefusal("backup config set --dir /mnt/read-only", 3, "backup.err_invalid_share",
                  "Read-only file system");
}

TEST_F(Backup, SettingsThatSayNothingAreRefused) {
    ExpectRefusal("backup config set", 2, "zafoldap.nothing_to_change", "nothing to change");
    ExpectRefusal("backup config set --dir /backups --share x", 2, "zafoldap.usage",
                  "cannot be used together");
    ExpectRefusal("backup config set --keep 0", 2, "zafoldap.usage", "at least 1");
    ExpectRefusal("backup config set --keep many", 2, "zafoldap.usage", "needs a number");
    ExpectRefusal("backup config set --dir /backups --schedule hourly", 2, "zafoldap.usage",
                  "it starts with \"hourly\"");
}

TEST_F(Backup, SettingsGoBackWhenTheSchedulerFails) {
    fs::remove("/etc/cron.d");
    const ProgramRun run =
        ServerLine("backup config set --dir /backups --schedule 'daily 04:00' --json");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(ErrorOf(run)["key"], "zafoldap.schedule_failed");
    const Json shown = ServerLineJson("backup config show")["data"];
    EXPECT_EQ(shown["enabled"], false);
    EXPECT_EQ(shown["scheduler"], "as set");
}

TEST_F(Backup, ADryRunOfSettingsSetsNothing) {
    const ProgramRun run =
        ServerLine("backup config set --dir /backups --schedule 'daily 04:00' --dry-run");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_THAT(run.err, HasSubstr("would set enabled=yes schedule=\"daily 04:00\""));
    EXPECT_FALSE(fs::exists(kSettings));
    EXPECT_FALSE(fs::exists(kCronTable));
}

// --- Backups ------------------------------------------------------------------

TEST_F(Backup, IsMadeListedAndVerified) {
    SetDestination();
    const Json made = ServerLineJson("backup now")["data"];
    EXPECT_EQ(made["users"], 1);
    EXPECT_EQ(made["groups"], 3);
    EXPECT_GT(made["entries"], 10);
    const Json listed = ServerLineJson("backup list")["data"];
    ASSERT_EQ(listed.size(), 1U);
    EXPECT_EQ(listed[0]["number"], 1);
    EXPECT_EQ(listed[0]["file"], made["file"]);
    EXPECT_EQ(listed[0]["bytes"], made["bytes"]);
    const Json verified =
        ServerLineJson("backup verify " + made["file"].get<std::string>())["data"];
    EXPECT_EQ(verified["suffix"], kSuffix);
    EXPECT_EQ(verified["entries"], made["entries"]);
    EXPECT_EQ(verified["created"], listed[0]["written"]);
}

TEST_F(Backup, IsRunAsTheSchedulerRunsIt) {
    SetDestination();
    const ProgramRun run =
        RunProgram({"/bin/sh", "-c", "/usr/zafo/bin/zafoldapserver --backup now 2>/dev/null >&2"});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.out + run.err, "");
    EXPECT_THAT(Files(), SizeIs(1));
    fs::remove_all(kFolder);
    EXPECT_EQ(
        RunProgram({"/bin/sh", "-c", "/usr/zafo/bin/zafoldapserver --backup now 2>/dev/null >&2"})
            .exit_code,
        ServerLine("backup now").exit_code);
}

TEST_F(Backup, KeepsAsManyAsAreSet) {
    ASSERT_EQ(ServerLine("backup config set --dir /backups --keep 2").exit_code, 0);
    for (int i = 0; i < 4; ++i)
        Make();
    EXPECT_THAT(Files(),
                ElementsAre(StartsWith("zafoldap-000003-"), StartsWith("zafoldap-000004-")));
}

TEST_F(Backup, ADryRunChecksForRoom) {
    SetDestination();
    const ProgramRun run = ServerLine("backup now --dry-run");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_THAT(run.err, HasSubstr("would back up into /backups"));
    EXPECT_THAT(Files(), IsEmpty());
    const MountedOver full(kFolder, "size=64k");
    if (!full.Mounted()) GTEST_SKIP() << "nothing can be mounted here";
    ExpectRefusal("backup now --dry-run", 1, "backup.err_disk_full", "too little space");
}

TEST_F(Backup, WithoutADestinationIsRefused) {
    for (const char *line : {"backup now", "backup list", "restore --latest --yes"})
        ExpectRefusal(line, 3, "zafoldap.backup_no_destination", "no backup destination");
}

TEST_F(Backup, WaitsForAWriterOfTheSettings) {
    SetDestination();
    const int fd = open("/tmp/.zafoldap_conf.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(fd, LOCK_EX), 0);
    std::thread writer([fd] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        close(fd);
    });
    EXPECT_EQ(ServerLine("backup now").exit_code, 0);
    writer.join();
}

TEST_F(Backup, ThatIsRefusedAtNightIsInTheLog) {
    EXPECT_EQ(ServerLine("--backup now").exit_code, 3);
    EXPECT_THAT(ReadFile("/var/log/messages"),
                HasSubstr("backup now: service=ldap-server by=root folder=\"\" result=failed "
                          "(backup_no_destination)"));
}

TEST_F(Backup, SettingsThatAreDamagedAreNamedEverywhere) {
    WriteFile(kSettings, "[backup\n");
    for (const char *line : {"backup now", "backup list", "backup config show",
                             "backup config set --keep 3", "restore --latest --yes"})
        ExpectRefusal(line, 1, "zafoldap.backup_settings_failed", kSettings);
    EXPECT_EQ(Finding(ServerLineJson("check", 1), "backup-destination")["severity"], "error");
    WriteFile(kSettings, "[backup]\nschedule=1,2,3\nenabled=yes\n");
    ExpectRefusal("backup now", 1, "zafoldap.backup_settings_failed", kSettings);
}

TEST_F(Backup, ThatFailsReportsTheExactReasonAndTheProgramsMessage) {
    SetDestination();
    {
        const ReplacedTool slapcat("slapcat", "echo 'it is broken' >&2; exit 7");
        ExpectRefusal("backup now", 1, "common.error_system",
                      "the entries could not be read from the database");
        EXPECT_THAT(ServerLine("backup now").err, HasSubstr("it is broken"));
    }
    {
        const MountedOver full(kFolder, "size=64k");
        if (!full.Mounted()) GTEST_SKIP() << "nothing can be mounted here";
        ExpectRefusal("backup now", 1, "backup.err_disk_full", "too little space is left");
    }
    fs::remove_all(kFolder);
    fs::create_directory("/elsewhere");
    fs::create_symlink("/elsewhere", kFolder);
    const ProgramRun run = ServerLine("backup now");
    EXPECT_EQ(run.exit_code, 3);
    EXPECT_THAT(
        run.err,
        HasSubstr(
            "zafoldapbackup: backup failed: backups cannot be written to /backups: it is a link"));
    fs::remove_all("/elsewhere");
}

TEST_F(Backup, ThatFailedIsTheCheckersFinding) {
    SetDestination();
    const ReplacedTool slapcat("slapcat", "exit 7");
    EXPECT_EQ(ServerLine("backup now").exit_code, 1);
    const Json found = Finding(ServerLineJson("check", 1), "backup-last");
    EXPECT_EQ(found["severity"], "error");
    EXPECT_THAT(found["cause"], HasSubstr("failed while saving the entries: the entries could not "
                                          "be read"));
}

// The running job may itself fail, or be a restore: its result is not this backup's.
TEST_F(Backup, WhileAnotherJobRunsIsBusyWhateverItReports) {
    SetDestination();
    const struct {
        std::string progress;
        const char *key;
    } rows[] = {{ProgressText("backup", 0, 3, getpid()), "backup.err_backup_locked"},
                {ProgressText("restore", 0, 3, getpid()), "backup.err_restore_locked"},
                {ProgressText("backup", 6), "backup.err_backup_locked"},
                {ProgressText("backup", 0, 6), "backup.err_backup_locked"},
                {"", "common.error_occupied"}};
    for (const auto &row : rows) {
        const OtherJob other(row.progress);
        ExpectRefusal("backup now", 8, row.key, "");
        EXPECT_EQ(ReadFile(kProgress), row.progress);
    }
    EXPECT_THAT(Files(), IsEmpty());
}

TEST_F(Backup, AKilledProgramIsReportedAsKilled) {
    SetDestination();
    const ChangedFile program("/usr/zafo/bin/zafoldapbackup", "#!/bin/sh\nkill -KILL $$\n");
    fs::permissions("/usr/zafo/bin/zafoldapbackup", fs::perms(0755));
    ExpectRefusal("backup now", 1, "common.error_system", "killed by signal 9");
}

TEST_F(Backup, AProgramThatIsMissingIsNamed) {
    SetDestination();
    const ChangedFile program("/usr/zafo/bin/zafoldapbackup", "");
    ExpectRefusal("backup now", 1, "zafoldap.backup_program_missing",
                  "/usr/zafo/bin/zafoldapbackup cannot be started");
}

TEST_F(Backup, ADamagedFileIsNotVerified) {
    SetDestination();
    const std::string file = Make();
    std::string bytes = ReadFile(file);
    bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
    WriteFile("/root/damaged", bytes);
    ExpectRefusal("backup verify /root/damaged", 1, "backup.err_invalid_bkp_file", "/root/damaged");
    ExpectRefusal("backup verify /nowhere", 1, "backup.err_invalid_bkp_file", "/nowhere");
    ExpectRefusal("backup verify /backups", 1, "backup.err_invalid_bkp_file", "/backups");
}

// --- Progress -----------------------------------------------------------------

TEST_F(Backup, LeavesTheDirectoryItsOldProgressToShow) {
    EXPECT_TRUE(ServerLineJson("progress")["data"].is_null());
    SetDestination();
    Make();
    const Json progress = ServerLineJson("progress")["data"];
    EXPECT_EQ(progress["operation"], "backup");
    EXPECT_EQ(progress["state"], "done");
    EXPECT_EQ(progress["stage"], progress["total"]);
}

TEST_F(Backup, ShowsEveryStageAsALineOrAnEvent) {
    SetDestination();
    const ReplacedTool slapcat("slapcat", "sleep 0.5; exec $real \"$@\"");
    EXPECT_THAT(ServerLine("backup now").err, HasSubstr("[3/6] saving the entries"));
    EXPECT_THAT(ServerLine("backup now --quiet").err, IsEmpty());
    const ProgramRun run = ServerLine("backup now --progress=json");
    EXPECT_THAT(run.err, HasSubstr("{\"event\":\"progress\",\"operation\":\"backup\",\"stage\":3,"
                                   "\"total\":6,\"action\":\"saving the entries\"}\n"));
    EXPECT_THAT(run.out, HasSubstr("zafoldap-000003-"));
    EXPECT_THAT(ServerLine("backup now --progress none").err, IsEmpty());
}

TEST_F(Backup, IsFollowedToItsEndFromOutside) {
    SetDestination();
    const ReplacedTool slapcat("slapcat", "sleep 1.5; exec $real \"$@\"");
    std::thread job([] { EXPECT_EQ(ServerLine("backup now").exit_code, 0); });
    EXPECT_TRUE(Within(std::chrono::seconds(20),
                       [] { return !ServerLineJson("progress")["data"].is_null(); }));
    const ProgramRun run = ServerLine("progress --follow");
    job.join();
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("[3/6] saving the entries"));
    EXPECT_THAT(run.out, HasSubstr("done"));
}

TEST_F(Backup, FollowingOneThatFailsFailsWithItsReason) {
    SetDestination();
    const ReplacedTool slapcat("slapcat", "sleep 1.5; exit 7");
    std::thread job([] { EXPECT_EQ(ServerLine("backup now").exit_code, 1); });
    EXPECT_TRUE(Within(std::chrono::seconds(20),
                       [] { return !ServerLineJson("progress")["data"].is_null(); }));
    const ProgramRun run = ServerLine("progress --follow");
    job.join();
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("the entries could not be read from the database"));
}

TEST_F(Backup, CtrlCEndsItAndLeavesNothingBehind) {
    SetDestination();
    const ReplacedTool slapcat("slapcat", "sleep 60");
    OnTerminal program({"backup", "now"}, "/usr/zafo/bin/zafoldapserver");
    program.Answer("[3/6] saving the entries", "\x03");
    EXPECT_EQ(program.Finish(), 130);
    EXPECT_THAT(Files(), IsEmpty());
}

// A terminal sends Ctrl-C to the whole group; kill only to the one known process.
TEST_F(Backup, AnInterruptOfTheCommandAloneReachesTheJob) {
    SetDestination();
    const ReplacedTool slapcat("slapcat", "sleep 60");
    const pid_t pid = fork();
    if (pid == 0) {
        execl("/usr/zafo/bin/zafoldapserver", "zafoldapserver", "backup", "now", "--quiet",
              nullptr);
        _exit(127);
    }
    EXPECT_TRUE(Within(std::chrono::seconds(20), [] {
        const Json progress = ServerLineJson("progress")["data"];
        return !progress.is_null() && progress["stage"] == 3;
    }));
    kill(pid, SIGINT);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 130);
    EXPECT_THAT(Files(), IsEmpty());
}

// --- The check ----------------------------------------------------------------

TEST_F(Backup, TheCheckFollowsItFromNothingToGood) {
    const auto severity = [](const char *id) {
        const ProgramRun run = ServerLine("check --json");
        return Finding(Json::parse(run.out), id)["severity"].get<std::string>();
    };
    EXPECT_EQ(severity("backup-destination"), "warning");
    EXPECT_EQ(severity("backup-last"), "skipped");
    SetDestination();
    EXPECT_EQ(severity("backup-destination"), "ok");
    EXPECT_EQ(severity("backup-schedule"), "warning");
    EXPECT_EQ(severity("backup-last"), "warning");
    const std::string file = Make();
    EXPECT_EQ(severity("backup-last"), "ok");
    WriteFile(file, "damaged");
    EXPECT_EQ(severity("backup-last"), "error");
    fs::remove_all(kFolder);
    EXPECT_EQ(severity("backup-destination"), "error");
}

TEST_F(Backup, TheCheckSeesASchedulerThatDisagrees) {
    ASSERT_EQ(ServerLine("backup config set --dir /backups --schedule 'daily 04:00'").exit_code, 0);
    const std::string table = ReadFile(kCronTable);
    const auto cause = [] {
        const Json found = Finding(ServerLineJson("check", 1), "backup-schedule");
        EXPECT_EQ(found["severity"], "error");
        return found["cause"].get<std::string>();
    };
    fs::remove(kCronTable);
    EXPECT_THAT(cause(), HasSubstr("the scheduler does not have it"));
    WriteFile(kCronTable,
              "0 5 * * * root /usr/zafo/bin/zafoldapserver --backup now 2>/dev/null >&2\n");
    EXPECT_THAT(cause(), HasSubstr("at other times"));
    ASSERT_EQ(ServerLine("backup config set --schedule off").exit_code, 0);
    WriteFile(kCronTable, table);
    EXPECT_THAT(cause(), HasSubstr("still runs backups"));
}

}  // namespace
