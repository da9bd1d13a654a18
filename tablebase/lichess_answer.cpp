// The answer reader scans for `"key":` and reads the value behind it; it never
// builds a document. Its rules on odd answers are fixed:
// - wdl: the first "wdl" key; null or empty gives unknown; >= 1 win, 0 draw,
//   < 0 loss. Without a readable wdl the first "category" decides ("win" and
//   "cursed-win" win, "loss" and "blessed-loss" loss, "draw" draw, anything
//   else unknown) and the position's dtm is then absent. Neither key: the
//   whole record is unknown.
// - dtm: null or empty is absent, else the number (absent outside 16 bits).
// - dtz: null or empty unknown; >= 0 capped at 254; -255..-1 its magnitude;
//   anything else unknown.
// - moves: no "moves" key gives move count -1; else each following "uci" is
//   one entry, with the next "wdl" (or, when no "wdl" follows, the next
//   "category"), the next "dtm" (none: the list is unusable) and the next
//   "dtz". A move text that is not two squares and an optional promotion
//   letter q, r, b or n makes the list unusable.
// - "Next" and "first" stop where the value's owner ends: the position's keys
//   are looked for before "moves", a move's keys inside its own {...}. A key
//   missing there is missing, never borrowed from a neighbour, whose value
//   would skip keys or invent mates.
#include "tablebase/lichess_answer.h"

#include <algorithm>
#include <cstring>

#include "chess/board.h"

namespace ostravel {

namespace {

constexpr std::size_t npos = std::string_view::npos;

// Position just after `"name":` at or after `from`, or npos.
std::size_t FindKey(std::string_view text, std::size_t from, std::string_view name) {
  std::string pattern;
  pattern.reserve(name.size() + 3);
  pattern += '"';
  pattern += name;
  pattern += "\":";
  if (from >= text.size()) return npos;
  const std::size_t at = text.find(pattern, from);
  return at == npos ? npos : at + pattern.size();
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::size_t SkipBlanks(std::string_view text, std::size_t at) {
  while (at < text.size() && IsBlank(text[at])) ++at;
  return at;
}

enum class TValueKind { kNull, kEmpty, kNumber, kOther };

struct TValue {
  TValueKind kind = TValueKind::kOther;
  long long number = 0;  // saturated far outside every field's range
};

TValue ReadValue(std::string_view text, std::size_t at) {
  TValue v;
  at = SkipBlanks(text, at);
  if (at >= text.size() || text[at] == ',' || text[at] == '}' || text[at] == ']') {
    v.kind = TValueKind::kEmpty;
    return v;
  }
  if (text.substr(at, 4) == "null") {
    v.kind = TValueKind::kNull;
    return v;
  }
  bool negative = false;
  if (text[at] == '-' || text[at] == '+') {
    negative = text[at] == '-';
    ++at;
  }
  if (at >= text.size() || text[at] < '0' || text[at] > '9') return v;  // kOther
  long long n = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
    n = std::min(n * 10 + (text[at] - '0'), 1LL << 40);
  v.kind = TValueKind::kNumber;
  v.number = negative ? -n : n;
  return v;
}

int8_t WdlOfNumber(long long n) {
  return n >= 1 ? 1 : (n == 0 ? 0 : -1);
}

// The quoted text after a "category" key mapped to a wdl.
int8_t WdlOfCategory(std::string_view text, std::size_t at) {
  at = SkipBlanks(text, at);
  if (at >= text.size() || text[at] != '"') return kWdlUnknown;
  const std::size_t end = text.find('"', at + 1);
  if (end == npos) return kWdlUnknown;
  const std::string_view c = text.substr(at + 1, end - at - 1);
  if (c == "win" || c == "cursed-win") return 1;
  if (c == "loss" || c == "blessed-loss") return -1;
  if (c == "draw") return 0;
  return kWdlUnknown;
}

int16_t DtmOf(const TValue& v) {
  if (v.kind != TValueKind::kNumber || v.number < -32767 || v.number > 32767) return kDtmAbsent;
  return static_cast<int16_t>(v.number);
}

uint8_t DtzOf(const TValue& v) {
  if (v.kind != TValueKind::kNumber) return kDtzUnknown;
  if (v.number >= 0) return static_cast<uint8_t>(std::min<long long>(v.number, kDtzCap));
  if (v.number > -256) return static_cast<uint8_t>(-v.number);
  return kDtzUnknown;
}

int SquareOfText(char file, char rank) {
  if (file < 'a' || file > 'h' || rank < '1' || rank > '8') return -1;
  return (rank - '1') * 8 + (file - 'a');
}

uint8_t PromotionCode(char c) {
  switch (c) {
    case 'q':
      return WQ;
    case 'r':
      return WR;
    case 'b':
      return WB;
    case 'n':
      return WN;
    default:
      return 0;
  }
}

// The move list after `from` (just behind "moves":). False: unusable.
bool ReadMoves(std::string_view text, std::size_t from, std::vector<TLiChessMove>& out) {
  std::size_t at = from;
  for (;;) {
    const std::size_t uci = FindKey(text, at, "uci");
    if (uci == npos) return true;
    if (static_cast<int>(out.size()) >= kMaxAnswerMoves) return false;
    std::size_t p = SkipBlanks(text, uci);
    if (p < text.size() && text[p] == '"') ++p;
    if (text.size() - std::min(p, text.size()) < 5) return false;
    TLiChessMove m;
    // The entry's own object: move objects hold no nested ones.
    const std::size_t close = text.find('}', p);
    const std::string_view entry = text.substr(0, close == npos ? text.size() : close);
    const int f = SquareOfText(text[p], text[p + 1]);
    const int t = SquareOfText(text[p + 2], text[p + 3]);
    if (f < 0 || t < 0) return false;
    m.from = static_cast<uint8_t>(f);
    m.to = static_cast<uint8_t>(t);
    if (text[p + 4] != '"') {
      m.promotion = PromotionCode(text[p + 4]);
      if (!m.promotion) return false;
    }
    const std::size_t wdl = FindKey(entry, p, "wdl");
    if (wdl != npos) {
      const TValue v = ReadValue(entry, wdl);
      m.wdl = v.kind == TValueKind::kNumber ? WdlOfNumber(v.number) : kWdlUnknown;
    } else {
      const std::size_t cat = FindKey(entry, p, "category");
      m.wdl = cat == npos ? kWdlUnknown : WdlOfCategory(entry, cat);
    }
    const std::size_t dtm = FindKey(entry, p, "dtm");
    if (dtm == npos) return false;
    m.dtm = DtmOf(ReadValue(entry, dtm));
    const std::size_t dtz = FindKey(entry, p, "dtz");
    if (dtz != npos) m.dtz = DtzOf(ReadValue(entry, dtz));
    out.push_back(m);
    at = p + 4;
  }
}

}  // namespace

CLiChess ParseLiChessAnswer(std::string_view answer) {
  CLiChess r;
  bool known = false;
  const std::size_t moves = FindKey(answer, 0, "moves");
  // The position's own keys come before its move list.
  const std::string_view text = answer.substr(0, moves == npos ? answer.size() : moves);
  const std::size_t wdl = FindKey(text, 0, "wdl");
  if (wdl != npos) {
    const TValue v = ReadValue(text, wdl);
    if (v.kind == TValueKind::kNumber) {
      r.wdl = WdlOfNumber(v.number);
      known = true;
    } else if (v.kind != TValueKind::kOther) {
      known = true;  // null or empty: an unknown wdl, but the key is there
    }
  }
  if (known) {
    const std::size_t dtm = FindKey(text, 0, "dtm");
    if (dtm != npos) r.dtm = DtmOf(ReadValue(text, dtm));
  } else {
    const std::size_t cat = FindKey(text, 0, "category");
    if (cat == npos) return CLiChess{};
    r.wdl = WdlOfCategory(text, cat);
  }
  const std::size_t dtz = FindKey(text, 0, "dtz");
  if (dtz != npos) r.dtz = DtzOf(ReadValue(text, dtz));
  if (moves == npos) return r;
  std::vector<TLiChessMove> list;
  if (!ReadMoves(answer, moves, list)) return r;
  r.moveCount = static_cast<int16_t>(list.size());
  r.moves = std::move(list);
  return r;
}

std::string LiChessKey(std::string_view fen) {
  std::string k(fen);
  std::replace(k.begin(), k.end(), ' ', '_');
  return k;
}

std::string LiChessTableKey(std::string_view cacheKey) {
  const std::size_t at = cacheKey.rfind('_');
  return std::string(at == npos ? cacheKey : cacheKey.substr(0, at));
}

namespace {

void Put16(std::string& out, int16_t v) {
  const auto u = static_cast<uint16_t>(v);
  out += static_cast<char>(u & 0xFF);
  out += static_cast<char>(u >> 8);
}

int16_t Get16(const unsigned char* p) {
  return static_cast<int16_t>(static_cast<uint16_t>(p[0] | (p[1] << 8)));
}

bool ValidWdl(int8_t w) {
  return w >= kWdlUnknown && w <= 1;
}

bool ValidPromotion(uint8_t c) {
  return c == 0 || c == WQ || c == WR || c == WB || c == WN;
}

}  // namespace

bool AppendCacheRecord(std::string& out, std::string_view key, const CLiChess& rec) {
  const int16_t n = rec.moveCount;
  if (key.empty() || key.size() > 255 || n < -1 || n > kMaxAnswerMoves ||
      static_cast<std::size_t>(std::max<int>(n, 0)) != rec.moves.size())
    return false;
  out += static_cast<char>(key.size());
  out += static_cast<char>(static_cast<uint16_t>(n) & 0xFF);
  out += key;
  out += static_cast<char>(rec.wdl);
  Put16(out, rec.dtm);
  out += static_cast<char>(rec.dtz);
  Put16(out, n);
  for (int i = 0; i < n; ++i) {
    const TLiChessMove& m = rec.moves[i];
    out += static_cast<char>(m.from);
    out += static_cast<char>(m.to);
    out += static_cast<char>(m.promotion);
    out += static_cast<char>(m.reserved);
    out += static_cast<char>(m.wdl);
    Put16(out, m.dtm);
    out += static_cast<char>(m.dtz);
  }
  return true;
}

bool ReadCacheRecords(std::string_view bytes, std::vector<TCacheEntry>* entries, std::string* damage) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
  const std::size_t size = bytes.size();
  std::size_t at = 0;
  auto fail = [&](const char* why) {
    *damage = std::string(why) + " at byte " + std::to_string(at);
    return false;
  };
  while (at < size) {
    if (size - at < 2) return fail("record cut short");
    const std::size_t len = p[at];
    if (len == 0) return fail("record with an empty key");
    if (size - at < len + 8) return fail("record cut short");
    const unsigned char* q = p + at + 2 + len;
    TCacheEntry e;
    e.key.assign(reinterpret_cast<const char*>(p + at + 2), len);
    e.record.wdl = static_cast<int8_t>(q[0]);
    e.record.dtm = Get16(q + 1);
    e.record.dtz = q[3];
    const int16_t n = Get16(q + 4);
    if (n < -1 || n > kMaxAnswerMoves || (static_cast<uint16_t>(n) & 0xFF) != p[at + 1] ||
        !ValidWdl(e.record.wdl))
      return fail("damaged record");
    const std::size_t movesBytes = n > 0 ? 8u * static_cast<unsigned>(n) : 0u;
    if (size - at - len - 8 < movesBytes) return fail("record cut short");
    e.record.moveCount = n;
    const unsigned char* m = q + 6;
    for (int i = 0; i < n; ++i, m += 8) {
      TLiChessMove mv;
      mv.from = m[0];
      mv.to = m[1];
      mv.promotion = m[2];
      mv.reserved = m[3];
      mv.wdl = static_cast<int8_t>(m[4]);
      mv.dtm = Get16(m + 5);
      mv.dtz = m[7];
      if (mv.from > 63 || mv.to > 63 || !ValidPromotion(mv.promotion) || !ValidWdl(mv.wdl))
        return fail("damaged record");
      e.record.moves.push_back(mv);
    }
    entries->push_back(std::move(e));
    at += len + 8 + movesBytes;
  }
  return true;
}

}  // namespace ostravel
