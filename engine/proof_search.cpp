#include "engine/proof_search.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <random>
#include <string>
#include <unordered_map>

namespace ostravel {

namespace {

// kInf is the number of a decided node (proved: dn, refuted: pn) and of an
// open threshold. Sums stop just below it: in a deep tree they outgrow any
// bound, and a saturated sum must not pass for a decided node or meet an
// open threshold (the search would then return without doing anything).
constexpr uint32_t kInf = 1u << 30;

uint32_t Sum(uint32_t a, uint32_t b) {
  const uint64_t s = static_cast<uint64_t>(a) + b;
  return s >= kInf - 1 ? kInf - 1 : static_cast<uint32_t>(s);
}

// A child's threshold: a little above its best sibling (1 + 1/slack), so
// that the search does not swing between two children of equal promise.
uint32_t Above(uint32_t second, int slack) {
  if (second >= kInf - 1) return kInf;
  const uint64_t t = static_cast<uint64_t>(second) + second / static_cast<uint32_t>(slack) + 1;
  return t >= kInf - 1 ? kInf - 1 : static_cast<uint32_t>(t);
}

struct TZobrist {
  uint64_t square[64][256];
  uint64_t whiteToMove, castling[16], ep[65];
  TZobrist() {
    std::mt19937_64 rng(0x6f737472);  // fixed: the same table in every run
    for (auto& row : square)
      for (auto& z : row) z = rng();
    whiteToMove = rng();
    for (auto& z : castling) z = rng();
    for (auto& z : ep) z = rng();
  }
};

const TZobrist& Zobrist() {
  static const TZobrist z;
  return z;
}

uint64_t HashOf(const TChessboard& b) {
  const TZobrist& z = Zobrist();
  uint64_t h = b.WhiteToMove() ? z.whiteToMove : 0;
  for (uint64_t men = b.occupied[0] | b.occupied[1]; men; men &= men - 1) {
    const int i = __builtin_ctzll(men);
    h ^= z.square[i][b.board[i]];
  }
  h ^= z.castling[CastlingRights(b) & 15];
  h ^= z.ep[EnPassantTarget(b) + 1];
  return h;
}

// The identity of a position for the proof check: the whole board, the side
// to move and the rights, compared byte by byte.
std::string ExactKeyOf(const TChessboard& b) {
  std::string k(reinterpret_cast<const char*>(b.board), 64);
  k.push_back(static_cast<char>(b.WhiteToMove()));
  k.push_back(static_cast<char>(CastlingRights(b)));
  k.push_back(static_cast<char>(EnPassantTarget(b) + 1));
  return k;
}

struct TPnDn {
  uint32_t pn = 1, dn = 1;
};
constexpr TPnDn kProved{0, kInf};
constexpr TPnDn kRefuted{kInf, 0};

// One position of the table. A proof at d holds for every larger d (mate in
// at most d moves), a refutation at d for every smaller one; the numbers of an
// undecided search belong to one d.
struct TEntry {
  uint64_t key = 0;
  uint32_t pn = 0, dn = 0;
  uint8_t depth = 0;
  uint8_t provedAt = 0xFF;  // smallest d proved, 0xFF: none
  uint8_t refutedAt = 0;    // largest d refuted, 0: none (d >= 1 always)
  uint8_t work = 0;         // log2 of the nodes spent below: what replacement keeps
};

struct TChild {
  TChessboard b;
  uint64_t key;
  TPnDn v;
  TMove m;
};

}  // namespace

struct TProofSearch::TImpl {
  TProofSearchOptions opt;
  std::vector<TEntry> table;  // buckets of two
  uint64_t bucketMask = 0;
  uint64_t nodes = 0;
  bool stopped = false;
  int ply = 0;
  std::deque<std::vector<TChild>> frames;             // a deque: growing it moves no frame in use
  std::unordered_map<std::string, uint8_t> verified;  // checked proofs: the smallest d

  int slack;

  explicit TImpl(const TProofSearchOptions& o) : opt(o), slack(std::max(1, o.slack)) {
    uint64_t buckets = 1;
    const uint64_t want = std::max<uint64_t>(1, (o.tableMB << 20) / (2 * sizeof(TEntry)));
    while (buckets * 2 <= want) buckets *= 2;
    table.resize(2 * buckets);
    bucketMask = buckets - 1;
  }

  TEntry* Find(uint64_t key) {
    TEntry* bucket = &table[2 * (key & bucketMask)];
    if (bucket[0].key == key) return &bucket[0];
    if (bucket[1].key == key) return &bucket[1];
    return nullptr;
  }

  bool Lookup(uint64_t key, int d, TPnDn& out) {
    const TEntry* e = Find(key);
    if (!e) return false;
    if (e->provedAt <= d) {
      out = kProved;
      return true;
    }
    if (e->refutedAt >= d) {
      out = kRefuted;
      return true;
    }
    if (e->depth == d) {
      out = {e->pn, e->dn};
      return true;
    }
    return false;
  }

  void Store(uint64_t key, int d, TPnDn v, uint64_t spent) {
    TEntry* e = Find(key);
    if (!e) {
      TEntry* bucket = &table[2 * (key & bucketMask)];
      e = bucket[0].work <= bucket[1].work ? &bucket[0] : &bucket[1];
      *e = TEntry{};
      e->key = key;
    }
    uint8_t work = 0;
    while (spent >>= 1) ++work;
    e->work = std::max(e->work, static_cast<uint8_t>(work + 1));
    if (v.pn == 0) {
      e->provedAt = std::min<uint8_t>(e->provedAt, static_cast<uint8_t>(d));
    } else if (v.dn == 0) {
      e->refutedAt = std::max<uint8_t>(e->refutedAt, static_cast<uint8_t>(d));
    } else {
      e->depth = static_cast<uint8_t>(d);
      e->pn = v.pn;
      e->dn = v.dn;
    }
  }

  void Tick() {
    if ((++nodes & 0xFFF) != 0) return;
    if ((opt.stopWanted && opt.stopWanted()) || std::chrono::steady_clock::now() >= opt.deadline)
      stopped = true;
    if ((nodes & 0xFFFFF) == 0 && opt.onProgress) opt.onProgress(nodes);
  }

  // White to move with one move left.
  bool MateInOne(const TChessboard& b) {
    TMove moves[kMaxMoves];
    const int n = GenerateLegalMoves(b, moves);
    TChessboard next;
    for (int i = 0; i < n; ++i) {
      Tick();
      if (PlayMove(b, next, moves[i]) < 1) continue;
      if (IsCheckmate(next)) return true;
    }
    return false;
  }

  // The numbers a child starts with. A White node with one move left and a
  // Black node without moves are decided at once; otherwise a Black node
  // costs as many proofs as Black has replies, which sends the search after
  // checks and restricting moves first.
  TPnDn Evaluate(TChild& c, bool whiteNode, int d) {
    if (Lookup(c.key, d, c.v)) return c.v;
    if (whiteNode) {
      if (d == 1) {
        c.v = MateInOne(c.b) ? kProved : kRefuted;
        Store(c.key, d, c.v, 1);
      } else {
        c.v = {1, 1};
      }
      return c.v;
    }
    const int replies = CountLegalMoves(c.b);
    if (replies == 0) {
      c.v = IsKingAttacked(c.b, kBlack) ? kProved : kRefuted;
    } else if (d == 0) {
      c.v = kRefuted;
    } else {
      c.v = {static_cast<uint32_t>(replies), 1};
    }
    return c.v;
  }

  std::vector<TChild>& Frame() {
    if (static_cast<int>(frames.size()) <= ply) {
      frames.resize(ply + 1);
      // Sized once: children's `previous` links point into it, and filling a
      // fresh frame at every node was a measurable cost.
      frames[ply].resize(kMaxMoves);
    }
    return frames[ply];
  }

  // Expands a node until its numbers reach a threshold (df-pn's MID). d is
  // the number of White moves left, counted before White's move at a White
  // node and after Black's at a Black node.
  TPnDn Mid(const TChessboard& b, uint64_t key, int d, bool whiteNode, TPnDn th) {
    Tick();
    const uint64_t nodes0 = nodes;
    TMove moves[kMaxMoves];
    const int n = GenerateLegalMoves(b, moves);
    const int childD = whiteNode ? d - 1 : d;
    ++ply;
    std::vector<TChild>& ch = Frame();
    TPnDn me;
    bool decided = false;
    // All children first, their table buckets fetched while the next ones
    // are made: the table lookups are the search's main cost.
    size_t made = 0;
    for (int i = 0; i < n; ++i) {
      TChild& c = ch[made];
      if (PlayMove(b, c.b, moves[i]) < 1) continue;
      c.m = moves[i];
      c.key = HashOf(c.b);
      __builtin_prefetch(&table[2 * (c.key & bucketMask)]);
      ++made;
    }
    size_t kept = 0;
    for (size_t i = 0; i < made && !decided; ++i) {
      TChild& c = ch[i];
      Evaluate(c, !whiteNode, childD);
      if (whiteNode ? c.v.pn == 0 : c.v.dn == 0) {
        me = whiteNode ? kProved : kRefuted;
        decided = true;
      } else if (!(whiteNode ? c.v.dn == 0 : c.v.pn == 0)) {
        // (a refuted White move, or a Black move that loses at once, has no say)
        if (kept != i) ch[kept] = c;
        ++kept;
      }
    }
    if (!decided && kept == 0) {
      me = whiteNode ? kRefuted : kProved;
      decided = true;
    }
    while (!decided) {
      uint32_t best = kInf, second = kInf, other = 0;
      size_t bi = 0;
      for (size_t i = 0; i < kept; ++i) {
        const uint32_t sel = whiteNode ? ch[i].v.pn : ch[i].v.dn;
        other = Sum(other, whiteNode ? ch[i].v.dn : ch[i].v.pn);
        if (sel < best) {
          second = best;
          best = sel;
          bi = i;
        } else if (sel < second) {
          second = sel;
        }
      }
      me = whiteNode ? TPnDn{best, other} : TPnDn{other, best};
      if (best == 0) me = whiteNode ? kProved : kRefuted;
      if (me.pn == 0 || me.dn == 0 || me.pn >= th.pn || me.dn >= th.dn || stopped) break;
      TChild& c = ch[bi];
      TPnDn cth;
      if (whiteNode) {
        cth.pn = std::min(th.pn, Above(second, slack));
        cth.dn = th.dn >= kInf ? kInf : th.dn - me.dn + c.v.dn;
      } else {
        cth.dn = std::min(th.dn, Above(second, slack));
        cth.pn = th.pn >= kInf ? kInf : th.pn - me.pn + c.v.pn;
      }
      c.v = Mid(c.b, c.key, childD, !whiteNode, cth);
    }
    --ply;
    Store(key, d, me, nodes - nodes0);
    return me;
  }

  // ---- the proof check: real boards, every Black move, the table only as a guide

  bool Known(const TChessboard& b, int d) {
    auto it = verified.find(ExactKeyOf(b));
    return it != verified.end() && it->second <= d;
  }
  void Remember(const TChessboard& b, int d) {
    auto [it, fresh] = verified.emplace(ExactKeyOf(b), static_cast<uint8_t>(d));
    if (!fresh) it->second = std::min<uint8_t>(it->second, static_cast<uint8_t>(d));
  }

  // White to move mates in at most d.
  bool CheckWhite(const TChessboard& b, int d) {
    if (Known(b, d)) return true;
    TMove moves[kMaxMoves];
    const int n = GenerateLegalMoves(b, moves);
    TChessboard next;
    for (int i = 0; i < n; ++i) {
      if (PlayMove(b, next, moves[i]) < 1) continue;
      if (IsCheckmate(next)) {
        Remember(b, d);
        return true;
      }
    }
    if (d <= 1) return false;
    for (int round = 0; round < 2; ++round) {
      for (int i = 0; i < n; ++i) {
        if (PlayMove(b, next, moves[i]) < 1) continue;
        TPnDn v;
        if (Lookup(HashOf(next), d - 1, v) && v.pn == 0 && CheckBlack(next, d - 1)) {
          Remember(b, d);
          return true;
        }
      }
      // The table has lost this part of the proof: search it again, once.
      if (round == 0 && (stopped || Mid(b, HashOf(b), d, true, {kInf, kInf}).pn != 0)) return false;
    }
    return false;
  }

  // Black to move, White mates in at most d against every defence.
  bool CheckBlack(const TChessboard& b, int d) {
    if (Known(b, d)) return true;
    TMove moves[kMaxMoves];
    const int n = GenerateLegalMoves(b, moves);
    if (n == 0) return IsKingAttacked(b, kBlack);
    TChessboard next;
    for (int i = 0; i < n; ++i) {
      if (PlayMove(b, next, moves[i]) < 1) return false;
      if (!CheckWhite(next, d)) return false;
    }
    Remember(b, d);
    return true;
  }

  bool VerifyKey(const TChessboard& root, const TMove& key, int nMoves) {
    TChessboard next;
    if (!IsLegal(root, key) || PlayMove(root, next, key) < 1) return false;
    if (IsCheckmate(next)) return true;
    if (nMoves <= 1) return false;
    return CheckBlack(next, nMoves - 1);
  }

  TProofSearchResult Run(const TChessboard& root, int nMoves) {
    TProofSearchResult res;
    stopped = false;
    if (nMoves < 1 || !root.WhiteToMove()) return res;
    TMove moves[kMaxMoves];
    const int n = GenerateLegalMoves(root, moves);
    std::vector<TChild> open;
    open.reserve(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
      open.emplace_back();
      if (PlayMove(root, open.back().b, moves[i]) < 1) {
        open.pop_back();
        continue;
      }
      open.back().m = moves[i];
      open.back().key = HashOf(open.back().b);
    }
    const int d = nMoves - 1;
    for (TChild& c : open) Evaluate(c, false, d);
    // The root is an OR node whose proved children are taken out one by one,
    // so that the search goes on to the next key. A child keeps the numbers
    // its last search returned: the table may have lost them since.
    while (!open.empty() && !stopped) {
      for (size_t i = 0; i < open.size();) {
        TChild& c = open[i];
        if (c.v.pn == 0) {
          const TMove m = c.m;
          open.erase(open.begin() + static_cast<std::ptrdiff_t>(i));
          if (VerifyKey(root, m, nMoves)) {
            res.keys.push_back(m);
            if (opt.onKey) opt.onKey(m);
            if (opt.keyLimit && static_cast<int>(res.keys.size()) >= opt.keyLimit) {
              res.nodes = nodes;
              return res;
            }
          }
          continue;
        }
        if (c.v.dn == 0) {
          open.erase(open.begin() + static_cast<std::ptrdiff_t>(i));
          continue;
        }
        ++i;
      }
      if (open.empty() || stopped) break;
      size_t bi = 0;
      uint32_t best = kInf, second = kInf;
      for (size_t i = 0; i < open.size(); ++i) {
        if (open[i].v.pn < best) {
          second = best;
          best = open[i].v.pn;
          bi = i;
        } else if (open[i].v.pn < second) {
          second = open[i].v.pn;
        }
      }
      TChild& c = open[bi];
      c.v = Mid(c.b, c.key, d, false, {Above(second, slack), kInf});
    }
    res.allDecided = open.empty() && !stopped;
    res.nodes = nodes;
    return res;
  }
};

TProofSearch::TProofSearch(const TProofSearchOptions& options) : impl_(std::make_unique<TImpl>(options)) {}
TProofSearch::~TProofSearch() = default;

TProofSearchResult TProofSearch::Run(const TChessboard& root, int nMoves) {
  return impl_->Run(root, nMoves);
}

bool TProofSearch::VerifyKey(const TChessboard& root, const TMove& key, int nMoves) {
  return impl_->VerifyKey(root, key, nMoves);
}

uint64_t TProofSearch::Nodes() const {
  return impl_->nodes;
}

}  // namespace ostravel
