#include "problems/popeye_format.h"

#include <cctype>
#include <cstring>
#include <optional>

#include "chess/fen.h"

namespace ostravel {

namespace {

std::string Lower(std::string_view s) {
  std::string r(s);
  for (char& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return r;
}

std::string_view Trim(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

enum class TKeyword {
  kNone,
  kBeginProblem,
  kEndProblem,
  kNextProblem,
  kStipulation,
  kPieces,
  kAuthor,
  kOrigin,
  kTitle,
  kAward,
  kRemark,
  kOption,
  kForsyth,
  kCondition,
  kTwin,
  kZeroPosition,
  kSStipulation,
  kProtocol,
};

struct TKeywordName {
  const char* name;
  TKeyword kw;
};

constexpr TKeywordName kKeywords[] = {
    {"beginproblem", TKeyword::kBeginProblem},
    {"endproblem", TKeyword::kEndProblem},
    {"nextproblem", TKeyword::kNextProblem},
    {"stipulation", TKeyword::kStipulation},
    {"pieces", TKeyword::kPieces},
    {"author", TKeyword::kAuthor},
    {"origin", TKeyword::kOrigin},
    {"title", TKeyword::kTitle},
    {"award", TKeyword::kAward},
    {"remark", TKeyword::kRemark},
    {"option", TKeyword::kOption},
    {"forsyth", TKeyword::kForsyth},
    {"condition", TKeyword::kCondition},
    {"twin", TKeyword::kTwin},
    {"zeroposition", TKeyword::kZeroPosition},
    {"sstipulation", TKeyword::kSStipulation},
    {"protocol", TKeyword::kProtocol},
};

// A keyword by its full name or an unambiguous prefix of three letters or more.
TKeyword KeywordOf(std::string_view word) {
  const std::string w = Lower(word);
  if (w.size() < 3) return TKeyword::kNone;
  TKeyword found = TKeyword::kNone;
  int matches = 0;
  for (const auto& k : kKeywords) {
    if (w == k.name) return k.kw;
    if (std::strncmp(k.name, w.c_str(), w.size()) == 0) {
      found = k.kw;
      ++matches;
    }
  }
  return matches == 1 ? found : TKeyword::kNone;
}

bool IsPrefixOf(std::string_view word, const char* full, size_t minLen) {
  const std::string w = Lower(word);
  return w.size() >= minLen && w.size() <= std::strlen(full) && std::strncmp(full, w.c_str(), w.size()) == 0;
}

// Squares written one after another ("a2b3c4"); false when the text is not such a list.
bool ParseSquareList(std::string_view s, std::vector<int>& out) {
  if (s.empty() || s.size() % 2) return false;
  std::vector<int> r;
  for (size_t i = 0; i < s.size(); i += 2) {
    const char f = static_cast<char>(std::tolower(static_cast<unsigned char>(s[i])));
    const char rk = s[i + 1];
    if (f < 'a' || f > 'h' || rk < '1' || rk > '8') return false;
    r.push_back(SquareOf(f - 'a', rk - '1'));
  }
  out.insert(out.end(), r.begin(), r.end());
  return true;
}

// The text read word by word, or the rest of a line at once.
class TCursor {
 public:
  explicit TCursor(std::string_view text) : text_(text) {
    if (text_.substr(0, 3) == "\xEF\xBB\xBF") pos_ = 3;
  }

  // The next word, or nullopt at the end; wordLine() is its line.
  std::optional<std::string_view> Next() {
    SkipBlanks();
    if (pos_ >= text_.size()) return std::nullopt;
    const size_t start = pos_;
    while (pos_ < text_.size() && !std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
    wordLine_ = line_;
    return text_.substr(start, pos_ - start);
  }
  std::optional<std::string_view> Peek() {
    const size_t p = pos_;
    const int l = line_;
    auto w = Next();
    pos_ = p;
    line_ = l;
    return w;
  }
  // The rest of the current line, trimmed.
  std::string RestOfLine() {
    const size_t start = pos_;
    while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
    return std::string(Trim(text_.substr(start, pos_ - start)));
  }
  int wordLine() const { return wordLine_; }

 private:
  void SkipBlanks() {
    while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) {
      if (text_[pos_] == '\n') ++line_;
      ++pos_;
    }
  }
  std::string_view text_;
  size_t pos_ = 0;
  int line_ = 1;
  int wordLine_ = 1;
};

struct TDraft {
  uint8_t board[64] = {};
  std::vector<std::string> authors;
  std::string origin, award, title;
  int moves = 0;
  std::vector<int> noCastling;
  int epSquare = -1;
  bool any = false;  // something was given

  std::string Description() const {
    std::string author;
    for (const auto& a : authors) author += (author.empty() ? "" : " & ") + a;
    std::string d;
    const std::string* parts[] = {&author, &origin, &award, &title};
    for (const std::string* part : parts)
      if (!part->empty()) d += (d.empty() ? "" : ", ") + *part;
    return d;
  }
};

struct TParseError {
  int line;
  std::string message;
};

uint8_t KindOfPopeyeLetter(char c) {
  switch (std::tolower(static_cast<unsigned char>(c))) {
    case 'k':
      return kKing;
    case 'q':
      return kQueen;
    case 'r':
      return kRook;
    case 'b':
      return kBishop;
    case 's':
      return kKnight;
    case 'p':
      return kPawn;
  }
  return 0;
}

char PopeyeLetterOf(uint8_t kind) {
  switch (kind) {
    case kKing:
      return 'K';
    case kQueen:
      return 'Q';
    case kRook:
      return 'R';
    case kBishop:
      return 'B';
    case kKnight:
      return 'S';
    case kPawn:
      return 'P';
  }
  return '?';
}

// The pieces section: colour words, each followed by piece words.
void ReadPieces(TCursor& c, TDraft& d) {
  uint8_t colour = 0;
  while (auto w = c.Peek()) {
    if (KeywordOf(*w) != TKeyword::kNone) break;
    c.Next();
    const int line = c.wordLine();
    if (IsPrefixOf(*w, "white", 3)) {
      colour = kWhite;
      continue;
    }
    if (IsPrefixOf(*w, "black", 3)) {
      colour = kBlack;
      continue;
    }
    if (IsPrefixOf(*w, "neutral", 3))
      throw TParseError{line, "neutral pieces cannot be carried by a #n problem"};
    if (!colour) throw TParseError{line, "White or Black expected before " + std::string(*w)};
    // A piece name of one or two letters followed by one or more squares.
    std::vector<int> squares;
    size_t nameLen = 0;
    for (size_t l = 1; l <= 2 && l < w->size(); ++l)
      if (ParseSquareList(w->substr(l), squares)) {
        nameLen = l;
        break;
      }
    if (!nameLen) {
      // An attribute word ("royal", "chameleon", ...) or a piece without squares.
      throw TParseError{line, "piece or attribute " + std::string(*w) + " cannot be carried by a #n problem"};
    }
    const std::string name = Lower(w->substr(0, nameLen));
    const uint8_t kind = nameLen == 1 ? KindOfPopeyeLetter(name[0]) : 0;
    if (!kind) throw TParseError{line, "fairy piece " + name + " cannot be carried by a #n problem"};
    for (int sq : squares) {
      if (d.board[sq]) throw TParseError{line, "Square " + SquareToString(sq) + " already occupied."};
      d.board[sq] = static_cast<uint8_t>(colour | kind);
    }
    d.any = true;
  }
}

void ReadOptions(TCursor& c, TDraft& d, std::vector<std::string>& notes) {
  while (auto w = c.Peek()) {
    if (KeywordOf(*w) != TKeyword::kNone) break;
    c.Next();
    const int line = c.wordLine();
    const bool noCastling = IsPrefixOf(*w, "nocastling", 4);
    const bool ep = IsPrefixOf(*w, "enpassant", 4);
    if (noCastling || ep) {
      std::vector<int> squares;
      while (auto s = c.Peek()) {
        if (!ParseSquareList(*s, squares)) break;
        c.Next();
      }
      if (squares.empty()) throw TParseError{line, std::string(*w) + " needs squares"};
      if (noCastling) {
        d.noCastling.insert(d.noCastling.end(), squares.begin(), squares.end());
      } else {
        if (squares.size() > 1) throw TParseError{line, "EnPassant names one square in a #n problem"};
        d.epSquare = squares.front();
      }
      continue;
    }
    // Options of the solver's output (Try, Defence 1, Variation, ...) say
    // nothing about the problem; they are not kept.
    if (!std::isdigit(static_cast<unsigned char>((*w)[0])))
      notes.push_back("line " + std::to_string(line) + ": option " + std::string(*w) + " not kept");
  }
}

// Builds the problem of a finished draft; throws TParseError.
TProblem Finish(const TDraft& d, int line) {
  if (!d.moves) throw TParseError{line, "Stipulation missing"};
  TProblem p;
  p.moves = static_cast<uint16_t>(d.moves);
  p.description = d.Description();
  std::memcpy(p.position.initialBoard, d.board, 64);
  uint8_t rights = CastlingRightsOfBoard(d.board);
  for (int sq : d.noCastling) {
    if (sq == kE1) rights &= static_cast<uint8_t>(~(kCastleWK | kCastleWQ));
    if (sq == kH1) rights &= static_cast<uint8_t>(~kCastleWK);
    if (sq == kA1) rights &= static_cast<uint8_t>(~kCastleWQ);
    if (sq == kE8) rights &= static_cast<uint8_t>(~(kCastleBK | kCastleBQ));
    if (sq == kH8) rights &= static_cast<uint8_t>(~kCastleBK);
    if (sq == kA8) rights &= static_cast<uint8_t>(~kCastleBQ);
  }
  p.position.rootCastling = rights;
  if (d.epSquare >= 0) {
    // White to move: a black pawn has just passed over the square. The
    // square it arrived on is read as naming the same double step.
    const int sq = RankOf(d.epSquare) == 4 && d.board[d.epSquare] == BP ? d.epSquare + 8 : d.epSquare;
    if (RankOf(sq) != 5 || d.board[sq] || d.board[sq + 8] || d.board[sq - 8] != BP)
      throw TParseError{line, "EnPassant " + SquareToString(sq) + " is not possible in the position"};
    p.position.rootEpSquare = static_cast<int8_t>(sq);
  }
  p.whiteToMove = true;
  TChessboard b;
  TTaskContext ctx;
  try {
    p.MakeRoot(b, ctx, true);
  } catch (const ChessException& e) {
    throw TParseError{line, e.what()};
  }
  return p;
}

}  // namespace

std::string TPopeyeError::Describe() const {
  return "Problem " + std::to_string(problem) + ", line " + std::to_string(line) + ": " + message;
}

TPopeyeReadResult ReadPopeye(std::string_view text) {
  TPopeyeReadResult res;
  TCursor c(text);
  TDraft d;
  int number = 1;
  bool inProblem = false, failed = false;
  auto fail = [&](const TParseError& e) {
    res.errors.push_back({number, e.line, e.message});
    failed = true;
  };
  auto close = [&](int line) {
    if (!failed) {
      try {
        res.problems.push_back(Finish(d, line));
      } catch (const TParseError& e) {
        fail(e);
      }
    }
    d = TDraft{};
    failed = false;
    ++number;
  };
  while (auto w = c.Next()) {
    const int line = c.wordLine();
    const TKeyword kw = KeywordOf(*w);
    if (!inProblem) {
      if (kw != TKeyword::kBeginProblem) {
        res.errors.push_back({number, line, "BeginProblem expected, found " + std::string(*w)});
        return res;
      }
      inProblem = true;
      continue;
    }
    // After an error the rest of the problem is passed over.
    if (failed && kw != TKeyword::kEndProblem && kw != TKeyword::kNextProblem) continue;
    try {
      switch (kw) {
        case TKeyword::kEndProblem:
          close(line);
          inProblem = false;
          break;
        case TKeyword::kNextProblem:
          close(line);
          break;
        case TKeyword::kBeginProblem:
          throw TParseError{line, "EndProblem expected before BeginProblem"};
        case TKeyword::kAuthor:
          if (std::string a = c.RestOfLine(); !a.empty()) d.authors.push_back(std::move(a));
          break;
        case TKeyword::kOrigin:
          d.origin = c.RestOfLine();
          break;
        case TKeyword::kTitle:
          d.title = c.RestOfLine();
          break;
        case TKeyword::kAward:
          d.award = c.RestOfLine();
          break;
        case TKeyword::kRemark:
          res.notes.push_back("line " + std::to_string(line) + ": Remark " + c.RestOfLine() + " not kept");
          break;
        case TKeyword::kProtocol:
          c.RestOfLine();
          break;
        case TKeyword::kStipulation: {
          const auto s = c.Next();
          if (!s) throw TParseError{line, "Stipulation needs a value"};
          const std::string_view n = s->substr(s->empty() ? 0 : 1);
          const bool digits =
              !n.empty() && n.size() <= 5 && n.find_first_not_of("0123456789") == std::string_view::npos;
          if (s->front() != '#' || !digits || std::stoi(std::string(n)) < 1 ||
              std::stoi(std::string(n)) > kMaxStipulationMoves)
            throw TParseError{line,
                              "stipulation " + std::string(*s) + " cannot be carried: only directmates #n"};
          d.moves = std::stoi(std::string(n));
          break;
        }
        case TKeyword::kPieces:
          ReadPieces(c, d);
          break;
        case TKeyword::kOption:
          ReadOptions(c, d, res.notes);
          break;
        case TKeyword::kForsyth: {
          auto f = c.Next();
          if (!f) throw TParseError{line, "Forsyth needs a board"};
          TTaskContext ctx;
          bool white = true;
          if (!FenToTask(std::string(*f) + " w - - 0 1", ctx, white))
            throw TParseError{line, "Forsyth board invalid: " + std::string(*f)};
          std::memcpy(d.board, ctx.initialBoard, 64);
          d.any = true;
          break;
        }
        case TKeyword::kCondition:
          throw TParseError{line, "fairy condition " + c.RestOfLine() + " cannot be carried by a #n problem"};
        case TKeyword::kTwin:
        case TKeyword::kZeroPosition:
          throw TParseError{line, "twins cannot be carried: write each twin as a problem of its own"};
        case TKeyword::kSStipulation:
          throw TParseError{line, "SStipulation cannot be carried: only directmates #n"};
        case TKeyword::kNone:
          throw TParseError{line, "keyword expected, found " + std::string(*w)};
      }
    } catch (const TParseError& e) {
      fail(e);
    }
  }
  if (inProblem) res.errors.push_back({number, 0, "EndProblem missing at the end of the text"});
  return res;
}

bool WritePopeyeProblem(const TProblem& p, std::string& out, std::string& error) {
  if (!p.whiteToMove) {
    error = "Black to move (the defence task) cannot be carried: Popeye's #n has White to move";
    return false;
  }
  std::string s = "BeginProblem\n";
  // "Sample" marks a problem whose author and source are unknown: no author.
  std::string d = p.description == kUnattributedDescription ? std::string() : p.description;
  // A quoted last part is the title ("Sam Loyd, \"Excelsior\""); the reader
  // puts the title last, so the description reads back as written.
  std::string title;
  if (d.size() >= 2 && d.back() == '"') {
    const size_t q = d.rfind('"', d.size() - 2);
    if (q == 0) {
      title.swap(d);
    } else if (q != std::string::npos && q >= 3 && d.compare(q - 2, 2, ", ") == 0 &&
               !std::isspace(static_cast<unsigned char>(d[q - 3]))) {
      title = d.substr(q);
      d.resize(q - 2);
    }
  }
  if (!d.empty()) {
    // Split where both parts read back as written (the reader trims them).
    const size_t comma = d.find(", ");
    const bool split = comma != std::string::npos && comma > 0 &&
                       !std::isspace(static_cast<unsigned char>(d[comma - 1])) && comma + 2 < d.size() &&
                       !std::isspace(static_cast<unsigned char>(d[comma + 2]));
    s += "Author " + (split ? d.substr(0, comma) : d) + "\n";
    if (split) s += "Origin " + d.substr(comma + 2) + "\n";
  }
  if (!title.empty()) s += "Title " + title + "\n";
  const uint8_t* board = p.position.initialBoard;
  s += "Pieces\n";
  for (uint8_t colour : {kWhite, kBlack}) {
    std::string list;
    for (uint8_t kind : {kKing, kQueen, kRook, kBishop, kKnight, kPawn})
      for (int sq = 0; sq < 64; ++sq)
        if (board[sq] == (colour | kind))
          list += std::string(" ") + PopeyeLetterOf(kind) + SquareToString(sq);
    if (!list.empty()) s += std::string("  ") + (colour == kWhite ? "White" : "Black") + list + "\n";
  }
  s += "Stipulation #" + std::to_string(p.moves) + "\n";
  // Rights the board would allow but the problem does not grant.
  const uint8_t lost = CastlingRightsOfBoard(board) & static_cast<uint8_t>(~p.position.rootCastling);
  std::string options;
  auto side = [&](uint8_t k, uint8_t q, const char* king, const char* kRook, const char* qRook) {
    if ((lost & k) && (lost & q))
      options += std::string(" ") + king;
    else if (lost & k)
      options += std::string(" ") + kRook;
    else if (lost & q)
      options += std::string(" ") + qRook;
  };
  std::string noCastling;
  std::swap(options, noCastling);
  side(kCastleWK, kCastleWQ, "e1", "h1", "a1");
  side(kCastleBK, kCastleBQ, "e8", "h8", "a8");
  std::swap(options, noCastling);
  if (!noCastling.empty()) options += " NoCastling" + noCastling;
  if (p.position.rootEpSquare >= 0) options += " EnPassant " + SquareToString(p.position.rootEpSquare);
  if (!options.empty()) s += "Option" + options + "\n";
  s += "EndProblem\n";
  out = std::move(s);
  return true;
}

}  // namespace ostravel
