#include "problems/cp_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <system_error>

#include "chess/fen.h"
#include "config/paths.h"
#include "config/safe_file.h"
#include "problems/cp_lexer.h"

namespace ostravel {

namespace {

constexpr const char* kMsgEof = "Unexpected end of file.";
constexpr const char* kMsgInvalid = "Invalid data";
constexpr const char* kMsgIdentExpected = "Alphanumeric identifier expected. Found: ";
constexpr const char* kMsgOpenExpected = "Opening bracket expected.";
constexpr const char* kMsgCloseExpected = "Closing bracket expected.";
constexpr const char* kMsgDescColon = "Colon ':' expected after description identifier.";
constexpr const char* kMsgFenColon = "Colon ':' expected after FEN identifier.";
constexpr const char* kMsgWhiteIdent = "White figures identifier expected (W, WH or WHITE).";
constexpr const char* kMsgWhiteColon = "Colon ':' expected after white figures identifier.";
constexpr const char* kMsgBlackIdent = "Black figures identifier expected (B, BL or BLACK).";
constexpr const char* kMsgBlackColon = "Colon expected after black figures identifier.";
constexpr const char* kMsgDefaultIncorrect = "Incorrect 'default' clause.";
constexpr const char* kMsgDefaultError = "Error in 'default' clause.";

constexpr const char* kReadError = "Error reading file.";
constexpr const char* kWriteError = "Error writing file.";

struct ParseError {
  std::string message;
  CpToken at;  // the offending lexeme (kEnd at the end of the text)
};

bool IsAlnum(std::string_view s) {
  if (s.empty()) return false;
  for (char c : s)
    if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))) return false;
  return true;
}

// Decimal digits only, within [lo, hi].
bool ParseNumber(std::string_view s, uint64_t lo, uint64_t hi, uint64_t& out) {
  if (s.empty() || s.size() > 18) return false;
  uint64_t v = 0;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
    v = v * 10 + static_cast<uint64_t>(c - '0');
  }
  if (v < lo || v > hi) return false;
  out = v;
  return true;
}

bool IsOneOf(std::string_view word, std::initializer_list<const char*> names) {
  for (const char* n : names)
    if (EqualsNoCase(word, n)) return true;
  return false;
}

bool IsDefaultClause(const CpToken& t) {
  return t.kind == CpTokenKind::kSpecial && StartsWithNoCase(t.text, "//!default");
}

// Square text "e4" (file in either case), -1 when it is not one.
int ReadSquare(std::string_view s) {
  if (s.size() != 2) return -1;
  char f = s[0];
  if (f >= 'A' && f <= 'H') f = static_cast<char>(f - 'A' + 'a');
  if (f < 'a' || f > 'h' || s[1] < '1' || s[1] > '8') return -1;
  return (s[1] - '1') * 8 + (f - 'a');
}

// Line ends would break the line-oriented format; a carriage return inside
// a line is read and written as a blank.
std::string OneLine(std::string_view s) {
  std::string out(s);
  for (char& c : out)
    if (c == '\n' || c == '\r') c = ' ';
  return out;
}

// Options that "//!default" clauses set for the records that follow.
struct Defaults {
  uint16_t moves = 0;  // 0: every record gives its own "#n"
  std::string descriptionPrefix;
};

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text), lex_(text) {}

  TCollectionReadResult Run() {
    TCollectionReadResult result;
    int record = 0;
    for (;;) {
      const CpToken t = lex_.Peek();
      if (t.kind == CpTokenKind::kEnd) break;
      if (IsDefaultClause(t)) {
        lex_.Next();
        try {
          ApplyDefault(t);
        } catch (const ParseError& e) {
          Keep(result, {0, t.line, e.message, std::string(Capped(t.text))});
        }
        continue;
      }
      ++record;
      TProblem p;
      try {
        ParseRecord(p);
        result.problems.push_back(std::move(p));
      } catch (const ParseError& e) {
        Resync(e.at, t.begin);
        const std::string_view recordText = Trim(text_.substr(t.begin, lex_.Pos() - t.begin));
        Keep(result, {record, e.at.line, e.message, std::string(Capped(recordText))});
      }
    }
    return result;
  }

 private:
  static void Keep(TCollectionReadResult& r, TCollectionReadError e) {
    if (r.errors.size() < kMaxKeptReadErrors)
      r.errors.push_back(std::move(e));
    else
      ++r.moreErrors;
  }
  // The text of a record in error is shown to the user: a page at most.
  static std::string_view Capped(std::string_view s) { return s.substr(0, 4096); }

  [[noreturn]] static void Fail(const std::string& msg, const CpToken& at) { throw ParseError{msg, at}; }

  // The error for a lexeme found where an identifier or number is required.
  [[noreturn]] static void Unexpected(const CpToken& t) {
    if (t.kind == CpTokenKind::kEnd) Fail(kMsgEof, t);
    if (t.kind == CpTokenKind::kError) Fail(std::string(t.text), t);
    Fail(kMsgIdentExpected + TextForMessage(t.text), t);
  }

  // A lexeme that must be present; lexical errors and the end are reported.
  CpToken NextPresent() {
    const CpToken t = lex_.Next();
    if (t.kind == CpTokenKind::kEnd) Fail(kMsgEof, t);
    if (t.kind == CpTokenKind::kError) Fail(std::string(t.text), t);
    return t;
  }

  CpToken NextIdentifier() {
    const CpToken t = lex_.Next();
    if (t.kind != CpTokenKind::kWord || !IsAlnum(t.text)) Unexpected(t);
    return t;
  }

  void ExpectColon(const char* msg) {
    const CpToken t = NextPresent();
    if (t.kind != CpTokenKind::kColon) Fail(msg, t);
  }

  void ParseRecord(TProblem& p) {
    CpToken t = lex_.Next();
    if (t.kind == CpTokenKind::kHash) {
      const CpToken n = NextIdentifier();
      uint64_t v = 0;
      if (!ParseNumber(n.text, 1, kMaxStipulationMoves, v)) Fail(kMsgInvalid, n);
      p.moves = static_cast<uint16_t>(v);
    } else if (t.kind == CpTokenKind::kError) {
      Fail(std::string(t.text), t);
    } else if (defaults_.moves) {
      p.moves = defaults_.moves;
      lex_.Rewind(t);
    } else {
      Fail(kMsgInvalid, t);
    }

    ParseHeaders(p);

    t = NextPresent();
    if (t.kind != CpTokenKind::kOpen) Fail(kMsgOpenExpected, t);

    t = NextIdentifier();
    std::string description;
    if (IsOneOf(t.text, {"D", "DESC", "DESCRIPTION"})) {
      ExpectColon(kMsgDescColon);
      description = OneLine(Trim(lex_.RestOfLine()));
      t = NextIdentifier();
    }
    if (!defaults_.descriptionPrefix.empty())
      description = defaults_.descriptionPrefix + (description.empty() ? "" : " " + description);
    p.description = std::move(description);

    if (EqualsNoCase(t.text, "FEN")) {
      ExpectColon(kMsgFenColon);
      const std::string fen(Trim(lex_.RestOfLine()));
      if (!p.SetFen(fen)) Fail(kMsgInvalid, t);
    } else if (IsOneOf(t.text, {"W", "WH", "WHITE"})) {
      ExpectColon(kMsgWhiteColon);
      uint8_t board[64] = {};
      ParseFigureList(kWhite, board);
      t = NextIdentifier();
      if (!IsOneOf(t.text, {"B", "BL", "BLACK"})) Fail(kMsgBlackIdent, t);
      ExpectColon(kMsgBlackColon);
      ParseFigureList(kBlack, board);
      std::memcpy(p.position.initialBoard, board, 64);
      // A bare board grants every castling right its king and rooks allow.
      p.position.rootCastling = CastlingRightsOfBoard(board);
      p.position.rootEpSquare = -1;
      p.whiteToMove = true;
    } else {
      Fail(kMsgWhiteIdent, t);
    }

    t = NextPresent();
    if (t.kind != CpTokenKind::kClose) Fail(kMsgCloseExpected, t);
  }

  void ParseHeaders(TProblem& p) {
    bool inTags = false, haveVariants = false, haveSort = false, haveTmpReg = false;
    for (;;) {
      const CpToken t = lex_.Peek();
      if (t.kind != CpTokenKind::kSpecial) return;
      lex_.Next();
      const std::string_view s = t.text.substr(2);  // after "//"
      if (s[0] == '#') {
        const std::string_view body = Trim(s.substr(1));
        if (EqualsNoCase(body, "TAGS")) {
          inTags = true;
        } else if (!inTags) {
          Fail(kMsgInvalid, t);
        } else if (!body.empty()) {
          p.tags.push_back(OneLine(body));
        }
        continue;
      }
      inTags = false;
      if (s[0] == '!') {
        const std::string_view body = Trim(s.substr(1));
        if (StartsWithNoCase(body, "default")) Fail(kMsgDefaultError, t);
        if (!EqualsNoCase(body, "VARIANTS") || haveVariants) Fail(kMsgInvalid, t);
        haveVariants = true;
        ParseVariants(p);
      } else if (StartsWithNoCase(s, "@SortIndications")) {
        const std::string_view rest = Trim(s.substr(std::strlen("@SortIndications")));
        if (rest.empty() || rest[0] != ':' || haveSort) Fail(kMsgInvalid, t);
        haveSort = true;
        p.sortIndications = OneLine(Trim(rest.substr(1)));
      } else {  // "@tmpreg="
        const std::string_view value = Trim(s.substr(std::strlen("@tmpreg=")));
        if (!IsAlnum(value)) Fail(kMsgIdentExpected + TextForMessage(value), t);
        uint64_t v = 0;
        if (!ParseNumber(value, 0, UINT32_MAX, v) || haveTmpReg) Fail(kMsgInvalid, t);
        haveTmpReg = true;
        p.tmpRegFile = static_cast<uint32_t>(v);
      }
    }
  }

  // The lines after "//!VARIANTS" up to "//!ENDVARIANTS": "//!name: line; line"
  // with the moves of a line separated by blanks; "none" for no line at all.
  void ParseVariants(TProblem& p) {
    for (;;) {
      const CpToken t = NextPresent();
      if (t.kind != CpTokenKind::kSpecial || t.text[2] != '!') Fail(kMsgInvalid, t);
      const std::string_view body = t.text.substr(3);
      if (EqualsNoCase(Trim(body), "ENDVARIANTS")) return;
      const size_t colon = body.find(':');
      if (colon == std::string_view::npos) Fail(kMsgInvalid, t);
      TVariant v;
      v.name = OneLine(Trim(body.substr(0, colon)));
      const std::string_view moves = Trim(body.substr(colon + 1));
      if (!EqualsNoCase(moves, "none")) {
        size_t i = 0;
        while (i <= moves.size()) {
          size_t end = moves.find(';', i);
          if (end == std::string_view::npos) end = moves.size();
          std::vector<std::string> line;
          const std::string_view seg = moves.substr(i, end - i);
          size_t j = 0;
          while (j < seg.size()) {
            while (j < seg.size() && (seg[j] == ' ' || seg[j] == '\t' || seg[j] == '\r')) ++j;
            const size_t start = j;
            while (j < seg.size() && seg[j] != ' ' && seg[j] != '\t' && seg[j] != '\r') ++j;
            if (j > start) line.emplace_back(seg.substr(start, j - start));
          }
          // "none" as a line of its own is no line either, as the writer
          // would write a variant without lines.
          if (!line.empty() && !(line.size() == 1 && EqualsNoCase(line[0], "none")))
            v.lines.push_back(std::move(line));
          i = end + 1;
        }
      }
      p.variants.push_back(std::move(v));
    }
  }

  void ParseFigureList(uint8_t colour, uint8_t board[64]) {
    // An empty list: the next lexeme is no figure, or is the next identifier.
    const CpToken first = lex_.Peek();
    if (first.kind != CpTokenKind::kWord) return;
    {
      CpLexer ahead = lex_;
      ahead.Next();
      if (ahead.Next().kind == CpTokenKind::kColon) return;
    }
    for (;;) {
      const CpToken t = lex_.Next();
      if (t.kind != CpTokenKind::kWord) Unexpected(t);
      PlaceFigure(t, colour, board);
      if (lex_.Peek().kind != CpTokenKind::kComma) return;
      lex_.Next();
    }
  }

  // "Ke1", "Pe2" or "e2" (a pawn by its square alone).
  static void PlaceFigure(const CpToken& t, uint8_t colour, uint8_t board[64]) {
    const bool white = colour == kWhite;
    const std::string_view item = t.text;
    uint8_t kind = kPawn;
    std::string_view square = item;
    if (!(item.size() == 2 && item[0] >= 'a' && item[0] <= 'h')) {
      kind = KindFromLetter(item[0]);
      if (!kind)
        Fail(
            std::string(white ? "White" : "Black") + " figure specification is invalid: " + std::string(item),
            t);
      square = item.substr(1);
    }
    const int sq = ReadSquare(square);
    if (sq < 0)
      Fail(std::string(white ? "White" : "Black") + " figure position is invalid: " + std::string(item), t);
    if (board[sq]) Fail("Square " + SquareToString(sq) + " already occupied.", t);
    board[sq] = static_cast<uint8_t>(colour | kind);
  }

  // "//!default #n", "//!default Description: text" or "//!default none".
  void ApplyDefault(const CpToken& t) {
    std::string_view rest = t.text.substr(std::strlen("//!default"));
    if (!rest.empty() && rest[0] != ' ' && rest[0] != '\t') Fail(kMsgDefaultIncorrect, t);
    rest = Trim(rest);
    if (rest.empty()) Fail(kMsgDefaultIncorrect, t);
    if (EqualsNoCase(rest, "none")) {
      defaults_ = Defaults{};
      return;
    }
    if (rest[0] == '#') {
      const std::string_view digits = Trim(rest.substr(1));
      if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos)
        Fail(kMsgDefaultIncorrect, t);
      uint64_t v = 0;
      if (!ParseNumber(digits, 1, kMaxStipulationMoves, v)) Fail(kMsgDefaultError, t);
      defaults_.moves = static_cast<uint16_t>(v);
      return;
    }
    size_t n = 0;
    while (n < rest.size() && IsAlnum(rest.substr(n, 1))) ++n;
    if (!IsOneOf(rest.substr(0, n), {"D", "DESC", "DESCRIPTION"})) Fail(kMsgDefaultIncorrect, t);
    const std::string_view after = Trim(rest.substr(n));
    if (after.empty() || after[0] != ':') Fail(kMsgDefaultIncorrect, t);
    defaults_.descriptionPrefix = OneLine(Trim(after.substr(1)));
  }

  // Moves past a record in error: to the lexeme that caused it when that
  // starts the next record, else to the next line that begins with "#" or
  // "//!default".
  void Resync(const CpToken& at, size_t recordStart) {
    if ((at.kind == CpTokenKind::kHash || IsDefaultClause(at)) && at.begin > recordStart &&
        lex_.FirstOnLine(at)) {
      lex_.Rewind(at);
      return;
    }
    lex_.SkipLine();
    for (;;) {
      const CpToken t = lex_.Next();
      if (t.kind == CpTokenKind::kEnd) return;
      if ((t.kind == CpTokenKind::kHash || IsDefaultClause(t)) && lex_.FirstOnLine(t)) {
        lex_.Rewind(t);
        return;
      }
      lex_.SkipLine();
    }
  }

  std::string_view text_;
  CpLexer lex_;
  Defaults defaults_;
};

}  // namespace

std::string TCollectionReadError::Describe() const {
  std::string s;
  if (record > 0) s += "Record " + std::to_string(record) + ", ";
  s += "line " + std::to_string(line) + ": " + message;
  return s;
}

TCollectionReadResult ReadCollection(std::string_view text) {
  // The file is UTF-8; a byte-order mark is dropped.
  if (text.size() >= 3 && std::memcmp(text.data(), "\xEF\xBB\xBF", 3) == 0) text.remove_prefix(3);
  return Reader(text).Run();
}

std::string NormalizeMoveCountPhrases(std::string_view d) {
  static constexpr std::string_view kAfter = "After ";
  static constexpr std::string_view kSuffixes[] = {" move(s): ", " moves: "};
  std::string out;
  size_t i = 0;
  for (;;) {
    const size_t at = d.find(kAfter, i);
    if (at == std::string_view::npos) break;
    size_t k = at + kAfter.size();
    while (k < d.size() && d[k] >= '0' && d[k] <= '9') ++k;
    std::string_view digits = d.substr(at + kAfter.size(), k - at - kAfter.size());
    size_t suffixLen = 0;
    for (std::string_view suffix : kSuffixes)
      if (d.substr(k, suffix.size()) == suffix) suffixLen = suffix.size();
    if (digits.empty() || !suffixLen) {
      out.append(d.substr(i, at + kAfter.size() - i));
      i = at + kAfter.size();
      continue;
    }
    while (digits.size() > 1 && digits[0] == '0') digits.remove_prefix(1);
    out.append(d.substr(i, at - i));
    out.append(kAfter).append(digits).append(" move(s): ");
    i = k + suffixLen;
  }
  out.append(d.substr(i));
  return out;
}

std::string WriteProblem(const TProblem& p) {
  // Built by appending: GCC 12 warns falsely (-Wrestrict) on literal + string.
  std::string s;
  s.append("#").append(std::to_string(p.moves)).append("\n");
  bool tagsOpen = false;
  for (const std::string& tag : p.tags) {
    const std::string t = OneLine(tag);
    if (Trim(t).empty()) continue;
    if (!tagsOpen) s.append("//#TAGS\n");
    tagsOpen = true;
    s.append("//#").append(t).append("\n");
  }
  if (!p.variants.empty()) {
    s.append("//!VARIANTS\n");
    for (const TVariant& v : p.variants) {
      std::string name = OneLine(v.name);
      for (char& c : name)
        if (c == ':') c = '-';  // the first colon ends the name
      s.append("//!").append(name).append(":");
      if (v.lines.empty()) s.append(" none");
      for (size_t i = 0; i < v.lines.size(); ++i) {
        s.append(i ? "; " : " ");
        for (size_t j = 0; j < v.lines[i].size(); ++j) {
          if (j) s.append(" ");
          s.append(OneLine(v.lines[i][j]));
        }
      }
      s.append("\n");
    }
    s.append("//!ENDVARIANTS\n");
  }
  if (!p.sortIndications.empty())
    s.append("//@SortIndications: ").append(OneLine(p.sortIndications)).append("\n");
  if (p.tmpRegFile) s.append("//@tmpreg=").append(std::to_string(*p.tmpRegFile)).append("\n");
  s.append("{\n  Description: ").append(NormalizeMoveCountPhrases(OneLine(p.description))).append("\n");
  s.append("  FEN: ").append(p.Fen()).append("\n}\n");
  return s;
}

std::string WriteCollection(const std::vector<TProblem>& problems) {
  std::string s;
  for (size_t i = 0; i < problems.size(); ++i) {
    if (i) s += "\n";
    s += WriteProblem(problems[i]);
  }
  return s;
}

std::string TCollectionReadResult::MoreErrorsText() const {
  if (moreErrors == 0) return {};
  return "... and " + std::to_string(moreErrors) + " more error" + (moreErrors == 1 ? "" : "s");
}

TCollectionReadResult LoadCollectionFile(const std::filesystem::path& path) {
  std::string text;
  try {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) throw CollectionFileError(kReadError);
    std::ifstream in(path, std::ios::binary);
    if (!in) throw CollectionFileError(kReadError);
    text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (in.bad()) throw CollectionFileError(kReadError);
  } catch (const CollectionFileError&) {
    throw;
  } catch (const std::exception&) {
    // The stream library's own texts mean nothing to the user.
    throw CollectionFileError(kReadError);
  }
  TCollectionReadResult r = ReadCollection(text);
  r.stamp = StampOfRead(path, text);
  return r;
}

namespace {

// An exclusive lock on the collection for the time of a save (released on
// destruction); a file that does not exist yet needs none.
class TSaveLock {
 public:
  explicit TSaveLock(const std::filesystem::path& path) {
    // A save replaces the file by a rename, so the lock taken may be on a
    // file that is no longer the collection: take it again until it holds
    // the file the path names.
    for (int tries = 0; tries < 100; ++tries) {
      fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
      if (fd_ < 0) return;
      (void)::flock(fd_, LOCK_EX);
      struct stat held {
      }, named{};
      if (::fstat(fd_, &held) == 0 && ::stat(path.c_str(), &named) == 0 && held.st_dev == named.st_dev &&
          held.st_ino == named.st_ino)
        return;
      ::close(fd_);
      fd_ = -1;
    }
  }
  ~TSaveLock() {
    if (fd_ >= 0) ::close(fd_);
  }
  TSaveLock(const TSaveLock&) = delete;
  TSaveLock& operator=(const TSaveLock&) = delete;

 private:
  int fd_ = -1;
};

}  // namespace

void SaveCollectionFile(const std::filesystem::path& path, const std::vector<TProblem>& problems,
                        const TFileStamp* readStamp) {
  namespace fs = std::filesystem;
  const std::string text = WriteCollection(problems);
  fs::path bak = path;
  bak += ".BAK";
  std::error_code ec;
  const TSaveLock lock(path);
  if (readStamp && StampOfFile(path) != *readStamp) throw CollectionFileError(kMsgChangedExternally);
  try {
    TSafeFileWriter writer(path);
    writer.Write(text);
    writer.Sync();
    // The copy is made only once the new text is safely written, and the
    // same safe way, so a failure keeps the previous copy.
    if (fs::exists(path, ec)) SafeCopyFile(path, bak);
    writer.Commit();
  } catch (const SafeFileError& e) {
    throw CollectionFileError(std::string(kWriteError) + " " + e.what());
  }
}

std::filesystem::path EnsureUserCollection(const std::filesystem::path& dataFolder) {
  namespace fs = std::filesystem;
  std::error_code ec;
  fs::create_directories(dataFolder, ec);
  const fs::path path = dataFolder / kUserCollectionFileName;
  if (fs::exists(path, ec)) return path;
  try {
    SafeWriteFile(path, "");
  } catch (const SafeFileError& e) {
    throw CollectionFileError(std::string(kWriteError) + " " + e.what());
  }
  return path;
}

std::filesystem::path EnsureUserCollection() {
  std::filesystem::path folder;
  try {
    folder = DataFolder();
  } catch (const std::filesystem::filesystem_error&) {
    throw CollectionFileError(kWriteError);
  }
  return EnsureUserCollection(folder);
}

}  // namespace ostravel
