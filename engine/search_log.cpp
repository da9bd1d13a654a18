#include "engine/search_log.h"

#include <mutex>

#include "engine/search_types.h"

namespace ostravel {

namespace {
std::mutex g_logLock;  // one lock for every search log of the process
constexpr int kMaxLoggedPlies = 601;
}  // namespace

const char* ResultWord(uint8_t code) {
  switch (code) {
    case kResNoMate:
      return "no mate";
    case kResMate:
      return "mate";
    case kResEndOfDepth:
      return "end of FindForcedMate depth";
    case kResRepetition:
      return "position repetition";
    case kResDoubtful:
      return "doubtful";
    default:
      return "result error";
  }
}

TSearchLog::~TSearchLog() {
  Close();
}

bool TSearchLog::Open(const std::string& path, bool truncate) {
  std::lock_guard<std::mutex> lk(g_logLock);
  if (file_) std::fclose(file_);
  // Always appending, so that the searches of later passes, each with a file
  // of its own, never write over each other.
  if (truncate) {
    if (std::FILE* f = std::fopen(path.c_str(), "w")) std::fclose(f);
  }
  file_ = std::fopen(path.c_str(), "a");
  return file_ != nullptr;
}

void TSearchLog::Close() {
  std::lock_guard<std::mutex> lk(g_logLock);
  if (file_) std::fclose(file_);
  file_ = nullptr;
}

void TSearchLog::Indent(int plies) {
  for (int i = 0; i < plies; ++i) std::fputc('\t', file_);
}

void TSearchLog::Move(int pliesPlayed, const TMove& m, uint8_t pieceCode) {
  if (!file_ || pliesPlayed > kMaxLoggedPlies) return;
  std::lock_guard<std::mutex> lk(g_logLock);
  Indent(pliesPlayed);
  const int moveNo = (pliesPlayed - 1) / 2 + 1;
  const bool white = (pliesPlayed & 1) != 0;
  if (white)
    std::fprintf(file_, "%d.", moveNo);
  else
    std::fprintf(file_, "%d ... ", moveNo);
  const char letter = KindLetter(pieceCode);
  const std::string prefix = (letter == ' ' || letter == 'E') ? "" : std::string(1, letter);
  std::fprintf(file_, "%s%c%d-%c%d\n", prefix.c_str(), 'a' + (m.from & 7), (m.from >> 3) + 1,
               'a' + (m.to & 7), (m.to >> 3) + 1);
}

void TSearchLog::Result(int pliesPlayed, uint8_t code, int registerPlies) {
  if (!file_ || pliesPlayed > kMaxLoggedPlies) return;
  std::lock_guard<std::mutex> lk(g_logLock);
  Indent(pliesPlayed);
  const int moveNo = (pliesPlayed - 1) / 2 + 1;
  const char* sep = (pliesPlayed & 1) ? "." : " ...";
  std::fprintf(file_, "%d%s%s", moveNo, sep, ResultWord(code));
  if (registerPlies >= 0) std::fprintf(file_, " (%d (temp.reg.))", registerPlies);
  std::fputc('\n', file_);
}

void TSearchLog::NextLevel() {
  if (!file_) return;
  std::lock_guard<std::mutex> lk(g_logLock);
  std::fprintf(file_, "%s\nNextMultithreadingLevel analysis...\n", std::string(52, '-').c_str());
}

void TSearchLog::Flush() {
  if (!file_) return;
  std::lock_guard<std::mutex> lk(g_logLock);
  std::fflush(file_);
}

void TSearchLog::Line(const std::string& text) {
  if (!file_) return;
  std::lock_guard<std::mutex> lk(g_logLock);
  std::fprintf(file_, "%s\n", text.c_str());
}

}  // namespace ostravel
