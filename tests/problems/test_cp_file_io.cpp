// Collection files on disk: loading, safe saving with the ".BAK" copy and the
// user's default collection.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "problems/cp_file.h"
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

TEST(CollectionFile, FailedSaveLeavesTheFileAlone) {
  const fs::path dir = test::MakeTempDir();
  const fs::path file = dir / "mine.cp";
  SaveCollectionFile(file, Problems(1));
  const std::string before = ReadFile(file);
  // A folder where the temporary file should go makes the write fail.
  fs::create_directory(dir / "mine.cp.tmp");
  try {
    SaveCollectionFile(file, Problems(3));
    FAIL() << "no error";
  } catch (const CollectionFileError& e) {
    EXPECT_STREQ(e.what(), "Error writing file.");
  }
  EXPECT_EQ(ReadFile(file), before);
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
