#include "platform/file_watcher.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;

constexpr int kWaitMs = 2000;

TEST(FileWatcherTest, ReportsEachChangeOfTheWatchedFileOnly) {
  const fs::path dir = test::MakeTempDir();
  const fs::path file = dir / "myChessProblems.cp";
  std::ofstream(file) << "first\n";
  TFileWatcher w;
  ASSERT_TRUE(w.Watch(file));
  EXPECT_GE(w.Fd(), 0);
  EXPECT_FALSE(w.Changed(0));

  std::ofstream(file, std::ios::app) << "written in place\n";
  EXPECT_TRUE(w.Changed(kWaitMs));
  EXPECT_FALSE(w.Changed(0)) << "one change, one report";

  // Still watching after the event; a neighbour's change is not ours.
  std::ofstream(dir / "other.cp") << "x\n";
  EXPECT_FALSE(w.Changed(50));
  std::ofstream(file) << "rewritten\n";
  EXPECT_TRUE(w.Changed(kWaitMs));

  // Replaced by a rename, as editors save.
  std::ofstream(dir / "new.tmp") << "replaced\n";
  fs::rename(dir / "new.tmp", file);
  EXPECT_TRUE(w.Changed(kWaitMs));

  // The program's own save is discarded.
  std::ofstream(file) << "saved by us\n";
  w.Discard();
  EXPECT_FALSE(w.Changed(50));

  fs::remove(file);
  EXPECT_TRUE(w.Changed(kWaitMs));
}

TEST(FileWatcherTest, SwitchingFilesAndFailures) {
  const fs::path dir = test::MakeTempDir();
  std::ofstream(dir / "a.cp") << "a\n";
  std::ofstream(dir / "b.cp") << "b\n";
  TFileWatcher w;
  ASSERT_TRUE(w.Watch(dir / "a.cp"));
  std::ofstream(dir / "a.cp") << "a2\n";
  ASSERT_TRUE(w.Watch(dir / "b.cp"));  // the pending event of a.cp is dropped
  EXPECT_FALSE(w.Changed(50));
  EXPECT_EQ(w.File(), dir / "b.cp");
  std::ofstream(dir / "b.cp") << "b2\n";
  EXPECT_TRUE(w.Changed(kWaitMs));

  EXPECT_FALSE(w.Watch(dir / "missing-folder" / "c.cp"));
  EXPECT_FALSE(w.Changed(0));
}

}  // namespace
}  // namespace ostravel
