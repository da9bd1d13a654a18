// Saving a register that solver threads keep filling: every file is whole
// and holds at least what was there before the save began.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <set>
#include <thread>
#include <vector>

#include "engine/autosave.h"
#include "registers/register_file.h"
#include "registers/test_register_file_util.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr uint32_t kBefore = 3000;

class SaveWhileInserting : public ::testing::Test {
 protected:
  void SetUp() override {
    for (uint32_t i = 1; i <= kBefore; ++i)
      test::PutExact(*reg, i, static_cast<uint16_t>(5 + 2 * (i % 4)), true);
    test::PutSub(*reg, SubRegisterKey(1, 1), 1, 7, true);
    before = test::Contents(*reg);
    for (int t = 0; t < 2; ++t) {
      writers.emplace_back([this, t] {
        // New boards only: the records present before stay as they are.
        for (uint32_t i = 0; !stop.load(); ++i) {
          const uint32_t id = 1000000 * (t + 1) + i % 50000;
          test::PutExact(*reg, id, static_cast<uint16_t>(3 + 2 * (i % 6)), i % 3 != 0);
          if (i % 7 == 0) test::PutSub(*reg, SubRegisterKey(2 + t, 0), id, 9, false);
        }
      });
    }
  }
  void TearDown() override {
    stop = true;
    for (auto& w : writers) w.join();
  }

  void ExpectHoldsWhatWasBefore(const fs::path& file) {
    auto back = test::NewRegister();
    const TRegisterReadResult r = ReadRegisterFile(*back, file, kSmallRegisterBuckets);
    ASSERT_TRUE(r.completed) << r.error;
    const auto got = test::Contents(*back);
    const std::set<test::TStoredRecord> all(got.begin(), got.end());
    for (const auto& rec : before) ASSERT_TRUE(all.count(rec)) << file;
  }

  std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg{test::NewRegister()};
  std::vector<test::TStoredRecord> before;
  std::atomic<bool> stop{false};
  std::vector<std::thread> writers;
  fs::path dir = test::MakeTempDir();
};

TEST_F(SaveWhileInserting, PlainAndCompressedFilesAreWhole) {
  for (int round = 0; round < 3; ++round) {
    TRegisterSaveOptions opt;
    opt.compress = round % 2 == 1;
    opt.physicalMemoryBytes = uint64_t{256} << 20;
    opt.threads = 2;
    const fs::path file = dir / (std::to_string(round) + ".tmpReg");
    ASSERT_EQ(SaveRegisterFile(*reg, file, opt).status, kSaveDone);
    ExpectHoldsWhatWasBefore(file);
  }
}

TEST_F(SaveWhileInserting, AutoSaverRunsBesideTheWriters) {
  TProblem problem;
  problem.moves = 3;
  ASSERT_TRUE(problem.SetFen("4k3/8/8/8/8/8/8/4K2R w K - 0 1"));
  TAutoSaver saver(reg, problem, 5ms, 8, dir);
  for (int i = 0; i < 1000 && saver.Saves() < 3; ++i) std::this_thread::sleep_for(5ms);
  saver.Stop();
  EXPECT_GE(saver.Saves(), 3) << saver.LastError();
  ExpectHoldsWhatWasBefore(dir / "AutoSave.tmpReg");
}

}  // namespace
}  // namespace ostravel
