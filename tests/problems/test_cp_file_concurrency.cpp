// Two runs that read one collection and then both store into it: the later
// one must not overwrite the first one's edit.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

#include "problems/cp_file.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

std::vector<TProblem> Problems(int count, const std::string& tag) {
  std::vector<TProblem> out;
  for (int i = 0; i < count; ++i) {
    TProblem p;
    p.moves = static_cast<uint16_t>(i + 1);
    EXPECT_TRUE(p.SetFen("4k3/8/8/8/8/8/8/4K2R w K - 0 1"));
    p.description = tag + std::to_string(i + 1);
    out.push_back(p);
  }
  return out;
}

TEST(CollectionStore, ConcurrentStoresOfOneReadWriteOnce) {
  const std::filesystem::path file = std::filesystem::path(test::MakeTempDir()) / "c.cp";
  SaveCollectionFile(file, Problems(3, "start "));
  for (int round = 0; round < 20; ++round) {
    const TCollectionReadResult read = LoadCollectionFile(file);
    std::atomic<int> saved{0}, refused{0};
    std::vector<std::thread> runs;
    for (int t = 0; t < 2; ++t)
      runs.emplace_back([&, t] {
        try {
          SaveCollectionFile(file, Problems(3, "run " + std::to_string(t) + " "), &read.stamp);
          ++saved;
        } catch (const CollectionFileError& e) {
          EXPECT_STREQ(e.what(), kMsgChangedExternally);
          ++refused;
        }
      });
    for (auto& r : runs) r.join();
    EXPECT_EQ(saved.load(), 1) << round;
    EXPECT_EQ(refused.load(), 1) << round;
  }
}

}  // namespace
}  // namespace ostravel
