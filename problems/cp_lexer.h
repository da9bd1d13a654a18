#pragma once
// Lexer of ".cp" collection files.
//
// Blanks, tabs and line ends separate lexemes. "//" starts a comment to the end
// of the line, except the special lines "//#...", "//!...",
// "//@SortIndications..." and "//@tmpreg=...", which come back whole as one
// lexeme. "/*" opens a block comment closed by "*/". The parser may take the
// raw rest of a line (descriptions and FEN text are not lexed).
#include <cstddef>
#include <string>
#include <string_view>

#include "config/text_compare.h"

namespace ostravel {

enum class CpTokenKind {
  kEnd,      // end of the text
  kHash,     // "#"
  kOpen,     // "{"
  kClose,    // "}"
  kColon,    // ":"
  kComma,    // ","
  kWord,     // a run of characters other than blanks and the marks above and "/"
  kSpecial,  // a whole special comment line, from "//" to the end of the line
  kError,    // a lexical error; text holds the message
};

struct CpToken {
  CpTokenKind kind = CpTokenKind::kEnd;
  std::string_view text;  // the lexeme (for kError the message)
  size_t begin = 0;       // offset of the lexeme in the source text
  int line = 1;           // 1-based line of the lexeme
};

inline constexpr const char* kMsgUnclosedComment = "Unexpected end of file before comment closed.";
inline constexpr const char* kMsgSlash = "Unexpected lexem (slash).";

class CpLexer {
 public:
  explicit CpLexer(std::string_view text) : text_(text) {}

  CpToken Next();
  // The lexeme Next() would return, without consuming it.
  CpToken Peek() const {
    CpLexer copy = *this;
    return copy.Next();
  }
  // The raw text from the current position to the end of the line (the line
  // end and a carriage return before it are left out); consumes it but not
  // the line end.
  std::string_view RestOfLine();
  // Moves to the start of the next line (or to the end of the text).
  void SkipLine();
  // Puts the lexer back to the start of a lexeme it returned earlier.
  void Rewind(const CpToken& t) {
    pos_ = t.begin;
    line_ = t.line;
  }
  // True when only blanks precede the lexeme on its line.
  bool FirstOnLine(const CpToken& t) const;

  size_t Pos() const { return pos_; }
  int Line() const { return line_; }
  std::string_view Text() const { return text_; }

 private:
  void SkipSpaceAndComments(CpToken& error);

  std::string_view text_;
  size_t pos_ = 0;
  int line_ = 1;
};

// Drops blanks, tabs, carriage returns and line ends at both ends.
std::string_view Trim(std::string_view s);

}  // namespace ostravel
