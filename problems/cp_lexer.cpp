#include "problems/cp_lexer.h"

namespace ostravel {

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

bool IsMark(char c) {
  return c == '#' || c == '{' || c == '}' || c == ':' || c == ',';
}

}  // namespace

std::string_view Trim(std::string_view s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  return s;
}

void CpLexer::SkipSpaceAndComments(CpToken& error) {
  while (pos_ < text_.size()) {
    const char c = text_[pos_];
    if (c == '\n') {
      ++line_;
      ++pos_;
    } else if (IsBlank(c)) {
      ++pos_;
    } else if (c == '/' && pos_ + 1 < text_.size() && text_[pos_ + 1] == '*') {
      const size_t open = pos_;
      const int openLine = line_;
      pos_ += 2;
      for (;;) {
        if (pos_ + 1 >= text_.size()) {
          // Count the lines of the rest so that later positions stay right.
          for (; pos_ < text_.size(); ++pos_)
            if (text_[pos_] == '\n') ++line_;
          error = CpToken{CpTokenKind::kError, kMsgUnclosedComment, open, openLine};
          return;
        }
        if (text_[pos_] == '*' && text_[pos_ + 1] == '/') {
          pos_ += 2;
          break;
        }
        if (text_[pos_] == '\n') ++line_;
        ++pos_;
      }
    } else if (c == '/' && pos_ + 1 < text_.size() && text_[pos_ + 1] == '/') {
      const std::string_view rest = text_.substr(pos_ + 2);
      if (!rest.empty() && (rest[0] == '#' || rest[0] == '!')) return;
      if (StartsWithNoCase(rest, "@SortIndications") || StartsWithNoCase(rest, "@tmpreg=")) return;
      while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
    } else {
      return;
    }
  }
}

CpToken CpLexer::Next() {
  CpToken error;
  SkipSpaceAndComments(error);
  if (error.kind == CpTokenKind::kError) return error;
  CpToken t;
  t.begin = pos_;
  t.line = line_;
  if (pos_ >= text_.size()) {
    t.kind = CpTokenKind::kEnd;
    return t;
  }
  const char c = text_[pos_];
  if (c == '/') {
    if (pos_ + 1 < text_.size() && text_[pos_ + 1] == '/') {
      // Comments were skipped above, so this is a special line.
      size_t end = pos_;
      while (end < text_.size() && text_[end] != '\n') ++end;
      size_t stop = end;
      if (stop > pos_ && text_[stop - 1] == '\r') --stop;
      t.kind = CpTokenKind::kSpecial;
      t.text = text_.substr(pos_, stop - pos_);
      pos_ = end;
      return t;
    }
    ++pos_;
    t.kind = CpTokenKind::kError;
    t.text = kMsgSlash;
    return t;
  }
  if (IsMark(c)) {
    ++pos_;
    t.text = text_.substr(t.begin, 1);
    switch (c) {
      case '#':
        t.kind = CpTokenKind::kHash;
        break;
      case '{':
        t.kind = CpTokenKind::kOpen;
        break;
      case '}':
        t.kind = CpTokenKind::kClose;
        break;
      case ':':
        t.kind = CpTokenKind::kColon;
        break;
      default:
        t.kind = CpTokenKind::kComma;
        break;
    }
    return t;
  }
  while (pos_ < text_.size() && !IsBlank(text_[pos_]) && !IsMark(text_[pos_]) && text_[pos_] != '/') ++pos_;
  t.kind = CpTokenKind::kWord;
  t.text = text_.substr(t.begin, pos_ - t.begin);
  return t;
}

std::string_view CpLexer::RestOfLine() {
  const size_t start = pos_;
  while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
  size_t stop = pos_;
  if (stop > start && text_[stop - 1] == '\r') --stop;
  return text_.substr(start, stop - start);
}

void CpLexer::SkipLine() {
  while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
  if (pos_ < text_.size()) {
    ++pos_;
    ++line_;
  }
}

bool CpLexer::FirstOnLine(const CpToken& t) const {
  for (size_t i = t.begin; i > 0; --i) {
    const char c = text_[i - 1];
    if (c == '\n') return true;
    if (c != ' ' && c != '\t' && c != '\r' && c != '\v' && c != '\f') return false;
  }
  return true;
}

}  // namespace ostravel
