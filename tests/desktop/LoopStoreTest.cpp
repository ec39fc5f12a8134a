// What is remembered of a recording: its loops and last speed and pitch survive a new store
// object (a new run) and the file being moved, but not another file put at its path; a
// store that cannot be read is left as it is.

#include "platform/desktop/LoopStore.h"

#include "tests/support/Fixtures.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>

namespace platform::desktop {
// Failures print a loop as its name and frames.
void PrintTo(const SavedLoop& loop, std::ostream* out) {
    *out << loop.name.toStdString() << " " << loop.startFrame << ".." << loop.endFrame;
}
} // namespace platform::desktop

using namespace platform::desktop;

namespace {

class LoopStoreTest : public testing::Test {
protected:
    QString at(const char* name) const { return QString::fromStdString(folder / name); }
    // A recording of `bytes` bytes whose content depends on `seed`.
    QString recording(const char* name, int seed, std::size_t bytes = 3 << 20) {
        std::string data(bytes, '\0');
        for (std::size_t i = 0; i < bytes; ++i)
            data[i] = char((i * 7 + std::size_t(seed)) % 251);
        test_support::writeFile(folder / name, data);
        return at(name);
    }
    QString storePath() const { return at("data/loops.json"); }

    test_support::ScratchFolder folder;
};

TEST_F(LoopStoreTest, ARecordingKeepsItsLoopsAcrossRunsAndWhenMoved) {
    const QString path = recording("song.flac", 1);
    const QString key = LoopStore::fileKey(path);
    ASSERT_FALSE(key.isEmpty());
    RecordingMemory memory;
    memory.loops = {{QStringLiteral("verse"), 1000, 5000}, {QStringLiteral("solo"), 9000, 12000}};
    memory.rate = 0.75;
    memory.cents = -200;
    ASSERT_TRUE(LoopStore(storePath()).remember(key, path, memory));

    const QString moved = at("renamed.flac");
    ASSERT_TRUE(QFile::rename(path, moved));
    const RecordingMemory back = LoopStore(storePath()).recall(LoopStore::fileKey(moved));
    EXPECT_EQ(back.loops, memory.loops);
    EXPECT_EQ(back.rate, 0.75);
    EXPECT_EQ(back.cents, -200);

    // Another recording at the first one's path, alike but for its last byte, or alike in
    // its first megabyte but longer, remembers nothing.
    recording("song.flac", 1, (3 << 20) + 1);
    EXPECT_TRUE(LoopStore(storePath()).recall(LoopStore::fileKey(path)).loops.isEmpty());
    EXPECT_TRUE(LoopStore::fileKey(at("missing.flac")).isEmpty());
}

TEST_F(LoopStoreTest, AStoreThatCannotBeReadIsLeftAsItIsUntilSomethingIsSaved) {
    std::filesystem::create_directories(folder / "data");
    test_support::writeFile(folder / "data/loops.json", "{ \"recordings\": { broken");

    LoopStore store(storePath());
    const QString path = recording("song.wav", 2);
    const QString key = LoopStore::fileKey(path);
    EXPECT_TRUE(store.recall(key).loops.isEmpty());
    EXPECT_TRUE(store.restoresSpeedAndPitch()) << "on, unless turned off";
    EXPECT_EQ(test_support::readFile(folder / "data/loops.json"), "{ \"recordings\": { broken")
        << "reading changed nothing";

    EXPECT_TRUE(store.setRestoresSpeedAndPitch(false));
    EXPECT_FALSE(LoopStore(storePath()).restoresSpeedAndPitch());
    // Nothing but the store itself is in its folder: it was replaced whole.
    EXPECT_EQ(QDir(at("data")).entryList(QDir::Files), QStringList{QStringLiteral("loops.json")});
}

} // namespace
