// Collection files on disk: loading, safe saving with the ".BAK" copy and the
// user's default collection.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "config/safe_file.h"
#include "problems/cp_file.h"
#include "problems/reference_table.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

std::vector<TProblem> Problems(int count) {
  std::vector<TProblem> out;
  for (int i = 0; i < count; ++i) {
    TProblem p;
    p.moves = static_cast<uint16_t>(i + 1);
    EXPECT_TRUE(p.SetFen("4k3/8/8/8/8/8/8/4K2R w K - 0 1"));
    p.description = "problem " + std::to_string(i + 1);
    out.push_back(p);
  }
  return out;
}

TEST(CollectionFile, SaveKeepsThePreviousVersionAsBak) {
  const fs::path dir = test::MakeTempDir();
  const fs::path file = dir / "mine.cp";
  SaveCollectionFile(file, Problems(1));
  EXPECT_FALSE(fs::exists(dir / "mine.cp.BAK"));  // nothing to keep the first time
  const std::string first = ReadFile(file);
  SaveCollectionFile(file, Problems(2));
  EXPECT_EQ(ReadFile(dir / "mine.cp.BAK"), first);
  EXPECT_FALSE(fs::exists(dir / "mine.cp.tmp"));
  const TCollectionReadResult r = LoadCollectionFile(file);
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.problems, Problems(2));
}

// A full disk at any byte of a save: the collection and its ".BAK" stay as
// they were, and the message names the file and the reason.
TEST(CollectionFile, FailedSaveLeavesTheFileAndItsBackupAlone) {
  const fs::path dir = test::MakeTempDir();
  const fs::path file = dir / "mine.cp";
  SaveCollectionFile(file, Problems(1));
  SaveCollectionFile(file, Problems(2));  // the .BAK now holds one problem
  const std::string before = ReadFile(file), bakBefore = ReadFile(dir / "mine.cp.BAK");
  const std::size_t total = WriteCollection(Problems(3)).size() + before.size();
  for (int64_t cut :
       {int64_t{0}, int64_t{1}, static_cast<int64_t>(total / 2), static_cast<int64_t>(total - 1)}) {
    SetSafeFileFailAfterBytes(cut);
    try {
      SaveCollectionFile(file, Problems(3));
      ADD_FAILURE() << "no error at " << cut;
    } catch (const CollectionFileError& e) {
      const std::string what = e.what();
      EXPECT_EQ(what.rfind("Error writing file. ", 0), 0u) << what;
      EXPECT_NE(what.find(file.string()), std::string::npos) << what;
      EXPECT_NE(what.find("No space left on device"), std::string::npos) << what;
    }
    SetSafeFileFailAfterBytes(-1);
    EXPECT_EQ(ReadFile(file), before) << cut;
    EXPECT_EQ(ReadFile(dir / "mine.cp.BAK"), bakBefore) << cut;
  }
  // Nothing is left behind but the two files.
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 2);
  SaveCollectionFile(file, Problems(3));
  EXPECT_EQ(ReadFile(dir / "mine.cp.BAK"), before);
}

TEST(CollectionFile, ChangedOnDiskSinceReadIsNotOverwritten) {
  const fs::path dir = test::MakeTempDir();
  const fs::path file = dir / "mine.cp";
  SaveCollectionFile(file, Problems(2));
  const TCollectionReadResult read = LoadCollectionFile(file);
  // Another program (or another solve --store) edits the file meanwhile.
  const std::string edited = WriteCollection(Problems(3));
  { std::ofstream(file, std::ios::binary) << edited; }
  try {
    SaveCollectionFile(file, read.problems, &read.stamp);
    FAIL() << "no error";
  } catch (const CollectionFileError& e) {
    EXPECT_STREQ(e.what(), kMsgChangedExternally);
  }
  EXPECT_EQ(ReadFile(file), edited);
  // Unchanged since the read: saved.
  const TCollectionReadResult again = LoadCollectionFile(file);
  SaveCollectionFile(file, Problems(1), &again.stamp);
  EXPECT_EQ(LoadCollectionFile(file).problems, Problems(1));
}

TEST(CollectionFile, LinkedCollectionIsWrittenThroughToItsTarget) {
  const fs::path dir = test::MakeTempDir();
  SaveCollectionFile(dir / "real.cp", Problems(1));
  fs::create_symlink("real.cp", dir / "link.cp");
  SaveCollectionFile(dir / "link.cp", Problems(2));
  EXPECT_TRUE(fs::is_symlink(dir / "link.cp"));
  EXPECT_EQ(LoadCollectionFile(dir / "real.cp").problems, Problems(2));
}

TEST(CollectionFile, FolderIsAReadError) {
  const fs::path dir = test::MakeTempDir();
  try {
    LoadCollectionFile(dir);
    FAIL() << "no error";
  } catch (const CollectionFileError& e) {
    EXPECT_STREQ(e.what(), "Error reading file.");
  }
}

TEST(CollectionFile, UnreadableFile) {
  const fs::path dir = test::MakeTempDir();
  try {
    LoadCollectionFile(dir / "missing.cp");
    FAIL() << "no error";
  } catch (const CollectionFileError& e) {
    EXPECT_STREQ(e.what(), "Error reading file.");
  }
}

TEST(CollectionFile, UserCollectionIsCreatedOnce) {
  const fs::path data = fs::path(test::MakeTempDir()) / "data";
  const fs::path path = EnsureUserCollection(data);
  EXPECT_EQ(path, data / "myChessProblems.cp");
  ASSERT_TRUE(fs::exists(path));
  EXPECT_TRUE(LoadCollectionFile(path).problems.empty());
  SaveCollectionFile(path, Problems(1));
  EXPECT_EQ(EnsureUserCollection(data), path);  // an existing collection is kept
  EXPECT_EQ(LoadCollectionFile(path).problems.size(), 1u);
}

}  // namespace
}  // namespace ostravel

namespace ostravel {
namespace {

// A folder opens as a stream that reads nothing; it must not pass for an
// empty table (bench --file <folder> would then succeed on nothing).
TEST(ReferenceTableFile, FolderIsAReadError) {
  const std::string dir = test::MakeTempDir();
  EXPECT_THROW(ReadReferenceTable(dir), std::runtime_error);
  EXPECT_THROW(ReadReferenceTable(dir + "/missing.tsv"), std::runtime_error);
}

}  // namespace
}  // namespace ostravel
