#include "platform/crash_handler.h"

#define UNW_LOCAL_ONLY
#include <cxxabi.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <libunwind.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>
#include <fstream>
#include <typeinfo>

extern char** environ;

namespace ostravel {

namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr std::size_t kPathChars = 4096;
constexpr std::size_t kAltStackBytes = 256 * 1024;
// A runaway recursion has thousands of frames; the top ones tell the story.
constexpr int kMaxFrames = 128;
constexpr int kMaxProviders = 8;
// A fault this close to the stack pointer hit the end of the stack.
constexpr uintptr_t kStackOverflowReach = 64 * 1024;
constexpr const char* kSectionRule = "-----------------------------------\n";

// Everything the handler needs is prepared here beforehand.
char g_logFolder[kPathChars];
char g_exePath[kPathChars];
char g_reportProgram[kPathChars];
char g_stderrNote[256];
char g_logPath[kPathChars];
char g_cppText[1024];
long g_zoneOffset = 0;
std::atomic<bool> g_installed{false};
std::atomic<long> g_handlingThread{0};
std::atomic<TCrashInfoProvider> g_providers[kMaxProviders];
TCrashExtendedInfo g_shellState;  // current problem and board
constexpr int kShellFlags = static_cast<int>(TCrashShellFlag::kStopAnimateVariant) + 1;
std::atomic<int> g_shellFlags[kShellFlags];
TCrashExtendedInfo g_info;  // filled at the crash

void CopyText(char* dst, std::size_t cap, std::string_view s) {
  const std::size_t n = std::min(s.size(), cap - 1);
  std::memcpy(dst, s.data(), n);
  dst[n] = '\0';
}

const char* BaseName(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash ? slash + 1 : path;
}

// Formatting without the C library's printf family: a static buffer and
// write(2), both safe in a signal handler.
class TOut {
 public:
  void Open(int fd) {
    fd_ = fd;
    n_ = 0;
  }
  TOut& S(const char* s) {
    while (*s) Put(*s++);
    return *this;
  }
  TOut& Hex(unsigned long long v, int minDigits) {
    char t[16];
    int k = 0;
    do {
      t[k++] = "0123456789ABCDEF"[v & 15];
      v >>= 4;
    } while (v);
    while (k < minDigits && k < 16) t[k++] = '0';
    while (k) Put(t[--k]);
    return *this;
  }
  TOut& U(unsigned long long v) {
    char t[20];
    int k = 0;
    do {
      t[k++] = static_cast<char>('0' + v % 10);
      v /= 10;
    } while (v);
    while (k) Put(t[--k]);
    return *this;
  }
  TOut& D(long long v) {
    if (v < 0) {
      Put('-');
      return U(0ULL - static_cast<unsigned long long>(v));
    }
    return U(static_cast<unsigned long long>(v));
  }
  void Flush() {
    std::size_t done = 0;
    while (done < n_) {
      const ssize_t w = ::write(fd_, buf_ + done, n_ - done);
      if (w < 0 && errno == EINTR) continue;
      if (w <= 0) break;
      done += static_cast<std::size_t>(w);
    }
    n_ = 0;
  }

 private:
  void Put(char c) {
    if (n_ == sizeof buf_) Flush();
    buf_[n_++] = c;
  }
  int fd_ = -1;
  std::size_t n_ = 0;
  char buf_[16384];
};

TOut g_out;

// "%Y-%m-%d_%H-%M-%S" of seconds since the epoch in local time, by the
// civil-from-days rule, so no time-zone lock is taken.
void FormatStamp(long long secs, char* out) {
  long long days = secs / 86400;
  long long rem = secs % 86400;
  if (rem < 0) {
    rem += 86400;
    --days;
  }
  days += 719468;
  const long long era = (days >= 0 ? days : days - 146096) / 146097;
  const long long doe = days - era * 146097;
  const long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  long long y = yoe + era * 400;
  const long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const long long mp = (5 * doy + 2) / 153;
  const long long d = doy - (153 * mp + 2) / 5 + 1;
  const long long m = mp < 10 ? mp + 3 : mp - 9;
  if (m <= 2) ++y;
  const long long parts[] = {y, m, d, rem / 3600, rem / 60 % 60, rem % 60};
  const char seps[] = {'-', '-', '_', '-', '-', '\0'};
  int k = 0;
  for (int i = 0; i < 6; ++i) {
    const long long v = parts[i];
    if (i == 0) {
      char t[8];
      int n = 0;
      long long x = v;
      do {
        t[n++] = static_cast<char>('0' + x % 10);
        x /= 10;
      } while (x && n < 8);
      while (n < 4) t[n++] = '0';
      while (n) out[k++] = t[--n];
    } else {
      out[k++] = static_cast<char>('0' + v / 10);
      out[k++] = static_cast<char>('0' + v % 10);
    }
    out[k++] = seps[i];
  }
}

// ------------------------------------------------------------------ modules

struct TModule {
  char name[256];
  uintptr_t base = 0;
  bool known = false;
};

// The mapping that holds addr, from /proc/self/maps, for code dladdr does
// not know (the vDSO, code generated at run time).
bool ModuleFromMaps(uintptr_t addr, TModule& m) {
  const int fd = ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  static char chunk[4096];
  static char line[1024];
  std::size_t len = 0;
  bool found = false;
  for (;;) {
    const ssize_t n = ::read(fd, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    for (ssize_t i = 0; i < n && !found; ++i) {
      if (chunk[i] != '\n') {
        if (len < sizeof line - 1) line[len++] = chunk[i];
        continue;
      }
      line[len] = '\0';
      len = 0;
      // "start-end perms offset dev inode   path"
      char* p = line;
      auto hex = [&p]() {
        uintptr_t v = 0;
        for (;; ++p) {
          const char c = *p;
          if (c >= '0' && c <= '9')
            v = v * 16 + static_cast<uintptr_t>(c - '0');
          else if (c >= 'a' && c <= 'f')
            v = v * 16 + static_cast<uintptr_t>(c - 'a' + 10);
          else
            break;
        }
        return v;
      };
      const uintptr_t start = hex();
      if (*p++ != '-') continue;
      const uintptr_t end = hex();
      if (addr < start || addr >= end) continue;
      while (*p && *p != ' ') ++p;  // perms
      while (*p == ' ') ++p;
      const uintptr_t offset = hex();
      for (int field = 0; field < 2; ++field) {  // dev, inode
        while (*p == ' ') ++p;
        while (*p && *p != ' ') ++p;
      }
      while (*p == ' ') ++p;
      CopyText(m.name, sizeof m.name, *p ? BaseName(p) : "[anonymous]");
      m.base = start - offset;
      m.known = true;
      found = true;
    }
    if (found) break;
  }
  ::close(fd);
  return found;
}

TModule ModuleOf(uintptr_t addr) {
  TModule m;
  Dl_info di{};
  if (::dladdr(reinterpret_cast<void*>(addr), &di) != 0 && di.dli_fbase) {
    // The main program's entry may carry no name.
    const char* path = di.dli_fname && *di.dli_fname ? di.dli_fname : g_exePath;
    CopyText(m.name, sizeof m.name, BaseName(path));
    m.base = reinterpret_cast<uintptr_t>(di.dli_fbase);
    m.known = true;
    return m;
  }
  if (ModuleFromMaps(addr, m)) return m;
  CopyText(m.name, sizeof m.name, "?");
  return m;
}

// ------------------------------------------------------------ the processor

uintptr_t ProgramCounter(const ucontext_t* uc) {
#if defined(__x86_64__)
  return static_cast<uintptr_t>(uc->uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
  return static_cast<uintptr_t>(uc->uc_mcontext.pc);
#else
  (void)uc;
  return 0;
#endif
}

uintptr_t StackPointer(const ucontext_t* uc) {
#if defined(__x86_64__)
  return static_cast<uintptr_t>(uc->uc_mcontext.gregs[REG_RSP]);
#elif defined(__aarch64__)
  return static_cast<uintptr_t>(uc->uc_mcontext.sp);
#else
  (void)uc;
  return 0;
#endif
}

#if defined(__x86_64__)
unsigned SegmentDs() {
  uint16_t v;
  asm volatile("movw %%ds, %0" : "=r"(v));
  return v;
}
unsigned SegmentEs() {
  uint16_t v;
  asm volatile("movw %%es, %0" : "=r"(v));
  return v;
}
unsigned SegmentCs() {
  uint16_t v;
  asm volatile("movw %%cs, %0" : "=r"(v));
  return v;
}
unsigned SegmentFs() {
  uint16_t v;
  asm volatile("movw %%fs, %0" : "=r"(v));
  return v;
}
unsigned SegmentGs() {
  uint16_t v;
  asm volatile("movw %%gs, %0" : "=r"(v));
  return v;
}
unsigned SegmentSs() {
  uint16_t v;
  asm volatile("movw %%ss, %0" : "=r"(v));
  return v;
}
// The kernel saved SS in the context's top 16 bits of CSGSFS.
constexpr unsigned long kUcSigcontextSs = 0x2;
#endif

void WriteRegisters(const ucontext_t* uc, bool fromSignal) {
  g_out.S("\n").S(kSectionRule).S("Register Dump           \n").S(kSectionRule);
  g_out.S("General Purpose & Control Registers:\n");
#if defined(__x86_64__)
  const greg_t* g = uc->uc_mcontext.gregs;
  auto reg = [](const char* name, greg_t v, const char* tail) {
    g_out.S(name).S(": 0x").Hex(static_cast<unsigned long long>(v), 8).S(tail);
  };
  reg("RAX", g[REG_RAX], ", ");
  reg("RBX", g[REG_RBX], ", ");
  reg("RCX", g[REG_RCX], "\n");
  reg("RDX", g[REG_RDX], ", ");
  reg("RBP", g[REG_RBP], ", ");
  reg("RDI", g[REG_RDI], "\n");
  reg("RIP", g[REG_RIP], ", ");
  reg("RSI", g[REG_RSI], ", ");
  reg("RSP", g[REG_RSP], "\n");
  unsigned cs = SegmentCs(), fs = SegmentFs(), gs = SegmentGs(), ss = SegmentSs();
  if (fromSignal) {
    const unsigned long long csgsfs = static_cast<unsigned long long>(g[REG_CSGSFS]);
    cs = csgsfs & 0xFFFF;
    gs = (csgsfs >> 16) & 0xFFFF;
    fs = (csgsfs >> 32) & 0xFFFF;
    if (uc->uc_flags & kUcSigcontextSs) ss = (csgsfs >> 48) & 0xFFFF;
  }
  auto seg = [](const char* name, unsigned v, const char* tail) {
    g_out.S(name).S(": 0x").Hex(v, 8).S(tail);
  };
  g_out.S("\nSegment Registers:\n");
  seg("CS", cs, ", ");
  seg("DS", SegmentDs(), ", ");
  seg("ES", SegmentEs(), "\n");
  seg("FS", fs, ", ");
  seg("GS", gs, ", ");
  seg("SS", ss, "\n");
#elif defined(__aarch64__)
  (void)fromSignal;
  for (int i = 0; i < 31; ++i) {
    g_out.S("X").U(static_cast<unsigned long long>(i)).S(": 0x").Hex(uc->uc_mcontext.regs[i], 8);
    g_out.S(i % 3 == 2 ? "\n" : ", ");
  }
  g_out.S("SP: 0x").Hex(uc->uc_mcontext.sp, 8).S(", PC: 0x").Hex(uc->uc_mcontext.pc, 8);
  g_out.S(", PSTATE: 0x").Hex(uc->uc_mcontext.pstate, 8).S("\n");
#else
  (void)uc;
  (void)fromSignal;
  g_out.S("(no register dump for this processor)\n");
#endif
}

void WriteStack(ucontext_t* uc, bool fromSignal) {
  g_out.S("\n").S(kSectionRule).S("Call Stack Trace           \n").S(kSectionRule);
  unw_cursor_t cursor;
  const int rc = fromSignal
                     ? unw_init_local2(&cursor, reinterpret_cast<unw_context_t*>(uc), UNW_INIT_SIGNAL_FRAME)
                     : unw_init_local(&cursor, reinterpret_cast<unw_context_t*>(uc));
  if (rc != 0) {
    g_out.S("(the stack could not be walked)\n");
    return;
  }
  static char symbol[1024];
  for (int frame = 0;; ++frame) {
    if (frame == kMaxFrames) {
      g_out.S("... (further frames left out)\n");
      break;
    }
    unw_word_t ip = 0;
    if (unw_get_reg(&cursor, UNW_REG_IP, &ip) != 0 || ip == 0) break;
    const TModule m = ModuleOf(static_cast<uintptr_t>(ip));
    unw_word_t offset = 0;
    const int named = unw_get_proc_name(&cursor, symbol, sizeof symbol, &offset);
    if ((named == 0 || named == -UNW_ENOMEM) && symbol[0]) {
      g_out.S(m.name).S("(").S(symbol).S("+0x").Hex(offset, 1).S(") [0x").Hex(ip, 1).S("]\n");
    } else {
      g_out.S(m.name).S(" [0x").Hex(ip, 1).S("]\n");
    }
    g_out.Flush();  // a frame that kills the walk must not take the others with it
    if (unw_step(&cursor) <= 0) break;
  }
}

void WriteExtendedInfo() {
  g_out.S("\n").S(kSectionRule).S("Extended Info           \n").S(kSectionRule);
  g_info = g_shellState;
  auto flag = [](TCrashShellFlag f) {
    return g_shellFlags[static_cast<int>(f)].load(std::memory_order_relaxed);
  };
  g_info.g_bRegressionTestsPending = flag(TCrashShellFlag::kRegressionTestsPending);
  g_info.g_bRegressionsTestsProcPending = flag(TCrashShellFlag::kRegressionsTestsProcPending);
  g_info.g_bDrawingCurrentChessboard = flag(TCrashShellFlag::kDrawingCurrentChessboard);
  g_info.g_bPreparingChessboard = flag(TCrashShellFlag::kPreparingChessboard);
  g_info.g_bWMPaintPending = flag(TCrashShellFlag::kWMPaintPending);
  g_info.g_bWMPaintComplete = flag(TCrashShellFlag::kWMPaintComplete);
  g_info.g_bFirstWMPaintComplete = flag(TCrashShellFlag::kFirstWMPaintComplete);
  g_info.g_bShowWholeSolution = flag(TCrashShellFlag::kShowWholeSolution);
  g_info.g_bVariantAnimationPending = flag(TCrashShellFlag::kVariantAnimationPending);
  g_info.g_bStopAnimateVariant = flag(TCrashShellFlag::kStopAnimateVariant);
  for (auto& slot : g_providers)
    if (TCrashInfoProvider p = slot.load()) p(g_info);
  const TCrashExtendedInfo& x = g_info;
  auto b = [](const char* name, int v) { g_out.S(name).S("=").D(v).S("\n"); };
  auto n = [](const char* name, unsigned long long v) { g_out.S(name).S("=").U(v).S("\n"); };
  b("g_bIsCurrentProblemRunningOrFinalizing", x.g_bIsCurrentProblemRunningOrFinalizing);
  b("g_bRegressionTestsPending", x.g_bRegressionTestsPending);
  b("g_bRegressionsTestsProcPending", x.g_bRegressionsTestsProcPending);
  n("AnimateSolutionMove_pending", x.AnimateSolutionMove_pending);
  b("g_bEngineThreadProcRunning", x.g_bEngineThreadProcRunning);
  n("EngineThreadProc_AuxMate_pending", x.EngineThreadProc_AuxMate_pending);
  n("EngineThreadProc_BlackMoves_pending", x.EngineThreadProc_BlackMoves_pending);
  b("g_bBruteForce", x.g_bBruteForce);
  b("g_bDrawingCurrentChessboard", x.g_bDrawingCurrentChessboard);
  b("g_bPreparingChessboard", x.g_bPreparingChessboard);
  b("g_bWMPaintComplete", x.g_bWMPaintComplete);
  b("g_bWMPaintPending", x.g_bWMPaintPending);
  b("g_bFirstWMPaintComplete", x.g_bFirstWMPaintComplete);
  b("g_bCleaningTempReg", x.g_bCleaningTempReg);
  b("g_bShowWholeSolution", x.g_bShowWholeSolution);
  b("g_bVariantAnimationPending", x.g_bVariantAnimationPending);
  b("g_bStopAnimateVariant", x.g_bStopAnimateVariant);
  b("g_bStopPending", x.g_bStopPending);
  b("bRunning", x.bRunning);
  n("setRunningProblemsIds.size()", x.setRunningProblemsIds_size);
  n("setProblemsBeingStoppedIds.size()", x.setProblemsBeingStoppedIds_size);
  char problem[sizeof x.currentProblem];
  CopyText(problem, sizeof problem,
           std::string_view(x.currentProblem, strnlen(x.currentProblem, sizeof problem)));
  g_out.S("currentProblem=").S(problem).S(",").D(x.currentProblemNumber).S("\n");
  char board[sizeof x.currentChessboard];
  CopyText(board, sizeof board,
           std::string_view(x.currentChessboard, strnlen(x.currentChessboard, sizeof board)));
  g_out.S("currentChessboard=").S(board).S(",").D(x.currentChessboardNumber).S("\n");
}

// Opens a new log file; a second crash within the same second gets "_2"...
int OpenLogFile() {
  ::mkdir(g_logFolder, 0755);
  char stamp[32] = {};
  FormatStamp(static_cast<long long>(::time(nullptr)) + g_zoneOffset, stamp);
  for (int attempt = 1; attempt < 100; ++attempt) {
    std::size_t k = 0;
    auto add = [&k](const char* s) {
      while (*s && k < kPathChars - 1) g_logPath[k++] = *s++;
    };
    add(g_logFolder);
    if (k && g_logPath[k - 1] != '/') add("/");
    add("crash_log_");
    add(stamp);
    if (attempt > 1) {
      const char suffix[] = {'_', static_cast<char>('0' + attempt / 10),
                             static_cast<char>('0' + attempt % 10), '\0'};
      add(suffix);
    }
    add(".log");
    g_logPath[k] = '\0';
    const int fd = ::open(g_logPath, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  return -1;
}

void StartReportProgramFromHandler() {
  if (!g_reportProgram[0]) return;
  static char showArg[] = "--show-crash-report";
  static char* argv[4];
  argv[0] = g_reportProgram;
  argv[1] = showArg;
  argv[2] = g_logPath;
  argv[3] = nullptr;
  // vfork: fork() would run the program's fork hooks and take locks the
  // crashed thread may hold.
  const pid_t pid = ::vfork();
  if (pid == 0) {
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);  // the new program starts clean
    ::execve(g_reportProgram, argv, environ);
    ::_exit(127);
  }
}

void WriteCrashLog(uint32_t code, uintptr_t address, ucontext_t* uc, bool fromSignal) {
  int fd = OpenLogFile();
  const bool toFile = fd >= 0;
  if (!toFile) {
    fd = STDERR_FILENO;  // better on the console than lost
    g_logPath[0] = '\0';
  }
  g_out.Open(fd);
  g_out.S("Process File Name: ").S(g_exePath).S("\n");
  g_out.S("Exception Code: 0x").Hex(code, 8).S(" (").S(CrashExceptionName(code)).S(")\n");
  const TModule m = ModuleOf(address);
  g_out.S("Exception Address: 0x").Hex(address, 8).S(" (").S(m.name).S("+0x");
  g_out.Hex(m.known ? address - m.base : address, 1).S(")\n");
  if (code == kCrashCodeCppException && g_cppText[0]) g_out.S("Exception Text: ").S(g_cppText).S("\n");
  WriteRegisters(uc, fromSignal);
  g_out.Flush();
  WriteStack(uc, fromSignal);
  g_out.Flush();
  WriteExtendedInfo();
  g_out.Flush();
  if (toFile) ::close(fd);
  if (toFile && g_stderrNote[0]) {
    g_out.Open(STDERR_FILENO);
    g_out.S(g_stderrNote).S(" ").S(g_logPath).S("\n");
    g_out.Flush();
  }
  if (toFile) StartReportProgramFromHandler();
}

long ThreadId() {
  return static_cast<long>(::syscall(SYS_gettid));
}

// True when this thread is to write the log. Another thread that crashes
// meanwhile waits for the first to end the process; a crash inside the
// handler itself ends it at once.
bool EnterHandler() {
  const long me = ThreadId();
  long none = 0;
  if (g_handlingThread.compare_exchange_strong(none, me)) return true;
  if (none == me) return false;
  for (;;) ::pause();
}

void DieBy(int signo) {
  struct sigaction dfl {};
  dfl.sa_handler = SIG_DFL;
  sigemptyset(&dfl.sa_mask);
  ::sigaction(signo, &dfl, nullptr);
  // Pending until the handler returns; a fault would also recur on return.
  ::raise(signo);
}

void OnFatalSignal(int signo, siginfo_t* si, void* context) {
  const int savedErrno = errno;
  if (EnterHandler()) {
    auto* uc = static_cast<ucontext_t*>(context);
    const uintptr_t sp = StackPointer(uc);
    const uintptr_t fault = si ? reinterpret_cast<uintptr_t>(si->si_addr) : 0;
    const bool overflow =
        signo == SIGSEGV && sp != 0 && fault + kStackOverflowReach >= sp && fault <= sp + kStackOverflowReach;
    WriteCrashLog(CrashExceptionCode(signo, si ? si->si_code : 0, overflow), ProgramCounter(uc), uc, true);
  }
  DieBy(signo);
  errno = savedErrno;
}

[[noreturn]] void OnTerminate() {
  if (EnterHandler()) {
    // Not a signal handler: the exception's text may be fetched normally.
    g_cppText[0] = '\0';
    if (std::type_info* t = abi::__cxa_current_exception_type()) {
      int status = 0;
      char* demangled = abi::__cxa_demangle(t->name(), nullptr, nullptr, &status);
      std::string text = status == 0 && demangled ? demangled : t->name();
      std::free(demangled);
      try {
        std::rethrow_exception(std::current_exception());
      } catch (const std::exception& e) {
        text += std::string(": ") + e.what();
      } catch (...) {
      }
      CopyText(g_cppText, sizeof g_cppText, text);
    }
    static ucontext_t uc;
    std::memset(&uc, 0, sizeof uc);
    unw_getcontext(reinterpret_cast<unw_context_t*>(&uc));
    WriteCrashLog(kCrashCodeCppException, ProgramCounter(&uc), &uc, false);
  }
  struct sigaction dfl {};
  dfl.sa_handler = SIG_DFL;
  sigemptyset(&dfl.sa_mask);
  ::sigaction(SIGABRT, &dfl, nullptr);
  std::abort();
}

struct TAltStack {
  void* memory = nullptr;
  ~TAltStack() {
    if (!memory) return;
    stack_t off{};
    off.ss_flags = SS_DISABLE;
    ::sigaltstack(&off, nullptr);
    ::munmap(memory, kAltStackBytes);
  }
};

}  // namespace

uint32_t CrashExceptionCode(int signo, int siCode, bool stackOverflow) {
  switch (signo) {
    case SIGSEGV:
      return stackOverflow ? kCrashCodeStackOverflow : kCrashCodeAccessViolation;
    case SIGBUS:
      return siCode == BUS_ADRALN ? 0x80000002 : 0xC0000006;
    case SIGILL:
      return siCode == ILL_PRVOPC || siCode == ILL_PRVREG ? 0xC0000096 : 0xC000001D;
    case SIGFPE:
      switch (siCode) {
        case FPE_INTDIV:
          return 0xC0000094;
        case FPE_INTOVF:
          return 0xC0000095;
        case FPE_FLTDIV:
          return 0xC000008E;
        case FPE_FLTOVF:
          return 0xC0000091;
        case FPE_FLTUND:
          return 0xC0000093;
        case FPE_FLTRES:
          return 0xC000008F;
        case FPE_FLTINV:
          return 0xC0000090;
        case FPE_FLTSUB:
          return 0xC000008C;
      }
      break;
    case SIGTRAP:
      return siCode == TRAP_TRACE ? 0x80000004 : 0x80000003;
    case SIGABRT:
      return kCrashCodeAbort;
  }
  // Outside the table: the log says "Unknown Exception" with the signal.
  return 0xE0000000u | static_cast<uint32_t>(signo);
}

const char* CrashExceptionName(uint32_t code) {
  switch (code) {
    case 0x80000001:
      return "Guard Page";
    case 0x80000002:
      return "Datatype Misalignment";
    case 0x80000003:
      return "Breakpoint";
    case 0x80000004:
      return "Single Step";
    case 0xC0000005:
      return "Access Violation";
    case 0xC0000006:
      return "In Page Error";
    case 0xC0000008:
      return "Invalid Handle";
    case 0xC000001D:
      return "Illegal Instruction";
    case 0xC0000025:
      return "Non-continuable Exceptiopn";
    case 0xC0000026:
      return "Invalid Disposition";
    case 0xC000008C:
      return "Array Bounds Exceeded";
    case 0xC000008D:
      return "Float Denormal Operand";
    case 0xC000008E:
      return "Float Divide By Zero";
    case 0xC000008F:
      return "Float Inexact Result";
    case 0xC0000090:
      return "Float Invalid Operation";
    case 0xC0000091:
      return "Float Overflow";
    case 0xC0000092:
      return "Float Stack Check";
    case 0xC0000093:
      return "Float Underflow";
    case 0xC0000094:
      return "Integer Divide By Zero";
    case 0xC0000095:
      return "Integer Overflow";
    case 0xC0000096:
      return "Private Instruction";
    case 0xC00000FD:
      return "Stack Overflow";
    case 0xE06D7363:
      return "C++ Exception (using throw)";
  }
  return "Unknown Exception";
}

std::string CrashLogFileName(long long localSeconds) {
  char stamp[32] = {};
  FormatStamp(localSeconds, stamp);
  return std::string("crash_log_") + stamp + ".log";
}

bool PrepareThreadForCrashHandler() {
  thread_local TAltStack alt;
  if (alt.memory) return true;
  void* mem = ::mmap(nullptr, kAltStackBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mem == MAP_FAILED) return false;
  stack_t ss{};
  ss.ss_sp = mem;
  ss.ss_size = kAltStackBytes;
  if (::sigaltstack(&ss, nullptr) != 0) {
    ::munmap(mem, kAltStackBytes);
    return false;
  }
  alt.memory = mem;
  return true;
}

bool InstallCrashHandler(const TCrashHandlerOptions& options) {
  CopyText(g_logFolder, sizeof g_logFolder, options.logFolder.empty() ? "." : options.logFolder);
  CopyText(g_reportProgram, sizeof g_reportProgram, options.reportProgram);
  CopyText(g_stderrNote, sizeof g_stderrNote, options.stderrNote);
  const ssize_t n = ::readlink("/proc/self/exe", g_exePath, sizeof g_exePath - 1);
  g_exePath[n > 0 ? n : 0] = '\0';
  const std::time_t now = std::time(nullptr);
  std::tm tm{};
  if (::localtime_r(&now, &tm)) g_zoneOffset = tm.tm_gmtoff;

  // Resolve, load and bind now what the handler will call, so that it does
  // not happen for the first time inside the handler.
  {
    static ucontext_t warm;
    unw_getcontext(reinterpret_cast<unw_context_t*>(&warm));
    unw_cursor_t cursor;
    if (unw_init_local(&cursor, reinterpret_cast<unw_context_t*>(&warm)) == 0) {
      char name[64];
      unw_word_t off;
      unw_get_proc_name(&cursor, name, sizeof name, &off);
      unw_step(&cursor);
    }
    (void)ModuleOf(reinterpret_cast<uintptr_t>(&InstallCrashHandler));
  }

  bool ok = PrepareThreadForCrashHandler();
  struct sigaction sa {};
  sa.sa_sigaction = OnFatalSignal;
  sa.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigfillset(&sa.sa_mask);
  for (int s : kSignals) ok = ::sigaction(s, &sa, nullptr) == 0 && ok;
  std::set_terminate(OnTerminate);
  g_installed = true;
  return ok;
}

bool CrashHandlerInstalled() {
  return g_installed.load();
}

bool AddCrashInfoProvider(TCrashInfoProvider provider) {
  for (auto& slot : g_providers) {
    TCrashInfoProvider none = nullptr;
    if (slot.compare_exchange_strong(none, provider)) return true;
  }
  return false;
}

void RemoveCrashInfoProviders() {
  for (auto& slot : g_providers) slot.store(nullptr);
}

void SetCrashShellFlag(TCrashShellFlag flag, bool on) {
  const int i = static_cast<int>(flag);
  if (i >= 0 && i < kShellFlags) g_shellFlags[i].store(on ? 1 : 0, std::memory_order_relaxed);
}

TCrashPaintScope::TCrashPaintScope() {
  SetCrashShellFlag(TCrashShellFlag::kWMPaintComplete, false);
  SetCrashShellFlag(TCrashShellFlag::kWMPaintPending, true);
  SetCrashShellFlag(TCrashShellFlag::kDrawingCurrentChessboard, true);
}

TCrashPaintScope::~TCrashPaintScope() {
  SetCrashShellFlag(TCrashShellFlag::kDrawingCurrentChessboard, false);
  SetCrashShellFlag(TCrashShellFlag::kWMPaintPending, false);
  SetCrashShellFlag(TCrashShellFlag::kWMPaintComplete, true);
  SetCrashShellFlag(TCrashShellFlag::kFirstWMPaintComplete, true);
}

void SetCrashCurrentProblem(std::string_view text, int number) {
  CopyText(g_shellState.currentProblem, sizeof g_shellState.currentProblem, text);
  g_shellState.currentProblemNumber = number;
}

void SetCrashCurrentChessboard(std::string_view text, int number) {
  CopyText(g_shellState.currentChessboard, sizeof g_shellState.currentChessboard, text);
  g_shellState.currentChessboardNumber = number;
}

std::string CrashLogDescription(const std::string& logFile) {
  std::ifstream in(logFile);
  std::string line, description, text;
  const std::string codeKey = "Exception Code: ", textKey = "Exception Text: ";
  while (std::getline(in, line)) {
    if (line.rfind(codeKey, 0) == 0 && description.empty()) {
      // "0xC0000005 (Access Violation)" -> "Access Violation (0xC0000005)"
      const std::string rest = line.substr(codeKey.size());
      const std::size_t open = rest.find(" (");
      if (open != std::string::npos && rest.back() == ')')
        description = rest.substr(open + 2, rest.size() - open - 3) + " (" + rest.substr(0, open) + ")";
      else
        description = rest;
    } else if (line.rfind(textKey, 0) == 0) {
      text = line.substr(textKey.size());
    }
  }
  if (!text.empty() && !description.empty()) description += ": " + text;
  return description;
}

bool StartCrashReportProcess(const std::string& program, const std::string& logFile) {
  std::string arg0 = program, arg1 = "--show-crash-report", arg2 = logFile;
  char* argv[] = {arg0.data(), arg1.data(), arg2.data(), nullptr};
  pid_t pid = 0;
  return ::posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv, environ) == 0;
}

}  // namespace ostravel
