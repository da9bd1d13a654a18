#include "config/ini_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "config/safe_file.h"
#include "config/text_compare.h"

namespace ostravel {

namespace {

constexpr std::string_view kBom = "\xEF\xBB\xBF";

// Ctrl-Z is blank too: old editors ended text files with it.
bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f' || c == '\x1a';
}

void Trim(const std::string& s, std::size_t& begin, std::size_t& end) {
  while (begin < end && IsBlank(s[begin])) ++begin;
  while (end > begin && IsBlank(s[end - 1])) --end;
}

std::string_view StripQuotes(std::string_view v) {
  if (v.size() >= 2 && (v.front() == '"' || v.front() == '\'') && v.back() == v.front())
    return v.substr(1, v.size() - 2);
  return v;
}

// Keeps at most maxChars characters, counting UTF-8 lead bytes so that a
// multi-byte character is never cut in two.
std::string CutChars(std::string_view s, std::size_t maxChars) {
  std::size_t chars = 0;
  for (std::size_t i = 0; i < s.size(); ++i) {
    const auto b = static_cast<unsigned char>(s[i]);
    if ((b & 0xC0) != 0x80) {
      if (chars == maxChars) return std::string(s.substr(0, i));
      ++chars;
    }
  }
  return std::string(s);
}

void CheckName(std::string_view name, bool isSection) {
  bool ok = !name.empty() && !IsBlank(name.front()) && !IsBlank(name.back());
  for (char c : name) {
    if (c == '\n' || c == '\r') ok = false;
    if (isSection ? c == ']' : c == '=') ok = false;
  }
  if (!isSection && ok && (name.front() == '[' || name.front() == ';' || name.front() == '#')) ok = false;
  if (!ok)
    throw std::invalid_argument(std::string("Invalid ini ") + (isSection ? "section" : "key") + " name \"" +
                                std::string(name) + "\"");
}

std::string ErrnoText() {
  return std::strerror(errno);
}

}  // namespace

TIniFile TIniFile::FromText(std::string_view text) {
  TIniFile ini;
  ini.LoadText(text);
  return ini;
}

bool TIniFile::Load(const std::filesystem::path& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ENOENT || errno == ENOTDIR) {
      LoadText({});
      return false;
    }
    throw std::runtime_error("Cannot read file " + path.string() + ": " + ErrnoText());
  }
  std::string data;
  struct stat st {};
  bool ok = ::fstat(fd, &st) == 0;
  if (ok && S_ISDIR(st.st_mode)) {
    errno = EISDIR;
    ok = false;
  }
  if (ok && st.st_size > 0) data.reserve(static_cast<std::size_t>(st.st_size));
  char chunk[65536];
  while (ok) {
    const ssize_t n = ::read(fd, chunk, sizeof chunk);
    if (n == 0) break;
    if (n < 0) {
      ok = errno == EINTR;
      continue;
    }
    data.append(chunk, static_cast<std::size_t>(n));
  }
  const std::string why = ok ? "" : ErrnoText();
  ::close(fd);
  if (!ok) throw std::runtime_error("Cannot read file " + path.string() + ": " + why);
  LoadText(data);
  return true;
}

void TIniFile::LoadText(std::string_view text) {
  m_lines.clear();
  m_bBom = text.substr(0, kBom.size()) == kBom;
  if (m_bBom) text.remove_prefix(kBom.size());
  std::size_t pos = 0;
  while (pos < text.size()) {
    const std::size_t nl = text.find('\n', pos);
    TLine line;
    if (nl == std::string_view::npos) {
      line.text.assign(text.substr(pos));
      pos = text.size();
    } else {
      std::size_t end = nl;
      if (end > pos && text[end - 1] == '\r') {
        --end;
        line.eol = "\r\n";
      } else {
        line.eol = "\n";
      }
      line.text.assign(text.substr(pos, end - pos));
      pos = nl + 1;
    }
    Classify(line);
    m_lines.push_back(std::move(line));
  }
}

void TIniFile::Classify(TLine& line) {
  const std::string& s = line.text;
  std::size_t b = 0, e = s.size();
  Trim(s, b, e);
  line.hasValue = false;
  line.nameBegin = line.nameEnd = line.valueBegin = line.valueEnd = 0;
  if (b == e) {
    line.kind = TKind::kBlank;
    return;
  }
  if (s[b] == ';' || s[b] == '#') {
    line.kind = TKind::kComment;
    return;
  }
  if (s[b] == '[') {
    const std::size_t close = s.rfind(']', e - 1);
    if (close != std::string::npos && close > b) {
      line.kind = TKind::kSection;
      line.nameBegin = b + 1;
      line.nameEnd = close;
      Trim(s, line.nameBegin, line.nameEnd);
      return;
    }
    // Without ']' the platform takes the line for a key; so do we.
  }
  line.kind = TKind::kKey;
  const std::size_t eq = s.find('=', b);
  if (eq == std::string::npos || eq >= e) {
    line.nameBegin = b;
    line.nameEnd = e;
    return;
  }
  line.nameBegin = b;
  line.nameEnd = eq;
  Trim(s, line.nameBegin, line.nameEnd);
  line.hasValue = true;
  line.valueBegin = eq + 1;
  line.valueEnd = e;
  Trim(s, line.valueBegin, line.valueEnd);
}

std::size_t TIniFile::FindKeyLine(std::string_view section, std::string_view key) const {
  bool inSection = false;
  for (std::size_t i = 0; i < m_lines.size(); ++i) {
    const TLine& l = m_lines[i];
    if (l.kind == TKind::kSection)
      inSection = EqualsNoCase(Name(l), section);
    else if (inSection && l.kind == TKind::kKey && EqualsNoCase(Name(l), key))
      return i;
  }
  return std::string::npos;
}

std::optional<std::string> TIniFile::Find(std::string_view section, std::string_view key) const {
  const std::size_t i = FindKeyLine(section, key);
  if (i == std::string::npos || !m_lines[i].hasValue) return std::nullopt;
  const TLine& l = m_lines[i];
  return std::string(StripQuotes(std::string_view(l.text).substr(l.valueBegin, l.valueEnd - l.valueBegin)));
}

long long TIniFile::ParseLeadingInt(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size() && IsBlank(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  // Accumulate towards the sign so that LLONG_MIN is reachable; saturate
  // rather than wrap on overflow.
  long long v = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    const int d = text[i] - '0';
    if (negative) {
      if (v < (LLONG_MIN + d) / 10) return LLONG_MIN;
      v = v * 10 - d;
    } else {
      if (v > (LLONG_MAX - d) / 10) return LLONG_MAX;
      v = v * 10 + d;
    }
  }
  return v;
}

long long TIniFile::GetInt64(std::string_view section, std::string_view key, long long def) const {
  const auto v = Find(section, key);
  if (!v || v->empty()) return def;
  return ParseLeadingInt(*v);
}

int TIniFile::GetInt(std::string_view section, std::string_view key, int def) const {
  const long long v = GetInt64(section, key, def);
  if (v > INT_MAX) return INT_MAX;
  if (v < INT_MIN) return INT_MIN;
  return static_cast<int>(v);
}

std::string TIniFile::GetString(std::string_view section, std::string_view key, std::string_view def,
                                std::size_t maxChars) const {
  const auto v = Find(section, key);
  return CutChars(v ? std::string_view(*v) : def, maxChars);
}

std::string TIniFile::DefaultEol() const {
  for (const TLine& l : m_lines)
    if (!l.eol.empty()) return l.eol;
  return "\n";
}

void TIniFile::Set(std::string_view section, std::string_view key, std::string_view value) {
  CheckName(section, true);
  CheckName(key, false);
  std::string v(value);
  for (char& c : v)
    if (c == '\n' || c == '\r') c = ' ';
  // Quote what trimming or quote stripping would otherwise change.
  if (!v.empty() && (IsBlank(v.front()) || IsBlank(v.back()) ||
                     (v.size() >= 2 && (v.front() == '"' || v.front() == '\'') && v.back() == v.front())))
    v = '"' + v + '"';

  const std::size_t at = FindKeyLine(section, key);
  if (at != std::string::npos) {
    TLine& l = m_lines[at];
    if (l.hasValue) {
      std::size_t keep = l.text.find('=', l.nameEnd) + 1;
      while (keep < l.text.size() && (l.text[keep] == ' ' || l.text[keep] == '\t')) ++keep;
      l.text.resize(keep);
      l.text += v;
    } else {
      l.text.resize(l.nameEnd);
      l.text += '=' + v;
    }
    Classify(l);
    return;
  }

  const std::string eol = DefaultEol();
  std::size_t insertAt = std::string::npos;
  for (std::size_t i = 0; i < m_lines.size(); ++i) {
    if (m_lines[i].kind != TKind::kSection || !EqualsNoCase(Name(m_lines[i]), section)) continue;
    insertAt = i + 1;
    for (std::size_t j = i + 1; j < m_lines.size() && m_lines[j].kind != TKind::kSection; ++j)
      if (m_lines[j].kind == TKind::kKey) insertAt = j + 1;
    break;
  }
  std::vector<TLine> added;
  if (insertAt == std::string::npos) {
    insertAt = m_lines.size();
    if (!m_lines.empty() && m_lines.back().kind != TKind::kBlank) added.push_back(TLine{"", eol});
    added.push_back(TLine{"[" + std::string(section) + "]", eol});
  }
  added.push_back(TLine{std::string(key) + "=" + v, eol});
  for (TLine& l : added) Classify(l);
  if (insertAt > 0 && m_lines[insertAt - 1].eol.empty()) m_lines[insertAt - 1].eol = eol;
  m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(insertAt), added.begin(), added.end());
}

void TIniFile::SetInt(std::string_view section, std::string_view key, long long value) {
  Set(section, key, std::to_string(value));
}

std::string TIniFile::Text() const {
  std::size_t size = m_bBom ? kBom.size() : 0;
  for (const TLine& l : m_lines) size += l.text.size() + l.eol.size();
  std::string out;
  out.reserve(size);
  if (m_bBom) out += kBom;
  for (const TLine& l : m_lines) {
    out += l.text;
    out += l.eol;
  }
  return out;
}

void TIniFile::Save(const std::filesystem::path& path) const {
  // SafeFileError is a runtime_error naming the file and the reason.
  SafeWriteFile(path, Text());
}

}  // namespace ostravel
