#include "problems/epd.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "chess/fen.h"
#include "chess/notation.h"

namespace ostravel {

namespace {

std::string_view Trim(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

// Splits at blanks; a double-quoted operand stays one word (quotes kept).
bool SplitWords(std::string_view s, std::vector<std::string>& out) {
  size_t i = 0;
  while (i < s.size()) {
    if (std::isspace(static_cast<unsigned char>(s[i]))) {
      ++i;
      continue;
    }
    size_t j = i;
    if (s[i] == '"') {
      j = s.find('"', i + 1);
      if (j == std::string_view::npos) return false;
      ++j;
    } else {
      while (j < s.size() && !std::isspace(static_cast<unsigned char>(s[j]))) ++j;
    }
    out.emplace_back(s.substr(i, j - i));
    i = j;
  }
  return true;
}

bool IsInteger(const std::string& s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string Unquote(std::string_view s) {
  s = Trim(s);
  if (s.size() >= 2 && s.front() == '"' && s.back() == '"') s = s.substr(1, s.size() - 2);
  return std::string(s);
}

}  // namespace

bool ParseEpdLine(std::string_view line, TEpdRecord& out, std::string& error) {
  out = TEpdRecord{};
  line = Trim(line);
  // The four position fields come first, separated by blanks.
  std::string fields[4];
  size_t pos = 0;
  for (int f = 0; f < 4; ++f) {
    while (pos < line.size() && std::isspace(static_cast<unsigned char>(line[pos]))) ++pos;
    const size_t start = pos;
    while (pos < line.size() && !std::isspace(static_cast<unsigned char>(line[pos])) && line[pos] != ';')
      ++pos;
    fields[f] = std::string(line.substr(start, pos - start));
    if (fields[f].empty()) {
      error = "an EPD line starts with four position fields (board, side, castling, e.p.)";
      return false;
    }
  }
  if (fields[1] != "w" && fields[1] != "b") {
    error = "side to move must be w or b: " + fields[1];
    return false;
  }
  out.fen = fields[0] + " " + fields[1] + " " + fields[2] + " " + fields[3] + " 0 1";
  TTaskContext ctx;
  bool white = true;
  if (!FenToTask(out.fen, ctx, white)) {
    error = "invalid position: " + out.fen;
    return false;
  }
  std::string_view rest = line.substr(pos);
  // Many files carry the FEN's move counters before the opcodes.
  {
    std::vector<std::string> words;
    if (SplitWords(rest.substr(0, rest.find(';')), words) && words.size() >= 2 && IsInteger(words[0]) &&
        IsInteger(words[1])) {
      rest = Trim(rest);
      rest.remove_prefix(words[0].size());
      rest = Trim(rest);
      rest.remove_prefix(words[1].size());
    }
  }
  // Operations end with ';' (the last one may lack it); quotes protect ';'.
  size_t i = 0;
  while (true) {
    while (i < rest.size() && std::isspace(static_cast<unsigned char>(rest[i]))) ++i;
    if (i >= rest.size()) break;
    size_t j = i;
    bool quoted = false;
    while (j < rest.size() && (quoted || rest[j] != ';')) {
      if (rest[j] == '"') quoted = !quoted;
      ++j;
    }
    if (quoted) {
      error = "unclosed quote";
      return false;
    }
    const std::string_view op = Trim(rest.substr(i, j - i));
    i = j + 1;
    if (op.empty()) continue;
    size_t k = 0;
    while (k < op.size() && !std::isspace(static_cast<unsigned char>(op[k]))) ++k;
    const std::string code(op.substr(0, k));
    const std::string_view operands = Trim(op.substr(k));
    if (!std::isalpha(static_cast<unsigned char>(code[0])) ||
        !std::all_of(code.begin(), code.end(),
                     [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; })) {
      error = "opcode expected: " + code;
      return false;
    }
    if (code == "dm") {
      const std::string n(operands);
      if (!IsInteger(n) || n.size() > 5 || std::stoi(n) < 1 || std::stoi(n) > kMaxStipulationMoves) {
        error = "dm needs a number of moves from 1 to 32767: " + n;
        return false;
      }
      out.dm = std::stoi(n);
    } else if (code == "bm") {
      if (!SplitWords(operands, out.bm) || out.bm.empty()) {
        error = "bm needs at least one move";
        return false;
      }
    } else if (code == "id") {
      out.id = Unquote(operands);
    } else {
      out.otherOps.emplace_back(code, std::string(operands));
    }
  }
  return true;
}

TEpdReadResult ReadEpd(std::string_view text) {
  TEpdReadResult res;
  int lineNo = 0;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(pos, end - pos);
    pos = end + 1;
    ++lineNo;
    if (lineNo == 1 && line.substr(0, 3) == "\xEF\xBB\xBF") line.remove_prefix(3);
    line = Trim(line);
    if (line.empty() || line[0] == '#' || line[0] == '%') continue;
    TEpdRecord r;
    std::string error;
    if (ParseEpdLine(line, r, error)) {
      r.line = lineNo;
      res.records.push_back(std::move(r));
    } else {
      res.errors.push_back({lineNo, error});
    }
  }
  return res;
}

std::string WriteEpdLine(const TEpdRecord& r) {
  // The position fields without the move counters.
  std::string s = r.fen;
  for (int cut = 0; cut < 2; ++cut) {
    const size_t sp = s.rfind(' ');
    if (sp != std::string::npos && std::count(s.begin(), s.end(), ' ') > 3) s.erase(sp);
  }
  // The e.p. square in lower case, as other programs write it.
  if (const size_t sp = s.rfind(' '); sp != std::string::npos)
    for (size_t i = sp + 1; i < s.size(); ++i)
      s[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(s[i])));
  if (r.dm) s += " dm " + std::to_string(r.dm) + ";";
  if (!r.bm.empty()) {
    s += " bm";
    for (const auto& m : r.bm) s += " " + m;
    s += ";";
  }
  if (!r.id.empty()) {
    std::string id = r.id;
    std::replace(id.begin(), id.end(), '"', '\'');
    s += " id \"" + id + "\";";
  }
  for (const auto& [code, operands] : r.otherOps)
    s += " " + code + (operands.empty() ? "" : " " + operands) + ";";
  return s;
}

std::string MoveToSan(const TChessboard& b, const TMove& m) {
  const uint8_t piece = b.board[m.from & 63];
  const uint8_t kind = KindOf(piece);
  std::string s;
  if (kind == kKing && (FileOf(m.from) - FileOf(m.to) >= 2 || FileOf(m.to) - FileOf(m.from) >= 2)) {
    s = FileOf(m.to) == 6 ? "O-O" : "O-O-O";
  } else {
    const bool capture = b.board[m.to & 63] != 0 || (kind == kPawn && FileOf(m.from) != FileOf(m.to));
    if (kind == kPawn) {
      if (capture) s += static_cast<char>('a' + FileOf(m.from));
    } else {
      s += KindLetter(kind);
      // Disambiguation among the other pieces of the kind that reach the square.
      TMove legal[kMaxMoves];
      const int n = GenerateLegalMoves(b, legal);
      bool clash = false, sameFile = false, sameRank = false;
      for (int i = 0; i < n; ++i) {
        const TMove& o = legal[i];
        if (o.to != m.to || o.from == m.from || b.board[o.from] != piece) continue;
        clash = true;
        sameFile |= FileOf(o.from) == FileOf(m.from);
        sameRank |= RankOf(o.from) == RankOf(m.from);
      }
      if (clash) {
        if (!sameFile)
          s += static_cast<char>('a' + FileOf(m.from));
        else if (!sameRank)
          s += static_cast<char>('1' + RankOf(m.from));
        else
          s += SquareToString(m.from);
      }
    }
    if (capture) s += 'x';
    s += SquareToString(m.to);
    if (m.promotion) {
      s += '=';
      s += KindLetter(m.promotion);
    }
  }
  TChessboard next;
  if (PlayMove(b, next, m) >= 1 && InCheck(next)) s += HasLegalMove(next) ? "+" : "#";
  return s;
}

bool ParseAnyMove(const TChessboard& b, std::string_view text, TMove& out) {
  std::string t(Trim(text));
  while (!t.empty() && (t.back() == '+' || t.back() == '#' || t.back() == '!' || t.back() == '?'))
    t.pop_back();
  if (t.empty()) return false;
  if (ParseUciMove(b, t, out)) return true;
  try {
    if (ParseFullMove(b, t.c_str(), out)) return true;
  } catch (const ChessException&) {
    // Not a legal move in full notation; SAN may still read it.
  }
  // SAN: compare with the SAN of every legal move, marks and "x" left out
  // and castling written with either O or 0.
  auto norm = [](std::string s) {
    std::string r;
    for (char c : s) {
      if (c == '+' || c == '#' || c == 'x' || c == ':' || c == '=') continue;
      r += c == '0' ? 'O' : c;
    }
    return r;
  };
  const std::string want = norm(t);
  TMove legal[kMaxMoves];
  const int n = GenerateLegalMoves(b, legal);
  int found = 0;
  for (int i = 0; i < n; ++i)
    if (norm(MoveToSan(b, legal[i])) == want) {
      out = legal[i];
      ++found;
    }
  return found == 1;
}

bool EpdToProblem(const TEpdRecord& r, TProblem& out, std::string& error) {
  TProblem p;
  if (!p.SetFen(r.fen)) {
    error = "invalid position: " + r.fen;
    return false;
  }
  if (!r.dm) {
    error = "no dm opcode: the stipulation is missing";
    return false;
  }
  if (!p.whiteToMove) {
    error = "Black to move: a \"#n\" problem has White to move";
    return false;
  }
  p.moves = static_cast<uint16_t>(r.dm);
  p.description = r.id;
  TChessboard root;
  TTaskContext ctx;
  try {
    p.MakeRoot(root, ctx, true);
  } catch (const ChessException& e) {
    error = e.what();
    return false;
  }
  if (!r.bm.empty()) {
    TVariant v;
    v.name = "Main";
    for (const auto& text : r.bm) {
      TMove m;
      if (!ParseAnyMove(root, text, m)) {
        error = "bm " + text + " is no legal move of the position";
        return false;
      }
      v.lines.push_back({MoveToText(root, m)});
    }
    p.variants.push_back(std::move(v));
  }
  out = std::move(p);
  return true;
}

bool ProblemToEpd(const TProblem& p, TEpdRecord& out, std::string& error) {
  if (!p.whiteToMove) {
    error = "Black to move (the defence task) has no dm form";
    return false;
  }
  TEpdRecord r;
  r.fen = p.Fen();
  r.dm = p.moves;
  r.id = p.description;
  if (const TVariant* main = p.MainVariant()) {
    TChessboard root;
    TTaskContext ctx;
    try {
      p.MakeRoot(root, ctx, true);
    } catch (const ChessException& e) {
      error = e.what();
      return false;
    }
    for (const auto& line : main->lines) {
      std::vector<TMove> moves;
      if (line.empty() || !ParseVariantLine(p, line, moves, nullptr, 1) || moves.empty()) continue;
      r.bm.push_back(MoveToSan(root, moves.front()));
    }
  }
  out = std::move(r);
  return true;
}

TFenListReadResult ReadFenList(std::string_view text, int defaultMoves) {
  TFenListReadResult res;
  int lineNo = 0;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = Trim(text.substr(pos, end - pos));
    pos = end + 1;
    ++lineNo;
    if (lineNo == 1 && line.substr(0, 3) == "\xEF\xBB\xBF") line.remove_prefix(3);
    if (line.empty() || line[0] == '#') continue;
    int moves = defaultMoves;
    const size_t hash = line.rfind(" #");
    if (hash != std::string_view::npos) {
      const std::string n(Trim(line.substr(hash + 2)));
      if (!IsInteger(n) || n.size() > 5 || std::stoi(n) < 1 || std::stoi(n) > kMaxStipulationMoves) {
        res.errors.push_back({lineNo, "stipulation #" + n + " is not a number of moves from 1 to 32767"});
        continue;
      }
      moves = std::stoi(n);
      line = Trim(line.substr(0, hash));
    }
    TProblem p;
    if (!p.SetFen(std::string(line))) {
      res.errors.push_back({lineNo, "invalid FEN: " + std::string(line)});
      continue;
    }
    if (!moves) {
      res.errors.push_back(
          {lineNo, "no stipulation: append \" #n\" to the line or give the number of moves"});
      continue;
    }
    if (!p.whiteToMove) {
      res.errors.push_back({lineNo, "Black to move: a \"#n\" problem has White to move"});
      continue;
    }
    p.moves = static_cast<uint16_t>(moves);
    TChessboard root;
    TTaskContext ctx;
    try {
      p.MakeRoot(root, ctx, true);
    } catch (const ChessException& e) {
      res.errors.push_back({lineNo, e.what()});
      continue;
    }
    res.problems.push_back(std::move(p));
  }
  return res;
}

std::string WriteFenList(const std::vector<TProblem>& problems) {
  std::string s;
  for (const auto& p : problems) {
    std::string fen = p.Fen();
    // The e.p. field (the fourth) in lower case, as other programs write it.
    size_t field = 0;
    for (size_t i = 0; i < fen.size(); ++i) {
      if (fen[i] == ' ') ++field;
      if (field == 3) fen[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(fen[i])));
    }
    s += fen + "\n";
  }
  return s;
}

TTaskContext MirrorColours(const TTaskContext& ctx) {
  TTaskContext m;
  for (int sq = 0; sq < 64; ++sq) {
    const uint8_t c = ctx.initialBoard[sq ^ 56];
    m.initialBoard[sq] =
        c ? static_cast<uint8_t>((c & ~kColourMask) | (ColourOf(c) == kWhite ? kBlack : kWhite)) : 0;
  }
  m.rootCastling = static_cast<uint8_t>(((ctx.rootCastling & (kCastleWK | kCastleWQ)) << 2) |
                                        ((ctx.rootCastling & (kCastleBK | kCastleBQ)) >> 2));
  m.rootEpSquare = ctx.rootEpSquare < 0 ? -1 : static_cast<int8_t>(ctx.rootEpSquare ^ 56);
  return m;
}

TMove MirrorMove(const TMove& m) {
  TMove r = m;
  r.from = static_cast<uint8_t>(m.from ^ 56);
  r.to = static_cast<uint8_t>(m.to ^ 56);
  return r;
}

}  // namespace ostravel
