// SPDX-License-Identifier: Apache-2.0
//
// The entries of a backup are loaded into a folder beside the server's database while the server
// runs. Only when all of them are loaded is it stopped, for as long as it takes to swap two
// folders, and the old folder is removed only after the server has answered from the new one.
#include "tools/zafoldapbackup/restore_job.h"

#include <exception>
#include <memory>
#include <optional>

#include <fmt/format.h>

#include "platform/service.h"
#include "tools/backup/archive_reader.h"
#include "tools/backup/confirmed_backup.h"
#include "tools/backup/entry_scan.h"
#include "tools/backup/job_error.h"
#include "tools/backup/job_lock.h"
#include "tools/backup/progress_file.h"
#include "tools/backup/stop_signal.h"
#include "tools/cli/display_text.h"
#include "tools/restore/database_folder.h"
#include "tools/restore/durable_file.h"
#include "tools/restore/entry_sieve.h"
#include "tools/restore/recovery.h"
#include "tools/restore/server_probe.h"
#include "tools/restore/staging.h"
#include "tools/restore/start_lock.h"
#include "tools/zafoldapbackup/missing_configuration.h"
#include "tools/zafoldapbackup/restore_checks.h"
#include "tools/zafoldapbackup/warning.h"

namespace zafo::backup {

namespace {

constexpr int kRestoreStages = 8;

constexpr const char *kLeaveOut = "zafoldapserver restore --without-admin-entry skips it";

class RestoreJob {
  public:
    RestoreJob(const Environment &environment, const std::string &file, ProgressFile *progress)
        : environment_(environment), name_(file), progress_(progress) {}

    void Run() {
        progress_->Stage("checking the backup");
        RecoverBeforeJob(places_);
        Check();
        progress_->Stage("loading the entries");
        Load();
        progress_->Stage("counting the entries");
        staging_->Verify(contents_.manifest.entries - left_out_, contents_.manifest.suffix,
                         [this](std::uint64_t entries) { TickOf(entries); });
        RefuseAdminEntry();
        Replace();
        progress_->Stage("removing the old database");
        RemoveOld();
    }

  private:
    void TickOf(std::uint64_t entries) {
        progress_->TickEntries(entries, contents_.manifest.entries);
    }

    // A confirmed backup is read through the descriptor of the process that has read it before.
    void Open() {
        backup_ = OpenBackup(name_);
        confirmed_ = ConfirmationIn(backup_.Get());
        if (!confirmed_) return;
        name_ = confirmed_->name;
        backup_ = OpenBackup(confirmed_->file);
    }

    void Check() {
        Open();
        contents_ = ReadArchive(backup_.Get(), name_,
                                [this](std::string_view) { progress_->Tick("reading it"); });
        if (confirmed_ && contents_.seal != confirmed_->seal)
            throw JobError(Exit::kDamaged, name_ + " was changed after it was confirmed");
        configuration_ =
            std::make_unique<MissingConfiguration>(contents_, environment_.browser_conf);
        CheckManifest(contents_.manifest, configuration_->Suffix());
        server_ran_ = CheckServer(places_);
        CheckRoom(places_, contents_.manifest);
    }

    // The file is read again: the restore proceeds only if the loaded data passes every check
    // itself and has the same digest as before. slapadd sees no line that is not known to be
    // harmless.
    void Load() {
        staging_ = std::make_unique<Staging>(places_, configuration_->SlapdConf(),
                                             configuration_->Rules());
        Loader loader(staging_->Configuration());
        EntryScan scan;
        EntrySieve sieve(configuration_->AdminDn(), LeavesAdminOut());
        const auto load = [&](std::string_view block) { loader.Add(block); };
        const Contents again = ReadArchive(backup_.Get(), name_, [&](std::string_view block) {
            sieve.Add(block, load);
            scan.Add(block);
            TickOf(scan.Entries());
            if (sieve.Found() > 0 && !LeavesAdminOut()) RefuseAdmin(kLeaveOut);
        });
        sieve.Finish(load);
        loader.Finish();
        staging_->Trim();
        if (again.seal != contents_.seal)
            throw JobError(Exit::kDamaged, name_ + " was changed while it was read");
        left_out_ = sieve.Found();
    }

    bool LeavesAdminOut() const { return confirmed_ && confirmed_->without_administrator; }

    // Only slapd recognises other spellings of the administrator's DN.
    void RefuseAdminEntry() const {
        const std::string &admin = configuration_->AdminDn();
        if (!admin.empty() && HoldsEntry(staging_->Configuration(), admin))
            RefuseAdmin("remove it from the original directory and back that up again");
    }

    // slapd would accept the password of such an entry as the administrator's, who is exempt from
    // all access rules.
    [[noreturn]] void RefuseAdmin(std::string_view remedy) const {
        throw JobError(Exit::kDamaged,
                       fmt::format("{} has an entry {}, whose password would also work for the "
                                   "directory administrator: {}",
                                   name_, OneLine(configuration_->AdminDn()), remedy));
    }

    void Replace() {
        if (IdOf(places_.data) == 0) MakeDatabaseFolder(places_.data);
        journal_ = {.state = JournalState::kExchange,
                    .old_folder = IdOf(places_.data),
                    .new_folder = staging_->Finish(),
                    .server_ran = server_ran_,
                    .writer = ProcessId::Own()};
        staging_->Release();
        try {
            WriteDurably(places_.journal, TextOf(journal_));
            progress_->Stage("stopping the server");
            StopServer();
            progress_->Stage("exchanging the database");
            SwapIn();
            progress_->Stage("starting the server");
            StartServer();
            progress_->Stage("asking the server");
            AskServer();
            EndIfStopped();
            RemoveDurably(places_.journal);
        } catch (const JobError &error) {
            TakeBack(error);
        } catch (const std::exception &failure) {
            TakeBack(JobError(Exit::kSystem, failure.what()));
        }
    }

    void StopServer() const {
        if (server_ran_ && QLIBServiceStop(kServerService, 0) != 0)
            throw JobError(Exit::kServer, "the server does not stop");
        EndIfStopped();
    }

    // While the lock is held, no server can start writing to the folder being removed.
    void SwapIn() {
        const StartLock lock;
        AwaitUnused(places_.data);
        configuration_->Install();
        SwapFolders(places_.data, places_.spare);
        journal_.state = JournalState::kStarting;
        WriteDurably(places_.journal, TextOf(journal_));
        EndIfStopped();
    }

    void StartServer() const {
        if (server_ran_ && QLIBServiceStart(kServerService, 0) != 0)
            throw JobError(Exit::kServer, "the server does not start with the restored entries");
        EndIfStopped();
    }

    void AskServer() const {
        const std::string &suffix = contents_.manifest.suffix;
        if (server_ran_) {
            ExpectServes(kSlapdConf, suffix);
        } else if (!HoldsSuffix(kSlapdConf, suffix)) {
            throw JobError(Exit::kServer,
                           "the restored database does not have the entry " + suffix);
        }
    }

    [[noreturn]] void TakeBack(const JobError &error) {
        try {
            UndoRestore(places_, journal_);
        } catch (const JobError &undoing) {
            throw JobError(Exit::kServer, fmt::format("{}; {}", error.what(), undoing.what()));
        }
        configuration_->Uninstall();
        throw error;
    }

    // The restore is committed by now.
    void RemoveOld() {
        try {
            RemoveFolder(places_.spare);
        } catch (const JobError &error) {
            Warn(error.what());
        }
        const std::string words = configuration_->InstallConnection();
        if (!words.empty()) Warn(words);
        for (const std::string &note : configuration_->Notes())
            Warn(note);
        if (left_out_ > 0)
            Warn(fmt::format("the entry {} was left out", OneLine(configuration_->AdminDn())));
    }

    const Environment &environment_;
    std::string name_;  // of the backup, for messages
    ProgressFile *progress_;
    const Places places_;
    UniqueFd backup_;
    std::optional<ConfirmedBackup> confirmed_;
    std::uint64_t left_out_ = 0;
    Contents contents_;
    std::unique_ptr<MissingConfiguration> configuration_;
    std::unique_ptr<Staging> staging_;
    bool server_ran_ = false;
    Journal journal_;
};

}  // namespace

int RunRestore(const Environment &environment, const std::string &file) {
    const JobLock lock;
    ProgressFile progress(environment.progress_file, Operation::kRestore, environment.task,
                          kRestoreStages);
    FinishAfter(&progress, [&] { RestoreJob(environment, file, &progress).Run(); });
    return 0;
}

}  // namespace zafo::backup
