// A process killed (SIGKILL) in the middle of saving: the file under its
// real name is always a whole file, the previous one or the new one, never a
// piece. The child saves two different contents in turn while the parent
// kills it after a spread of delays, so the kill lands in every phase of a
// save (writing, syncing, renaming, making the backup).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>

#include "problems/cp_file.h"
#include "registers/register_file.h"
#include "registers/test_register_file_util.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;

// Runs save(0), save(1), save(0), ... in a child until it is killed after
// `delay`; false when the child ended by itself.
bool KillDuringSaves(const std::function<void(int)>& save, std::chrono::microseconds delay) {
  const pid_t pid = fork();
  if (pid == 0) {
    for (int i = 0;; i ^= 1) save(i);
  }
  std::this_thread::sleep_for(delay);
  kill(pid, SIGKILL);
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

const std::chrono::microseconds kDelays[] = {
    std::chrono::microseconds(0),     std::chrono::microseconds(300),   std::chrono::microseconds(1000),
    std::chrono::microseconds(2500),  std::chrono::microseconds(5000),  std::chrono::microseconds(9000),
    std::chrono::microseconds(14000), std::chrono::microseconds(23000), std::chrono::microseconds(37000),
    std::chrono::microseconds(61000)};

TEST(KilledSave, RegisterFileIsAlwaysWhole) {
  const fs::path dir = test::MakeTempDir();
  const fs::path file = dir / "r.tmpReg";
  // Big enough that a save takes a few milliseconds.
  std::unique_ptr<TAggregatedTemporaryChessboardRegister> regs[2] = {test::NewRegister(),
                                                                     test::NewRegister()};
  for (uint32_t i = 1; i < 40000; ++i) {
    test::PutExact(*regs[0], i, 9, true);
    test::PutExact(*regs[1], i + 7, 7, false);
  }
  const auto contents0 = test::Contents(*regs[0]), contents1 = test::Contents(*regs[1]);
  for (bool compress : {false, true}) {
    TRegisterSaveOptions opt;
    opt.compress = compress;
    opt.silent = true;
    opt.physicalMemoryBytes = uint64_t{256} << 20;
    SaveRegisterFile(*regs[0], file, opt);
    for (const auto delay : kDelays) {
      ASSERT_TRUE(KillDuringSaves([&](int i) { SaveRegisterFile(*regs[i], file, opt); }, delay));
      auto back = test::NewRegister();
      const TRegisterReadResult r = ReadRegisterFile(*back, file, kSmallRegisterBuckets);
      ASSERT_TRUE(r.completed) << "compress " << compress << ", killed after " << delay.count()
                               << " us: " << r.error;
      const auto got = test::Contents(*back);
      EXPECT_TRUE(got == contents0 || got == contents1) << delay.count() << " us";
    }
  }
}

TEST(KilledSave, CollectionAndItsBackupAreAlwaysWhole) {
  const fs::path dir = test::MakeTempDir();
  const fs::path file = dir / "c.cp";
  std::vector<TProblem> sets[2];
  for (int k = 0; k < 2; ++k)
    for (int i = 0; i < 3000; ++i) {
      TProblem p;
      ASSERT_TRUE(p.SetFen("8/2P5/8/8/8/8/N7/k1K5 w - - 0 1"));
      p.moves = static_cast<uint16_t>(2 + k);
      p.description = "problem " + std::to_string(i) + (k ? " second" : " first");
      sets[k].push_back(p);
    }
  SaveCollectionFile(file, sets[0]);
  SaveCollectionFile(file, sets[1]);  // now there is a backup too
  auto whole = [&](const fs::path& f) {
    const TCollectionReadResult r = LoadCollectionFile(f);
    return r.errors.empty() && r.moreErrors == 0 && r.problems.size() == 3000 &&
           (r.problems.back().description == sets[0].back().description ||
            r.problems.back().description == sets[1].back().description);
  };
  for (const auto delay : kDelays) {
    ASSERT_TRUE(KillDuringSaves([&](int i) { SaveCollectionFile(file, sets[i]); }, delay));
    EXPECT_TRUE(whole(file)) << "killed after " << delay.count() << " us";
    fs::path backup = file;
    backup += ".BAK";
    EXPECT_TRUE(whole(backup)) << "backup, killed after " << delay.count() << " us";
  }
}

}  // namespace
}  // namespace ostravel
