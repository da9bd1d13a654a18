#include "engine/work_units.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "engine/mate_search.h"
#include "problems/problem.h"
#include "registers/register_file.h"
#include "registers/temporary_register.h"

namespace ostravel {
namespace {

// The board points into ctx (castling rights, e.p.): both live together.
bool RootOf(const TSolveRequest& r, TChessboard& root, TTaskContext& ctx) {
  try {
    ProblemOfRequest(r).MakeRoot(root, ctx, true);
  } catch (const std::exception&) {
    return false;
  }
  return true;
}

// Length-prefixed fields: numbers as decimal words ended by ';', strings as
// their length, ':' and the bytes. Readable in a log, safe for any byte.
class TWriter {
 public:
  void Num(int64_t v) { out_ += std::to_string(v) + ';'; }
  void Str(const std::string& s) {
    out_ += std::to_string(s.size()) + ':';
    out_ += s;
  }
  void Move(const TMove& m) {
    Num(m.from);
    Num(m.to);
    Num(m.promotion);
    Num(m.enPassant);
  }
  std::string& Text() { return out_; }

 private:
  std::string out_;
};

class TReader {
 public:
  explicit TReader(const std::string& s) : s_(s) {}
  bool Num(int64_t& v, int64_t lo, int64_t hi) {
    const size_t end = s_.find(';', at_);
    if (end == std::string::npos || end == at_ || end - at_ > 19) return false;
    try {
      size_t used = 0;
      v = std::stoll(s_.substr(at_, end - at_), &used);
      if (used != end - at_) return false;
    } catch (const std::exception&) {
      return false;
    }
    at_ = end + 1;
    return v >= lo && v <= hi;
  }
  bool Int(int& v) {
    int64_t x = 0;
    if (!Num(x, -1000000, 1000000)) return false;
    v = static_cast<int>(x);
    return true;
  }
  bool Bool(bool& b) {
    int64_t x = 0;
    if (!Num(x, 0, 1)) return false;
    b = x != 0;
    return true;
  }
  bool Str(std::string& out) {
    const size_t colon = s_.find(':', at_);
    if (colon == std::string::npos || colon == at_ || colon - at_ > 9) return false;
    size_t n = 0;
    for (size_t i = at_; i < colon; ++i) {
      if (s_[i] < '0' || s_[i] > '9') return false;
      n = n * 10 + static_cast<size_t>(s_[i] - '0');
    }
    if (n > s_.size() - colon - 1) return false;
    out = s_.substr(colon + 1, n);
    at_ = colon + 1 + n;
    return true;
  }
  bool Move(TMove& m) {
    int64_t f = 0, t = 0, p = 0, e = 0;
    if (!Num(f, 0, 63) || !Num(t, 0, 63) || !Num(p, 0, 255) || !Num(e, 0, 255)) return false;
    m.from = static_cast<uint8_t>(f);
    m.to = static_cast<uint8_t>(t);
    m.promotion = static_cast<uint8_t>(p);
    m.enPassant = static_cast<uint8_t>(e);
    return true;
  }
  // A count of items that follow, each needing at least one byte.
  bool Count(size_t& n) {
    int64_t x = 0;
    if (!Num(x, 0, static_cast<int64_t>(s_.size()))) return false;
    n = static_cast<size_t>(x);
    return true;
  }
  bool AtEnd() const { return at_ == s_.size(); }

 private:
  const std::string& s_;
  size_t at_ = 0;
};

void PutStrings(TWriter& w, const std::vector<std::string>& v) {
  w.Num(static_cast<int64_t>(v.size()));
  for (const auto& s : v) w.Str(s);
}

bool GetStrings(TReader& r, std::vector<std::string>& v) {
  size_t n = 0;
  if (!r.Count(n)) return false;
  v.resize(n);
  for (auto& s : v)
    if (!r.Str(s)) return false;
  return true;
}

void PutVariations(TWriter& w, const std::vector<TVariation>& vs) {
  w.Num(static_cast<int64_t>(vs.size()));
  for (const auto& v : vs) {
    w.Move(v.black);
    w.Str(v.blackText);
    w.Move(v.white);
    w.Str(v.whiteText);
    w.Num(v.mate);
    w.Num(static_cast<int64_t>(v.duals.size()));
    for (const auto& d : v.duals) w.Move(d);
    PutStrings(w, v.dualTexts);
    PutVariations(w, v.next);
  }
}

bool GetVariations(TReader& r, std::vector<TVariation>& vs, int depth) {
  // The tree is as deep as the stipulation's moves at most.
  if (depth > 2 * kMaxStipulationMoves) return false;
  size_t n = 0;
  if (!r.Count(n)) return false;
  vs.resize(n);
  for (auto& v : vs) {
    size_t duals = 0;
    if (!r.Move(v.black) || !r.Str(v.blackText) || !r.Move(v.white) || !r.Str(v.whiteText) ||
        !r.Bool(v.mate) || !r.Count(duals))
      return false;
    v.duals.resize(duals);
    for (auto& d : v.duals)
      if (!r.Move(d)) return false;
    if (!GetStrings(r, v.dualTexts) || !GetVariations(r, v.next, depth + 1)) return false;
  }
  return true;
}

}  // namespace

std::vector<TMove> RootWorkUnits(const TSolveRequest& r) {
  TChessboard root;
  TTaskContext ctx;
  if (!RootOf(r, root, ctx)) return {};
  return RootCandidates(root, r.restriction < 0 ? r.markedSquares : 0, r.rootMoves, r.sortIndications);
}

std::vector<TSolution> MergeUnitSolutions(const TSolveRequest& r,
                                          const std::vector<std::vector<TSolution>>& units) {
  std::vector<TSolution> keys;
  for (const auto& u : units)
    for (const auto& s : u)
      if (std::none_of(keys.begin(), keys.end(), [&](const TSolution& k) { return k.key.SameAs(s.key); }))
        keys.push_back(s);
  TChessboard root;
  TTaskContext ctx;
  if (!RootOf(r, root, ctx)) return keys;
  SortKeysInRootOrder(root, keys);
  return keys;
}

void SortKeysInRootOrder(const TChessboard& root, std::vector<TSolution>& keys) {
  TMove order[kMaxMoves];
  const int n = GenerateLegalMoves(root, order);
  const auto rank = [&](const TSolution& s) {
    return std::find_if(order, order + n, [&](const TMove& m) { return m.SameAs(s.key); }) - order;
  };
  std::stable_sort(keys.begin(), keys.end(),
                   [&](const TSolution& a, const TSolution& b) { return rank(a) < rank(b); });
}

std::string SerializeSolutions(const std::vector<TSolution>& solutions) {
  TWriter w;
  w.Num(static_cast<int64_t>(solutions.size()));
  for (const auto& s : solutions) {
    w.Move(s.key);
    w.Str(s.keyText);
    w.Num(s.mateIn);
    w.Num(s.keyChecks);
    PutStrings(w, s.threat);
    w.Num(s.threatIn);
    PutVariations(w, s.variations);
    w.Num(s.variationsTruncated);
  }
  return std::move(w.Text());
}

bool TSharedBounds::Note(const uint8_t* board, uint16_t mate, uint16_t noMate) {
  uint64_t h = 1469598103934665603ull;  // FNV-1a
  for (int i = 0; i < 64; ++i) h = (h ^ board[i]) * 1099511628211ull;
  auto [it, fresh] = known_.try_emplace(h, mate, noMate);
  if (fresh) return true;
  auto& [m, nm] = it->second;
  const bool better = (mate && (!m || mate < m)) || noMate > nm;
  if (mate && (!m || mate < m)) m = mate;
  nm = std::max(nm, noMate);
  return better;
}

std::string TSharedBounds::NewBatch(const TAggregatedTemporaryChessboardRegister& reg) {
  std::string out;
  reg.ForEachRecordOf(0, [&](uint64_t, const TRegisterRecord& r) {
    TRegisterRecord s = r;
    if (s.nMovesMate < minPlies_) s.nMovesMate = 0;
    if (s.nMovesNoMate < minPlies_) s.nMovesNoMate = 0;
    // Only what the receiver accepts (the files' test of a record) is sent.
    if ((s.nMovesMate || s.nMovesNoMate) && RecordPossible(true, s.nMovesMate, s.nMovesNoMate, s.board) &&
        Note(s.board, s.nMovesMate, s.nMovesNoMate))
      out.append(reinterpret_cast<const char*>(&s), sizeof s);
    return true;
  });
  return out;
}

long TSharedBounds::Merge(TAggregatedTemporaryChessboardRegister& reg, const std::string& batch) {
  long merged = 0;
  bool damaged = batch.size() % sizeof(TRegisterRecord) != 0;
  for (size_t at = 0; at + sizeof(TRegisterRecord) <= batch.size(); at += sizeof(TRegisterRecord)) {
    TRegisterRecord r;
    std::memcpy(&r, batch.data() + at, sizeof r);
    // A record that cannot be true would poison the register: refuse it.
    if (!RecordPossible(true, r.nMovesMate, r.nMovesNoMate, r.board)) {
      damaged = true;
      continue;
    }
    Note(r.board, r.nMovesMate, r.nMovesNoMate);
    const uint32_t hash = RegisterHash(r.board);
    if (r.nMovesMate) reg.Insert(r.nMovesMate, r.board, hash, true);
    if (r.nMovesNoMate) reg.Insert(r.nMovesNoMate, r.board, hash, false);
    ++merged;
  }
  return damaged ? -1 : merged;
}

bool DeserializeSolutions(const std::string& text, std::vector<TSolution>& out) {
  TReader r(text);
  size_t n = 0;
  if (!r.Count(n)) return false;
  std::vector<TSolution> got(n);
  for (auto& s : got) {
    if (!r.Move(s.key) || !r.Str(s.keyText) || !r.Int(s.mateIn) || !r.Bool(s.keyChecks) ||
        !GetStrings(r, s.threat) || !r.Int(s.threatIn) || !GetVariations(r, s.variations, 0) ||
        !r.Bool(s.variationsTruncated))
      return false;
  }
  if (!r.AtEnd()) return false;
  out = std::move(got);
  return true;
}

}  // namespace ostravel
