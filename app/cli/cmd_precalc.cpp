// ostravel-cli precalc: generates, lists, verifies and describes the
// precalculated results per position type (the global register).
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "command.h"
#include "config/settings.h"
#include "interrupt.h"
#include "precalc/position_index.h"
#include "precalc/position_type.h"
#include "precalc/precalc_generator.h"
#include "precalc/precalc_store.h"
#include "precalc/precalc_verify.h"

namespace ostravel::cli {
namespace {

constexpr const char* kHelp =
    "Usage: ostravel-cli precalc generate <type>... [--force] [--threads T] [--folder DIR]\n"
    "       ostravel-cli precalc generate --all-up-to N [--threads T] [--folder DIR]\n"
    "       ostravel-cli precalc list [--folder DIR]\n"
    "       ostravel-cli precalc verify <type> [--sample N] [--seed S] [--folder DIR]\n"
    "       ostravel-cli precalc stats [<type>] [--folder DIR]\n"
    "\n"
    "The global register: for every position of a position type (its men as\n"
    "letters, e.g. KQkr) with White to move, the length of White's shortest\n"
    "forced mate in moves, or no mate. The search answers positions of a stored\n"
    "type at once. Positions with castling rights or an e.p. capture are never\n"
    "answered from it.\n"
    "\n"
    "  generate   makes the data of the types named (and of every smaller type\n"
    "             they need that has none yet) by retrograde analysis; --all-up-to\n"
    "             N makes every type of 3 to N men (4: a few minutes, 45 types;\n"
    "             pawns included). Existing files are kept unless --force.\n"
    "  list       the stored types with their sizes\n"
    "  verify     re-proves sampled entries (default 1000): each value must follow\n"
    "             from the values after every move and reply, and short mates and\n"
    "             no-mates are searched again in full\n"
    "  stats      counts per type; with a type, the number of positions per\n"
    "             mate length\n"
    "\n"
    "The folder is PrecalcPath when set, otherwise CustomPrecalc in the data\n"
    "folder. Exit codes: 0 done, 1 bad input, 2 failure (I/O, damaged file, a\n"
    "verification that disagrees), 130 stopped by Ctrl-C.\n";

struct TOptions {
  std::vector<std::string> types;
  int allUpTo = 0;
  int threads = 0;
  uint64_t sample = 1000, seed = 1;
  bool force = false;
  std::string folder;
};

bool ParseNumber(const std::string& s, uint64_t& out) {
  if (s.empty() || s.find_first_not_of("0123456789") != std::string::npos || s.size() > 18) return false;
  out = std::strtoull(s.c_str(), nullptr, 10);
  return true;
}

std::filesystem::path Folder(const TOptions& o) {
  if (!o.folder.empty()) return o.folder;
  return GlobalRegisterFolder();
}

std::string Bytes(uint64_t b) {
  char buf[64];
  if (b >= (1u << 20))
    std::snprintf(buf, sizeof buf, "%.1f MB", b / 1048576.0);
  else
    std::snprintf(buf, sizeof buf, "%.1f KB", b / 1024.0);
  return buf;
}

int Generate(const TOptions& o) {
  std::vector<std::string> types = o.types;
  if (o.allUpTo) {
    if (o.allUpTo < 3 || o.allUpTo > 5) return BadInput("--all-up-to takes 3, 4 or 5");
    types = PrecalcTypesUpTo(o.allUpTo);
  }
  if (types.empty()) return BadInput("precalc generate: name a type or give --all-up-to N");
  for (std::string& t : types) {
    const std::string why = PrecalcNotGeneratable(t);
    if (!why.empty()) return BadInput(why);
    t = CanonicalPosType(t);
  }
  std::atomic<bool> stop{false};
  InterruptGuard guard(&stop);
  CPrecalcStore store(Folder(o), 1u << 30);
  TPrecalcGenOptions go;
  go.threads =
      o.threads > 0 ? o.threads : static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  go.stop = &stop;
  auto typeStart = std::chrono::steady_clock::now();
  std::string current;
  const bool tty = isatty(fileno(stderr));
  go.progress = [&](const char* phase, double f) {
    if (!tty) return;
    const double el = std::chrono::duration<double>(std::chrono::steady_clock::now() - typeStart).count();
    // The levels run faster than the first pass: a rough estimate, no more.
    const double eta = f > 0.02 ? el * (1 - f) / f : -1;
    if (eta >= 0)
      std::fprintf(stderr, "\r%s: %s %3.0f%%  %.0f s, ETA %.0f s   ", current.c_str(), phase, 100 * f, el,
                   eta);
    else
      std::fprintf(stderr, "\r%s: %s %3.0f%%  %.0f s   ", current.c_str(), phase, 100 * f, el);
  };
  std::printf("folder: %s\n", store.Folder().c_str());
  std::fflush(stdout);
  try {
    GeneratePrecalcFiles(
        types, store, go, o.force,
        [&](const std::string& t) {
          current = t;
          typeStart = std::chrono::steady_clock::now();
        },
        [&](const TPrecalcTypeReport& r) {
          if (tty) std::fprintf(stderr, "\r%60s\r", "");
          if (r.existed)
            std::printf("%-8s kept       %10s  longest mate %u\n", r.type.c_str(), Bytes(r.fileBytes).c_str(),
                        r.summary.longestMate);
          else
            std::printf("%-8s %7.1f s  %10s  longest mate %u  (%llu positions)\n", r.type.c_str(), r.seconds,
                        Bytes(r.fileBytes).c_str(), r.summary.longestMate,
                        static_cast<unsigned long long>(r.summary.entries));
          std::fflush(stdout);
        });
  } catch (const PrecalcStopped&) {
    std::fprintf(stderr, "\nstopped; the types finished so far are stored\n");
    return kExitStopped;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "\nostravel-cli: %s\n", e.what());
    return kExitFailure;
  }
  return kExitOk;
}

int List(const TOptions& o) {
  CPrecalcStore store(Folder(o), 1u << 30);
  std::printf("folder: %s\n", store.Folder().c_str());
  int bad = 0;
  for (const std::string& t : store.FileTypes()) {
    TPrecalcSummary s;
    if (!store.Summary(t, s)) {
      std::printf("%-8s damaged: %s\n", t.c_str(), store.LastError().c_str());
      ++bad;
      continue;
    }
    std::printf("%-8s %12llu positions  %10s  longest mate %u\n", t.c_str(),
                static_cast<unsigned long long>(s.entries),
                Bytes(std::filesystem::file_size(store.Folder() / PrecalcFileName(t))).c_str(),
                s.longestMate);
  }
  return bad ? kExitFailure : kExitOk;
}

int Stats(const TOptions& o) {
  CPrecalcStore store(Folder(o), 1u << 30);
  if (o.types.empty()) {
    std::printf("%-8s %12s %12s %12s %12s %8s\n", "type", "positions", "mates", "no mate", "illegal",
                "longest");
    int bad = 0;
    for (const std::string& t : store.FileTypes()) {
      TPrecalcSummary s;
      if (!store.Summary(t, s)) {
        std::printf("%-8s damaged: %s\n", t.c_str(), store.LastError().c_str());
        ++bad;
        continue;
      }
      std::printf("%-8s %12llu %12llu %12llu %12llu %8u\n", t.c_str(),
                  static_cast<unsigned long long>(s.entries), static_cast<unsigned long long>(s.mates),
                  static_cast<unsigned long long>(s.noMates), static_cast<unsigned long long>(s.illegal),
                  s.longestMate);
    }
    return bad ? kExitFailure : kExitOk;
  }
  const std::string t = CanonicalPosType(o.types[0]);
  const std::filesystem::path path = store.Folder() / PrecalcFileName(t);
  try {
    auto f = CPrecalcFile::Load(path, t, CPositionTypeIndex(t).PlacementCount());
    const std::vector<uint8_t> v = f->UnpackAll();
    std::vector<uint64_t> hist(256, 0);
    for (uint8_t x : v) ++hist[x];
    std::printf("type %s: %llu positions, %llu legal with White to move\n", t.c_str(),
                static_cast<unsigned long long>(v.size()),
                static_cast<unsigned long long>(v.size() - hist[kPrecalcIllegal]));
    std::printf("no mate: %llu\n", static_cast<unsigned long long>(hist[0]));
    for (int k = 1; k <= kPrecalcMaxMate; ++k)
      if (hist[k]) std::printf("mate in %d: %llu\n", k, static_cast<unsigned long long>(hist[k]));
  } catch (const std::exception& e) {
    std::fprintf(stderr, "ostravel-cli: %s\n", e.what());
    return kExitFailure;
  }
  return kExitOk;
}

int Verify(const TOptions& o) {
  if (o.types.size() != 1) return BadInput("precalc verify: name one type");
  std::string t;
  try {
    t = CanonicalPosType(o.types[0]);
  } catch (const std::exception& e) {
    return BadInput(e.what());
  }
  CPrecalcStore store(Folder(o), 1u << 30);
  const auto start = std::chrono::steady_clock::now();
  const TPrecalcVerifyReport r = VerifyPrecalcType(t, store, o.sample, o.seed);
  const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  for (const std::string& f : r.failures) std::printf("FAIL %s\n", f.c_str());
  std::printf("%s: %llu positions checked, %llu also searched in full, %zu failures (%.1f s)\n", t.c_str(),
              static_cast<unsigned long long>(r.checked), static_cast<unsigned long long>(r.searched),
              r.failures.size(), s);
  return r.failures.empty() ? kExitOk : kExitFailure;
}

int Run(const std::vector<std::string>& args) {
  if (args.empty() || WantsHelp(args)) {
    std::fputs(kHelp, stdout);
    return args.empty() ? kExitBadInput : kExitOk;
  }
  LoadSettings();
  const std::string sub = args[0];
  TOptions o;
  for (size_t i = 1; i < args.size(); ++i) {
    const std::string& a = args[i];
    auto value = [&](uint64_t& out) { return i + 1 < args.size() && ParseNumber(args[++i], out); };
    uint64_t n = 0;
    if (a == "--all-up-to") {
      if (!value(n)) return BadInput("--all-up-to needs a number");
      o.allUpTo = static_cast<int>(n);
    } else if (a == "--threads") {
      if (!value(n) || n == 0 || n > 256) return BadInput("--threads needs a number from 1 to 256");
      o.threads = static_cast<int>(n);
    } else if (a == "--sample") {
      if (!value(o.sample) || o.sample == 0) return BadInput("--sample needs a positive number");
    } else if (a == "--seed") {
      if (!value(o.seed)) return BadInput("--seed needs a number");
    } else if (a == "--force") {
      o.force = true;
    } else if (a == "--folder") {
      if (i + 1 >= args.size()) return BadInput("--folder needs a path");
      o.folder = args[++i];
    } else if (!a.empty() && a[0] == '-') {
      return BadInput("precalc: unknown option " + a);
    } else {
      o.types.push_back(a);
    }
  }
  try {
    if (sub == "generate") return Generate(o);
    if (sub == "list") return List(o);
    if (sub == "stats") return Stats(o);
    if (sub == "verify") return Verify(o);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "ostravel-cli: %s\n", e.what());
    return kExitFailure;
  }
  return BadInput("precalc: unknown sub-command " + sub + " (generate, list, verify, stats)");
}

}  // namespace

OSTRAVEL_COMMAND("precalc", "generate, list, verify and describe the global register", Run);

}  // namespace ostravel::cli
