// SPDX-License-Identifier: Apache-2.0
//
// The entries of a backup are loaded into a folder beside the server's database while the server runs.
// Only when they are all there is it stopped, for as long as two folders take to get each other's
// name, and the old folder is removed only when the server has answered from the new one.
#include "tools/zafoldapbackup/restore_job.h"

#include "tools/backup/archive_reader.h"
#include "tools/backup/entry_scan.h"
#include "tools/backup/job_lock.h"
#include "tools/backup/problem.h"
#include "tools/backup/progress_file.h"
#include "tools/backup/stop_signal.h"
#include "tools/cli/display_text.h"
#include "tools/restore/database_folder.h"
#include "tools/restore/durable_file.h"
#include "tools/restore/server_probe.h"
#include "tools/restore/settle.h"
#include "tools/restore/staging.h"
#include "tools/restore/start_lock.h"
#include "tools/zafoldapbackup/missing_configuration.h"
#include "tools/zafoldapbackup/restore_checks.h"

#include "platform/service.h"

#include <syslog.h>

#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>

namespace zafo::backup {

namespace {

constexpr int kStages = 8;

// A program that reads the database offline ends soon.
constexpr std::chrono::seconds kReaderLimit{10};

void Warn(const std::string &words) {
    const std::string line = cli::OneLine(words);
    std::fprintf(stderr, "zafoldapbackup: %s\n", line.c_str());
    syslog(LOG_WARNING, "%s", line.c_str());
}

class RestoreJob {
  public:
    RestoreJob(const Environment &environment, const std::string &file, ProgressFile *progress)
        : environment_(environment), file_(file), progress_(progress) {}

    void Run() {
        progress_->Stage("checking the backup");
        SettleBeforeJob(places_);
        Check();
        progress_->Stage("loading the entries");
        Load();
        progress_->Stage("counting the entries");
        staging_->Verify(contents_.manifest.entries, contents_.manifest.suffix,
                         [this](std::uint64_t entries) { TickOf(entries); });
        Replace();
        progress_->Stage("removing the old database");
        RemoveOld();
    }

  private:
    void TickOf(std::uint64_t entries) {
        progress_->TickEntries(entries, contents_.manifest.entries);
    }

    void Check() {
        backup_ = UniqueFd(OpenBackup(file_));
        contents_ = ReadArchive(backup_.Get(), file_,
                                [this](std::string_view) { progress_->Tick("reading it"); });
        configuration_ =
            std::make_unique<MissingConfiguration>(contents_, environment_.browser_conf);
        CheckManifest(contents_.manifest, configuration_->Suffix());
        server_ran_ = CheckServer(places_);
        CheckRoom(places_, contents_.manifest);
    }

    // The file is read once more: what is loaded was itself checked to the last byte.
    void Load() {
        staging_ = std::make_unique<Staging>(places_, configuration_->SlapdConf(),
                                             configuration_->Rules());
        Loader loader(staging_->Configuration());
        EntryScan scan;
        const Contents again = ReadArchive(backup_.Get(), file_, [&](std::string_view block) {
            loader.Add(block);
            scan.Add(block);
            TickOf(scan.Entries());
        });
        loader.Finish();
        staging_->Trim();
        if (!(again.manifest == contents_.manifest))
            throw Problem(Exit::kDamaged, file_ + " was changed while it was read");
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
            ExchangeFolders();
            progress_->Stage("starting the server");
            StartServer();
            progress_->Stage("asking the server");
            AskServer();
            EndIfStopped();
            RemoveDurably(places_.journal);
        } catch (const Problem &problem) {
            TakeBack(problem);
        } catch (const std::exception &failure) {
            TakeBack(Problem(Exit::kSystem, failure.what()));
        }
    }

    void StopServer() const {
        if (server_ran_ && QLIBServiceStop(cli::kService, 0) != 0)
            throw Problem(Exit::kServer, "the server does not stop");
        EndIfStopped();
    }

    // While the lock is held no server can begin to write into what is taken away.
    void ExchangeFolders() {
        const StartLock lock;
        AwaitUnused(places_.data, kReaderLimit);
        configuration_->Install();
        Exchange(places_.data, places_.spare);
        journal_.state = JournalState::kStarting;
        WriteDurably(places_.journal, TextOf(journal_));
        EndIfStopped();
    }

    void StartServer() const {
        if (server_ran_ && QLIBServiceStart(cli::kService, 0) != 0)
            throw Problem(Exit::kServer, "the server does not start with the restored entries");
        EndIfStopped();
    }

    void AskServer() const {
        const std::string &suffix = contents_.manifest.suffix;
        if (server_ran_) {
            ExpectServes(cli::kSlapdConf, suffix);
        } else if (!HoldsSuffix(cli::kSlapdConf, suffix)) {
            throw Problem(Exit::kServer, "the restored database does not have the entry " + suffix);
        }
    }

    [[noreturn]] void TakeBack(const Problem &problem) {
        try {
            UndoRestore(places_, journal_);
        } catch (const Problem &undoing) {
            throw Problem(Exit::kServer, fmt::format("{}; {}", problem.what(), undoing.what()));
        }
        configuration_->Uninstall();
        throw problem;
    }

    // The restore counts by now.
    void RemoveOld() {
        try {
            RemoveFolder(places_.spare);
        } catch (const Problem &problem) {
            Warn(problem.what());
        }
        const std::string words = configuration_->InstallConnection();
        if (!words.empty()) Warn(words);
    }

    const Environment &environment_;
    const std::string &file_;
    ProgressFile *progress_;
    const Places places_;
    UniqueFd backup_;
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
                          kStages);
    FinishAfter(&progress, [&] { RestoreJob(environment, file, &progress).Run(); });
    return 0;
}

}  // namespace zafo::backup
