// SPDX-License-Identifier: Apache-2.0
//
// Every state of the journal combined with everything that the two names may refer to.
#include "tools/restore/recovery_verdict.h"

#include <array>
#include <string_view>

#include <gtest/gtest.h>

namespace zafo::test {
namespace {

using namespace zafo::backup;

// A row is the state of "data", a column that of "data.new": missing, old, new, another. A cell has
// two letters, the verdict when the database in place holds the suffix's entry and when it does
// not: N nothing, K keep, X swap back, U unclear.
struct Table {
    const char *journal;
    FoundJournal found;
    std::array<std::string_view, 4> rows;
};

FoundJournal In(JournalState state) {
    return {.exists = true, .journal = Journal{.state = state, .old_folder = 1, .new_folder = 2}};
}

const Table kTables[] = {
    {"no journal",
     {},
     {"NN KK KK KK",  //
      "NN KK KK KK",  //
      "NN KK KK KK",  //
      "NN KK KK KK"}},
    {"junk",
     {.exists = true},
     {"KK UU UU UU",  //
      "KK KK KK KK",  //
      "KK KX KK KK",  //
      "KK KU KU KU"}},
    {"exchange",
     In(JournalState::kExchange),
     {"KK UU UU UU",    // never without a database in place
      "KK KK KK KK",    // the swap was not reached
      "KK KX KK KK",    // it was: keep the new one if it is good
      "KK KU KU KU"}},  // not ours
    {"starting",
     In(JournalState::kStarting),
     {"KK UU UU UU",  //
      "KK KK KK KK",  //
      "KK KX KK KK",  //
      "KK KU KU KU"}},
    {"undo",
     In(JournalState::kUndo),
     {"KK UU UU UU",  //
      "KK KK KK KK",  //
      "KK XX KK KK",  // it was found to be bad
      "KK KU KU KU"}},
};

char Letter(Verdict verdict) {
    switch (verdict) {
        case Verdict::kNothing:
            return 'N';
        case Verdict::kKeep:
            return 'K';
        case Verdict::kSwapBack:
            return 'X';
        case Verdict::kUnclear:
            return 'U';
    }
    return '?';
}

constexpr Which kWhich[] = {Which::kMissing, Which::kOld, Which::kNew, Which::kOther};

TEST(RecoveryVerdict, KeepsWhatIsWholeInEveryCase) {
    for (const Table &table : kTables) {
        for (size_t data = 0; data < 4; ++data) {
            for (size_t spare = 0; spare < 4; ++spare) {
                // Without a readable journal the old database cannot be told from the new one.
                if (table.found.exists && !table.found.journal && (data % 3 != 0 || spare % 3 != 0))
                    continue;
                const Scene scene{table.found, kWhich[data], kWhich[spare]};
                const std::string_view cell = table.rows[data].substr(spare * 3, 2);
                SCOPED_TRACE(std::string(table.journal) + ", line " + std::to_string(data) +
                             ", column " + std::to_string(spare));
                EXPECT_EQ(Letter(Judge(scene, [] { return true; })), cell[0]);
                EXPECT_EQ(Letter(Judge(scene, [] { return false; })), cell[1]);
            }
        }
    }
}

// Running slapcat takes a configuration; a machine that had no server has none yet.
TEST(RecoveryVerdict, AsksForTheEntryOnlyWhereThatDecides) {
    const auto asked = [](const Scene &scene) {
        bool was_asked = false;
        Judge(scene, [&] { return was_asked = true; });
        return was_asked;
    };
    EXPECT_FALSE(asked({.data = Which::kOther}));
    EXPECT_FALSE(asked({.data = Which::kOther, .spare = Which::kOther}));
    EXPECT_FALSE(asked({In(JournalState::kExchange), Which::kOld, Which::kNew}));
    EXPECT_FALSE(asked({In(JournalState::kUndo), Which::kNew, Which::kOld}));
    EXPECT_TRUE(asked({In(JournalState::kStarting), Which::kNew, Which::kOld}));
    EXPECT_TRUE(asked({{.exists = true}, Which::kOther, Which::kOther}));
}

}  // namespace
}  // namespace zafo::test
