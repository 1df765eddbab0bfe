// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/recovery_verdict.h"

#include "tools/restore/database_folder.h"

namespace zafo::backup {

namespace {

Which WhichIs(const std::string &folder, const std::optional<Journal> &journal) {
    const FolderId id = IdOf(folder);
    if (id == 0) return Which::kMissing;
    if (journal && id == journal->old_folder) return Which::kOld;
    if (journal && id == journal->new_folder) return Which::kNew;
    return Which::kOther;
}

Verdict JudgeSwapped(const Scene &scene, const std::function<bool()> &holds) {
    // Without the old database there is nothing to go back to.
    if (scene.spare != Which::kOld) return Verdict::kKeep;
    // Clients may have written to the new database by now; if it is good it stays.
    const bool good = scene.journal.journal->state != JournalState::kUndo && holds();
    return good ? Verdict::kKeep : Verdict::kSwapBack;
}

}  // namespace

Scene LookAt(const Places &places) {
    Scene scene{.journal = ReadJournal(places.journal)};
    scene.data = WhichIs(places.data, scene.journal.journal);
    scene.spare = WhichIs(places.spare, scene.journal.journal);
    return scene;
}

Verdict Judge(const Scene &scene, const std::function<bool()> &holds) {
    const bool has_spare = scene.spare != Which::kMissing;
    // The journal reaches the disk before the folders are swapped.
    if (!scene.journal.exists) return has_spare ? Verdict::kKeep : Verdict::kNothing;
    if (scene.data == Which::kOld) return Verdict::kKeep;
    if (scene.data == Which::kNew) return JudgeSwapped(scene, holds);
    if (scene.data == Which::kMissing) return has_spare ? Verdict::kUnclear : Verdict::kKeep;
    // Folders that the journal does not name, or an unreadable journal.
    return !has_spare || holds() ? Verdict::kKeep : Verdict::kUnclear;
}

}  // namespace zafo::backup
