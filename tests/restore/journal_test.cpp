// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/journal.h"

#include "tests/backup/folder_fixture.h"
#include "tools/restore/durable_file.h"

namespace zafo::test {
namespace {

using namespace zafo::backup;

Journal Example() {
    return {.state = JournalState::kStarting,
            .old_folder = 1234,
            .new_folder = 18446744073709551615U,
            .server_ran = true,
            .writer = {.pid = 4711, .started = 88123}};
}

TEST(RestoreJournal, ReadsWhatItWrites) {
    for (const JournalState state :
         {JournalState::kExchange, JournalState::kStarting, JournalState::kUndo}) {
        for (const bool ran : {false, true}) {
            Journal journal = Example();
            journal.state = state;
            journal.server_ran = ran;
            EXPECT_EQ(JournalFrom(TextOf(journal)), journal);
        }
    }
}

TEST(RestoreJournal, IsTheTextThatItsHeaderDescribes) {
    EXPECT_EQ(TextOf(Example()),
              "zafoldap-restore 1\nstate=starting\nold=1234\nnew=18446744073709551615\n"
              "server=running\npid=4711\nstarted=88123\nend\n");
}

TEST(RestoreJournal, ThatIsTruncatedIsRefused) {
    const std::string text = TextOf(Example());
    for (size_t size = 0; size < text.size(); ++size)
        EXPECT_EQ(JournalFrom(text.substr(0, size)), std::nullopt) << size;
}

TEST(RestoreJournal, WithTrailingTextIsRefused) {
    for (const char *more : {"\n", " ", "state=undo\n", "end\n"})
        EXPECT_EQ(JournalFrom(TextOf(Example()) + more), std::nullopt) << more;
}

TEST(RestoreJournal, WithAnyByteChangedIsRefusedOrDiffers) {
    const std::string text = TextOf(Example());
    for (size_t at = 0; at < text.size(); ++at) {
        for (const char byte : {'\0', ' ', 'x', '-', '\n', '\xFF'}) {
            std::string changed = text;
            changed[at] = byte;
            if (changed == text) continue;
            const auto journal = JournalFrom(changed);
            if (!journal) continue;
            EXPECT_EQ(TextOf(*journal), changed);
        }
    }
}

TEST(RestoreJournal, OfAnotherFormatIsRefused) {
    for (const char *text :
         {"", "junk",
          "zafoldap-restore "
          "2\nstate=exchange\nold=1\nnew=2\nserver=running\npid=1\nstarted=1\nend\n",
          "zafoldap-restore 1\nstate=done\nold=1\nnew=2\nserver=running\npid=1\nstarted=1\nend\n",
          "zafoldap-restore "
          "1\nstate=exchange\nold=-1\nnew=2\nserver=running\npid=1\nstarted=1\nend\n",
          "zafoldap-restore "
          "1\nstate=exchange\nold=1\nnew=2\nserver=maybe\npid=1\nstarted=1\nend\n"})
        EXPECT_EQ(JournalFrom(text), std::nullopt) << text;
}

class JournalFile : public FolderTest {};

TEST_F(JournalFile, ThatIsMissingMeansNoJournal) {
    EXPECT_FALSE(ReadJournal(Path("journal")).exists);
}

TEST_F(JournalFile, IsReadBack) {
    WriteDurably(Path("journal"), TextOf(Example()));
    const FoundJournal found = ReadJournal(Path("journal"));
    EXPECT_TRUE(found.exists);
    EXPECT_EQ(found.journal, Example());
    EXPECT_EQ(Names(), std::set<std::string>{"journal"});
}

TEST_F(JournalFile, OfJunkExistsAndIsUnreadable) {
    const std::string good = TextOf(Example());
    for (const std::string &text :
         {std::string(), std::string(5000, 'x'), good + std::string(4000, '\n')}) {
        Write("journal", text);
        EXPECT_TRUE(ReadJournal(Path("journal")).exists);
        EXPECT_EQ(ReadJournal(Path("journal")).journal, std::nullopt);
    }
}

TEST_F(JournalFile, ThatIsAFolderOrALinkIsNotFollowed) {
    std::filesystem::create_directory(Path("folder"));
    EXPECT_TRUE(ReadJournal(Path("folder")).exists);
    EXPECT_EQ(ReadJournal(Path("folder")).journal, std::nullopt);
    WriteDurably(Path("real"), TextOf(Example()));
    std::filesystem::create_symlink("real", Path("link"));
    EXPECT_TRUE(ReadJournal(Path("link")).exists);
    EXPECT_EQ(ReadJournal(Path("link")).journal, std::nullopt);
}

}  // namespace
}  // namespace zafo::test
