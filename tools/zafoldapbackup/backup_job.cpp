// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapbackup/backup_job.h"

#include <fcntl.h>

#include <cerrno>
#include <ctime>
#include <vector>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "tools/backup/archive_reader.h"
#include "tools/backup/archive_writer.h"
#include "tools/backup/backup_folder.h"
#include "tools/backup/child.h"
#include "tools/backup/destination.h"
#include "tools/backup/job_error.h"
#include "tools/backup/job_lock.h"
#include "tools/backup/progress_file.h"
#include "tools/restore/recovery.h"
#include "tools/restore/server_probe.h"
#include "tools/zafoldapbackup/configuration_copy.h"
#include "tools/zafoldapbackup/slapd_version.h"
#include "tools/zafoldapbackup/warning.h"

namespace zafo::backup {

namespace {

constexpr int kBackupStages = 6;
constexpr std::size_t kBlockBytes = 256U << 10;

class BackupJob {
  public:
    BackupJob(const Environment &environment, ProgressFile *progress)
        : environment_(environment), progress_(progress) {}

    void Run() {
        progress_->Stage("checking the destination");
        RecoverRestore();
        const std::uint64_t number = PrepareFolder();
        const std::time_t now = std::time(nullptr);
        progress_->Stage("saving the configuration");
        const std::string suffix = SuffixOf(kSlapdConf);
        PartFile part(environment_.folder, BackupName(environment_.prefix, number, now));
        ArchiveWriter writer(part.Fd(), part.Path(), now, suffix);
        SaveConfiguration(&writer, environment_.browser_conf);
        progress_->Stage("saving the entries");
        SaveEntries(&writer);
        progress_->Stage("writing to disk");
        const Manifest manifest = writer.Finish({.product_version = ZAFO_VERSION,
                                                 .task = environment_.task,
                                                 .number = number,
                                                 .created = UtcText(now),
                                                 .suffix = suffix,
                                                 .slapd_version = SlapdVersion()});
        part.Sync();
        progress_->Stage("verifying");
        Verify(part, manifest);
        // A file gets the name of a backup only after it has been read back.
        part.PutInPlace();
        progress_->Stage("removing old backups");
        Thin(environment_.folder, environment_.prefix, environment_.keep);
    }

  private:
    // A failure here says nothing about the backup folder, unlike a backup's other exit codes.
    static void RecoverRestore() {
        try {
            RecoverBeforeJob(Places());
        } catch (const JobError &error) {
            throw JobError(Exit::kSystem, error.what());
        }
    }

    // Returns the number of the backup to write.
    std::uint64_t PrepareFolder() const {
        CheckDestination(environment_.folder);
        RemoveLeftParts(environment_.folder, environment_.prefix);
        const FolderContents contents = LookInto(environment_.folder, environment_.prefix);
        for (const std::string &words : InWords(contents.passed_over))
            Warn(words);
        CheckSpace(environment_.folder, contents.backups);
        return NextNumber(contents.backups);
    }

    // slapcat reads a consistent snapshot while the server keeps writing; its output is a pipe
    // because slapcat does not notice a full disk.
    void SaveEntries(ArchiveWriter *writer) {
        Pipe pipe = MakePipe();
        Child slapcat({.argv = {kSlapcat}, .output = pipe.writer.Get()});
        pipe.writer.Reset(-1);
        std::vector<char> block(kBlockBytes);
        ssize_t n = 0;
        while ((n = ReadSome(pipe.reader.Get(), block.data(), block.size())) > 0) {
            writer->AddEntries({block.data(), static_cast<std::size_t>(n)});
            progress_->TickEntries(writer->Scan().Entries());
        }
        if (n < 0) throw SystemError(Exit::kServer, "cannot read slapcat's output", errno);
        JudgeEntries(slapcat.Wait(), OneLine(slapcat.Words()), writer->Scan());
    }

    static void JudgeEntries(int status, const std::string &words, const EntryScan &scan) {
        const auto fail = [](const std::string &what) { throw JobError(Exit::kServer, what); };
        if (status != 0)
            fail(fmt::format("slapcat failed ({}){}{}", StatusInWords(status),
                             words.empty() ? "" : ": ", words));
        if (scan.Entries() == 0) fail("the database holds no entries");
        if (!scan.IsComplete() || scan.HasStrayText())
            fail(fmt::format("slapcat's output ends after {} entries", scan.Entries()));
        if (!scan.SawSuffix()) fail("the suffix's entry is missing from slapcat's output");
    }

    void Verify(const PartFile &part, const Manifest &manifest) {
        // Reads back from the disk, not from the page cache.
        posix_fadvise(part.Fd(), 0, 0, POSIX_FADV_DONTNEED);
        try {
            const Contents contents = ReadArchive(part.Fd(), part.Path(), [&](std::string_view) {
                progress_->Tick("reading it again");
            });
            if (ToJson(contents.manifest) == ToJson(manifest)) return;
        } catch (const JobError &error) {
            if (error.code != Exit::kDamaged) throw;
            throw JobError(Exit::kSystem,
                           fmt::format("the backup on the disk is damaged: {}", error.what()));
        }
        throw JobError(Exit::kSystem, fmt::format("{} differs from what was written", part.Path()));
    }

    const Environment &environment_;
    ProgressFile *progress_;
};

}  // namespace

int RunBackup(const Environment &environment) {
    const JobLock lock;
    ProgressFile progress(environment.progress_file, Operation::kBackup, environment.task,
                          kBackupStages);
    FinishAfter(&progress, [&] { BackupJob(environment, &progress).Run(); });
    return 0;
}

}  // namespace zafo::backup
