#pragma once
// The program's own crash handler. On a fatal signal (SIGSEGV, SIGBUS,
// SIGILL, SIGFPE, SIGABRT) or an uncaught C++ exception it writes
// "crash_log_%Y-%m-%d_%H-%M-%S.log" into the log folder: the executable, the
// exception with its code and name, the module and offset of the address, a
// register dump, the call stack and the program's state ("Extended Info"),
// then lets the process die as it would have (so core dumps still work).
// It runs on an alternate signal stack, so a stack overflow is reported too,
// and does only what a signal handler may, as far as that goes: the text is
// built in static buffers and written with write(2).
#include <cstdint>
#include <string>
#include <string_view>

namespace ostravel {

// The program's state at the crash. The names are those of the state the
// shell keeps, and are kept so in the log.
struct TCrashExtendedInfo {
  int g_bIsCurrentProblemRunningOrFinalizing = 0;
  int g_bRegressionTestsPending = 0;
  int g_bRegressionsTestsProcPending = 0;
  unsigned long long AnimateSolutionMove_pending = 0;
  int g_bEngineThreadProcRunning = 0;
  unsigned long long EngineThreadProc_AuxMate_pending = 0;
  unsigned long long EngineThreadProc_BlackMoves_pending = 0;
  int g_bBruteForce = 0;
  int g_bDrawingCurrentChessboard = 0;
  int g_bPreparingChessboard = 0;
  int g_bWMPaintComplete = 0;
  int g_bWMPaintPending = 0;
  int g_bFirstWMPaintComplete = 0;
  int g_bCleaningTempReg = 0;
  int g_bShowWholeSolution = 0;
  int g_bVariantAnimationPending = 0;
  int g_bStopAnimateVariant = 0;
  int g_bStopPending = 0;
  int bRunning = 0;
  unsigned long long setRunningProblemsIds_size = 0;
  unsigned long long setProblemsBeingStoppedIds_size = 0;
  char currentProblem[256] = {};
  int currentProblemNumber = 0;
  char currentChessboard[128] = {};
  int currentChessboardNumber = 0;
};

// Fills in what its layer knows. Called inside the crash handler: read
// plain flags and sizes only; no locks, no allocation.
using TCrashInfoProvider = void (*)(TCrashExtendedInfo& info);

struct TCrashHandlerOptions {
  // Where the crash log goes (created when missing, one level).
  std::string logFolder;
  // When set, started after the log as "<reportProgram> --show-crash-report
  // <log>": a fresh process shows the message, since a crashed one must not
  // draw windows.
  std::string reportProgram;
  // When set, "<stderrNote> <log>\n" goes to stderr after the log (for the
  // command-line program).
  std::string stderrNote;
};

// Installs the handlers (again: replaces the options) and an alternate
// signal stack for the calling thread. False when a handler could not be set.
bool InstallCrashHandler(const TCrashHandlerOptions& options);
bool CrashHandlerInstalled();

// A thread that may overflow its stack calls this once so that the handler
// can run for it too (each thread needs its own alternate stack). Idempotent.
bool PrepareThreadForCrashHandler();

// At most 8 providers; false when full. Called in order of registration.
bool AddCrashInfoProvider(TCrashInfoProvider provider);
void RemoveCrashInfoProviders();

// The shell's activities of the log's extended info that a front end raises
// itself (the engine's and the register's come through the engine's
// provider). Plain flags, read by the handler without a lock.
enum class TCrashShellFlag {
  kRegressionTestsPending,       // g_bRegressionTestsPending: a regression run was asked for
  kRegressionsTestsProcPending,  // g_bRegressionsTestsProcPending: its loop over the problems runs
  kDrawingCurrentChessboard,     // g_bDrawingCurrentChessboard
  kPreparingChessboard,          // g_bPreparingChessboard
  kWMPaintPending,               // g_bWMPaintPending: a paint is under way
  kWMPaintComplete,              // g_bWMPaintComplete: the last paint ended
  kFirstWMPaintComplete,         // g_bFirstWMPaintComplete: the window was painted once
  kShowWholeSolution,            // g_bShowWholeSolution
  kVariantAnimationPending,      // g_bVariantAnimationPending
  kStopAnimateVariant,           // g_bStopAnimateVariant
};
void SetCrashShellFlag(TCrashShellFlag flag, bool on);

// Raises a flag for the life of the object.
class TCrashShellActivity {
 public:
  explicit TCrashShellActivity(TCrashShellFlag flag) : flag_(flag) { SetCrashShellFlag(flag_, true); }
  ~TCrashShellActivity() { SetCrashShellFlag(flag_, false); }
  TCrashShellActivity(const TCrashShellActivity&) = delete;
  TCrashShellActivity& operator=(const TCrashShellActivity&) = delete;

 private:
  TCrashShellFlag flag_;
};

// A paint of the board, for the life of the object: drawing and paint pending
// while it lasts, then paint complete (and the first paint complete).
class TCrashPaintScope {
 public:
  TCrashPaintScope();
  ~TCrashPaintScope();
  TCrashPaintScope(const TCrashPaintScope&) = delete;
  TCrashPaintScope& operator=(const TCrashPaintScope&) = delete;
};

// The shell's current problem and board (text and number), copied now so
// the handler needs no allocation.
void SetCrashCurrentProblem(std::string_view text, int number);
void SetCrashCurrentChessboard(std::string_view text, int number);

// Exception codes of the log, as the Windows platform numbers them, so that
// logs of both platforms read alike.
inline constexpr uint32_t kCrashCodeAccessViolation = 0xC0000005;
inline constexpr uint32_t kCrashCodeStackOverflow = 0xC00000FD;
inline constexpr uint32_t kCrashCodeCppException = 0xE06D7363;
inline constexpr uint32_t kCrashCodeAbort = 0x40000015;  // an application's fatal exit

// The code of a signal with its si_code; stackOverflow for a fault on the
// guard page of a stack.
uint32_t CrashExceptionCode(int signo, int siCode, bool stackOverflow);
// "Access Violation", ..., "Unknown Exception" for a code not in the table.
const char* CrashExceptionName(uint32_t code);

// "crash_log_%Y-%m-%d_%H-%M-%S.log" for a local time given as seconds since
// the epoch plus the zone's offset.
std::string CrashLogFileName(long long localSeconds);

// Reads back a crash log's "Exception Code" line (and the text of a C++
// exception) for the message box: "Access Violation (0xC0000005)". Empty
// when the file has none.
std::string CrashLogDescription(const std::string& logFile);

// Starts "<program> --show-crash-report <logFile>" detached. False when it
// could not be started.
bool StartCrashReportProcess(const std::string& program, const std::string& logFile);

}  // namespace ostravel
