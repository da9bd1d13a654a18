#pragma once
// Reader and writer of ini text with the semantics of the Windows profile
// functions that users' "options.ini" files were written against:
//
// - "[name]" opens a section; section and key names compare without regard to
//   ASCII case; blanks around names and values are ignored.
// - A line "key=value" belongs to the last section opened above it; lines
//   before the first section belong to none and are never found.
// - Lines starting with ';' or '#' are comments. A line without '=' is a key
//   with no value.
// - The first occurrence of a key counts (duplicate sections are searched in
//   file order).
// - A value enclosed in a pair of matching quotes (' or ") is read without them.
// - An integer is an optional sign followed by leading decimal digits
//   ("12abc" is 12, "abc" is 0); an empty value, a missing key, section or
//   file gives the default.
//
// Editing keeps every line it does not touch byte for byte: comments, unknown
// keys, other sections, their order, CRLF or LF line ends and a UTF-8 BOM.
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostravel {

class TIniFile {
 public:
  TIniFile() = default;

  static TIniFile FromText(std::string_view text);

  // Replaces the content by the file's. A missing file leaves the object empty
  // and returns false. Throws std::runtime_error when the file exists but
  // cannot be read, so that a later Save never clobbers it.
  bool Load(const std::filesystem::path& path);
  void LoadText(std::string_view text);

  // The raw value of a key (blanks trimmed, enclosing quotes removed), or
  // nothing when the key or its section is missing or the line has no '='.
  std::optional<std::string> Find(std::string_view section, std::string_view key) const;

  int GetInt(std::string_view section, std::string_view key, int def) const;
  long long GetInt64(std::string_view section, std::string_view key, long long def) const;
  // At most maxChars characters (UTF-8 sequences are never split).
  std::string GetString(std::string_view section, std::string_view key, std::string_view def,
                        std::size_t maxChars) const;

  // Sets a key so that GetString returns value (line breaks in it become
  // blanks). Edits the first occurrence in place; a new key goes after the
  // last key of the first matching section, a new section to the end.
  // Throws std::invalid_argument for a section or key name that could not be
  // read back.
  void Set(std::string_view section, std::string_view key, std::string_view value);
  void SetInt(std::string_view section, std::string_view key, long long value);

  std::string Text() const;

  // Writes the text to a temporary file beside path and renames it over
  // path, so a crash leaves either the old or the new file. A symbolic link
  // is followed. Throws std::runtime_error on failure.
  void Save(const std::filesystem::path& path) const;

  // The integer reading of a value text (exposed for callers that take
  // numbers from elsewhere with the same rules).
  static long long ParseLeadingInt(std::string_view text);

 private:
  enum class TKind : unsigned char { kBlank, kComment, kSection, kKey };
  struct TLine {
    std::string text;  // without its line end
    std::string eol;   // "\n", "\r\n" or "" (last line without one)
    TKind kind = TKind::kBlank;
    // kSection: the name; kKey: the key name and, when the line has '=', the
    // value (offsets into text, trimmed).
    std::size_t nameBegin = 0, nameEnd = 0;
    std::size_t valueBegin = 0, valueEnd = 0;
    bool hasValue = false;
  };

  static void Classify(TLine& line);
  static std::string_view Name(const TLine& line) {
    return std::string_view(line.text).substr(line.nameBegin, line.nameEnd - line.nameBegin);
  }
  // Index of the first key line of section/key, or npos.
  std::size_t FindKeyLine(std::string_view section, std::string_view key) const;
  std::string DefaultEol() const;

  std::vector<TLine> m_lines;
  bool m_bBom = false;
};

}  // namespace ostravel
