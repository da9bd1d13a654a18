#include "platform/crash_handler.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>

#include "engine/crash_info.h"
#include "engine/mate_search.h"
#include "engine/split_levels.h"
#include "platform/crash_trigger.h"
#include "registers/temporary_register.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;

std::string ReadAll(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void TestState(TCrashExtendedInfo& info) {
  info.g_bStopPending = 1;
  info.g_bEngineThreadProcRunning = 1;
  info.setRunningProblemsIds_size = 3;
  info.EngineThreadProc_AuxMate_pending = 12345678901ULL;
}

struct TCrashRun {
  int signal = 0;  // the signal that ended the child, 0 when it exited
  fs::path log;    // the one file the handler wrote
  std::string text;
  std::size_t files = 0;
};

// Runs crash in a child with the handler installed and returns what it left
// behind.
TCrashRun CrashChild(const std::function<void()>& crash) {
  const fs::path folder = fs::path(test::MakeTempDir()) / "logs";  // created by the handler
  const pid_t pid = ::fork();
  if (pid == 0) {
    rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);  // no core files from the tests
    TCrashHandlerOptions options;
    options.logFolder = folder.string();
    InstallCrashHandler(options);
    AddCrashInfoProvider(TestState);
    SetCrashCurrentProblem("Loyd 1859", 7);
    SetCrashCurrentChessboard("8/8/8/8/8/8/8/K1k5 w - - 0 1", 2);
    crash();
    ::_exit(0);
  }
  TCrashRun run;
  int status = 0;
  EXPECT_EQ(::waitpid(pid, &status, 0), pid);
  if (WIFSIGNALED(status)) run.signal = WTERMSIG(status);
  std::error_code ec;
  for (const auto& e : fs::directory_iterator(folder, ec)) {
    ++run.files;
    run.log = e.path();
  }
  if (!run.log.empty()) run.text = ReadAll(run.log);
  return run;
}

TCrashRun CrashChild(TCrashKind kind) {
  return CrashChild([kind] { TriggerCrash(kind); });
}

// The lines of the log must appear in this order.
void ExpectInOrder(const std::string& text, const std::vector<std::string>& pieces) {
  std::size_t at = 0;
  for (const std::string& piece : pieces) {
    const std::size_t found = text.find(piece, at);
    ASSERT_NE(found, std::string::npos) << "missing or out of order: " << piece << "\n" << text;
    at = found + piece.size();
  }
}

struct TCrashCase {
  TCrashKind kind;
  int signal;            // that ends the process
  const char* name;      // of the exception in the log
  const char* function;  // that the stack must name
};

void PrintTo(const TCrashCase& c, std::ostream* os) {
  *os << CrashKindName(c.kind);
}

class CrashHandlerTest : public ::testing::TestWithParam<TCrashCase> {
 protected:
  void SetUp() override {
#ifdef OSTRAVEL_SANITIZED
    GTEST_SKIP() << "the sanitizer takes these signals first";
#endif
  }
};

TEST_P(CrashHandlerTest, WritesTheWholeLog) {
  const auto [kind, signal, name, function] = GetParam();
  const TCrashRun run = CrashChild(kind);
  EXPECT_EQ(run.signal, signal) << "the process must still die by its signal";
  ASSERT_EQ(run.files, 1u);
  EXPECT_TRUE(std::regex_match(run.log.filename().string(),
                               std::regex(R"(crash_log_\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d\.log)")))
      << run.log;
  const std::string& t = run.text;
  ExpectInOrder(t, {
    "Process File Name: " + fs::read_symlink("/proc/self/exe").string() + "\n",
        std::string("(") + name + ")\n", "Exception Address: 0x",
        "\n-----------------------------------\nRegister Dump           \n"
        "-----------------------------------\nGeneral Purpose & Control Registers:\n",
#if defined(__x86_64__)
        "RAX: 0x", ", RBX: 0x", ", RCX: 0x", "\nRDX: 0x", ", RBP: 0x", ", RDI: 0x", "\nRIP: 0x", ", RSI: 0x",
        ", RSP: 0x", "\n\nSegment Registers:\nCS: 0x", ", DS: 0x", ", ES: 0x", "\nFS: 0x", ", GS: 0x",
        ", SS: 0x",
#endif
        "\n-----------------------------------\nCall Stack Trace           \n"
        "-----------------------------------\n",
        function,
        "\n-----------------------------------\nExtended Info           \n"
        "-----------------------------------\n",
        "g_bIsCurrentProblemRunningOrFinalizing=0\n", "g_bRegressionTestsPending=0\n",
        "g_bRegressionsTestsProcPending=0\n", "AnimateSolutionMove_pending=0\n",
        "g_bEngineThreadProcRunning=1\n", "EngineThreadProc_AuxMate_pending=12345678901\n",
        "EngineThreadProc_BlackMoves_pending=0\n", "g_bBruteForce=0\n", "g_bDrawingCurrentChessboard=0\n",
        "g_bPreparingChessboard=0\n", "g_bWMPaintComplete=0\n", "g_bWMPaintPending=0\n",
        "g_bFirstWMPaintComplete=0\n", "g_bCleaningTempReg=0\n", "g_bShowWholeSolution=0\n",
        "g_bVariantAnimationPending=0\n", "g_bStopAnimateVariant=0\n", "g_bStopPending=1\n", "bRunning=0\n",
        "setRunningProblemsIds.size()=3\n", "setProblemsBeingStoppedIds.size()=0\n",
        "currentProblem=Loyd 1859,7\n", "currentChessboard=8/8/8/8/8/8/8/K1k5 w - - 0 1,2\n"
  });
  // Each stack line names a module, and the crashing function with an offset.
  EXPECT_TRUE(std::regex_search(t, std::regex(std::string(R"(\n[^\n (]+\([^\n]*)") + function +
                                              R"([^\n]*\+0x[0-9A-F]+\) \[0x[0-9A-F]+\]\n)")))
      << t;
  const std::size_t colon = t.find("Exception Address: 0x");
  const std::string addressLine = t.substr(colon, t.find('\n', colon) - colon);
  EXPECT_TRUE(std::regex_match(addressLine,
                               std::regex(R"(Exception Address: 0x[0-9A-F]{8,} \([^ ]+\+0x[0-9A-F]+\))")))
      << addressLine;
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, CrashHandlerTest,
    ::testing::Values(TCrashCase{TCrashKind::kNullWrite, SIGSEGV, "Access Violation", "CrashTestNullWrite"},
                      TCrashCase{TCrashKind::kDivZero, SIGFPE, "Integer Divide By Zero", "CrashTestDivZero"},
                      TCrashCase{TCrashKind::kAbort, SIGABRT, "Unknown Exception", "CrashTestAbort"},
                      TCrashCase{TCrashKind::kThrow, SIGABRT, "C++ Exception (using throw)",
                                 "CrashTestThrow"},
                      TCrashCase{TCrashKind::kStackOverflow, SIGSEGV, "Stack Overflow", "CrashTestRecurse"}),
    [](const auto& info) {
      std::string n = CrashKindName(info.param.kind);
      std::erase(n, '-');
      return n;
    });

// A search thread overflows its stack. The engine's workers call the start
// hook the front end sets, which gives them an alternate signal stack: only
// then can the handler run and write the log.
TEST(CrashHandlerThreadTest, StackOverflowInAnEngineWorkerIsLogged) {
#ifdef OSTRAVEL_SANITIZED
  GTEST_SKIP() << "the sanitizer takes these signals first";
#endif
  auto overflowInWorker = [](bool hook) {
    return CrashChild([hook] {
      if (hook) SetEngineThreadStartHook([] { PrepareThreadForCrashHandler(); });
      TMateSearch search(TSearchSettings{});
      TWorkerPool pool(search);
      pool.RunStage(1, 1, [](TWorkerSlot&) { TriggerCrash(TCrashKind::kStackOverflow); });
    });
  };
  const TCrashRun run = overflowInWorker(true);
  EXPECT_EQ(run.signal, SIGSEGV);
  ASSERT_EQ(run.files, 1u);
  ExpectInOrder(run.text, {"(Stack Overflow)\n", "Call Stack Trace", "CrashTestRecurse", "Extended Info"});

  const TCrashRun bare = overflowInWorker(false);
  EXPECT_EQ(bare.signal, SIGSEGV);
  EXPECT_EQ(bare.files, 0u);
}

void EngineState(TCrashExtendedInfo& info) {
  FillEngineCrashInfo(info);
}

// The shell's activities reach the log: the front end's flags, a paint of
// the board and the register's clean-up through the engine's provider.
TEST(CrashHandlerThreadTest, ExtendedInfoShowsWhatWasUnderWay) {
#ifdef OSTRAVEL_SANITIZED
  GTEST_SKIP() << "the sanitizer takes these signals first";
#endif
  const TCrashRun run = CrashChild([] {
    AddCrashInfoProvider(EngineState);
    const TCrashShellActivity regress(TCrashShellFlag::kRegressionTestsPending);
    { const TCrashShellActivity ended(TCrashShellFlag::kRegressionsTestsProcPending); }
    { const TCrashPaintScope firstPaint; }
    const TCrashPaintScope secondPaint;
    ++g_nCleaningTempReg;
    TriggerCrash(TCrashKind::kNullWrite);
  });
  ASSERT_EQ(run.files, 1u);
  ExpectInOrder(run.text, {"g_bRegressionTestsPending=1\n", "g_bRegressionsTestsProcPending=0\n",
                           "g_bDrawingCurrentChessboard=1\n", "g_bPreparingChessboard=0\n",
                           "g_bWMPaintComplete=0\n", "g_bWMPaintPending=1\n", "g_bFirstWMPaintComplete=1\n",
                           "g_bCleaningTempReg=1\n", "g_bStopPending=0\n"});
}

TEST(CrashHandlerLogTest, CodesAndDescriptions) {
  EXPECT_EQ(CrashExceptionCode(SIGSEGV, SEGV_MAPERR, false), 0xC0000005u);
  EXPECT_EQ(CrashExceptionCode(SIGSEGV, SEGV_ACCERR, true), 0xC00000FDu);
  EXPECT_STREQ(CrashExceptionName(CrashExceptionCode(SIGFPE, FPE_INTDIV, false)), "Integer Divide By Zero");
  EXPECT_STREQ(CrashExceptionName(CrashExceptionCode(SIGFPE, FPE_FLTDIV, false)), "Float Divide By Zero");
  EXPECT_STREQ(CrashExceptionName(CrashExceptionCode(SIGFPE, SI_USER, false)), "Unknown Exception");
  EXPECT_STREQ(CrashExceptionName(CrashExceptionCode(SIGILL, ILL_ILLOPC, false)), "Illegal Instruction");
  EXPECT_STREQ(CrashExceptionName(CrashExceptionCode(SIGILL, ILL_PRVOPC, false)), "Private Instruction");
  EXPECT_STREQ(CrashExceptionName(CrashExceptionCode(SIGBUS, BUS_ADRALN, false)), "Datatype Misalignment");
  EXPECT_STREQ(CrashExceptionName(CrashExceptionCode(SIGBUS, BUS_ADRERR, false)), "In Page Error");
  EXPECT_STREQ(CrashExceptionName(CrashExceptionCode(SIGABRT, SI_TKILL, false)), "Unknown Exception");
  EXPECT_STREQ(CrashExceptionName(0xC0000025), "Non-continuable Exceptiopn");
  EXPECT_STREQ(CrashExceptionName(kCrashCodeCppException), "C++ Exception (using throw)");

  // The civil calendar: a leap day, the turn of a century, and the epoch.
  EXPECT_EQ(CrashLogFileName(951868799), "crash_log_2000-02-29_23-59-59.log");
  EXPECT_EQ(CrashLogFileName(4107542400), "crash_log_2100-03-01_00-00-00.log");
  EXPECT_EQ(CrashLogFileName(0), "crash_log_1970-01-01_00-00-00.log");

  const std::string dir = test::MakeTempDir();
  std::ofstream(dir + "/a.log") << "Process File Name: /x\nException Code: 0xC0000005 (Access Violation)\n";
  EXPECT_EQ(CrashLogDescription(dir + "/a.log"), "Access Violation (0xC0000005)");
  std::ofstream(dir + "/b.log")
      << "Exception Code: 0xE06D7363 (C++ Exception (using throw))\n"
         "Exception Address: 0x1 (x+0x1)\nException Text: std::runtime_error: boom\n";
  EXPECT_EQ(CrashLogDescription(dir + "/b.log"),
            "C++ Exception (using throw) (0xE06D7363): std::runtime_error: boom");
  EXPECT_EQ(CrashLogDescription(dir + "/missing.log"), "");
}

TEST(CrashHandlerLogTest, TriggerKindsByName) {
  for (const char* name : {"null-write", "div-zero", "abort", "throw", "stack-overflow"}) {
    const auto kind = ParseCrashKind(name);
    ASSERT_TRUE(kind) << name;
    EXPECT_STREQ(CrashKindName(*kind), name);
  }
  EXPECT_FALSE(ParseCrashKind("segfault"));
}

}  // namespace
}  // namespace ostravel
