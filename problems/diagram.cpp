#include "problems/diagram.h"

#include <cstdio>
#include <vector>

namespace ostravel {

namespace {

// Solid (black) glyph of a kind: U+265A king .. U+265F pawn; the outline
// (white) glyph is 6 code points lower.
int SolidGlyph(uint8_t kind) {
  switch (kind) {
    case kKing:
      return 0x265A;
    case kQueen:
      return 0x265B;
    case kRook:
      return 0x265C;
    case kBishop:
      return 0x265D;
    case kKnight:
      return 0x265E;
    default:
      return 0x265F;
  }
}

std::string Utf8(int cp) {
  std::string s;
  s += static_cast<char>(0xE0 | (cp >> 12));
  s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
  s += static_cast<char>(0x80 | (cp & 0x3F));
  return s;
}

size_t Utf8Length(const std::string& s) {
  size_t n = 0;
  for (unsigned char c : s) n += (c & 0xC0) != 0x80;
  return n;
}

// Lines of at most `width` characters, broken at blanks.
std::vector<std::string> Wrap(const std::string& text, size_t width) {
  std::vector<std::string> lines;
  std::string cur;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find(' ', pos);
    if (end == std::string::npos) end = text.size();
    const std::string word = text.substr(pos, end - pos);
    pos = end + 1;
    if (word.empty()) continue;
    if (!cur.empty() && Utf8Length(cur) + 1 + Utf8Length(word) > width) {
      lines.push_back(cur);
      cur.clear();
    }
    cur += (cur.empty() ? "" : " ") + word;
  }
  if (!cur.empty()) lines.push_back(cur);
  return lines;
}

std::string Num(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.6g", v);
  return buf;
}

}  // namespace

std::string XmlEscape(const std::string& text) {
  // Byte sequences that are not UTF-8 would make the document unreadable:
  // each such byte becomes U+FFFD.
  std::string s;
  for (size_t i = 0; i < text.size();) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    const size_t len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
    bool ok = len && i + len <= text.size();
    for (size_t k = 1; ok && k < len; ++k) ok = (static_cast<unsigned char>(text[i + k]) & 0xC0) == 0x80;
    if (ok) {
      s.append(text, i, len);
      i += len;
    } else {
      s += "\xEF\xBF\xBD";
      ++i;
    }
  }
  std::string r;
  for (char c : s) {
    switch (c) {
      case '&':
        r += "&amp;";
        break;
      case '<':
        r += "&lt;";
        break;
      case '>':
        r += "&gt;";
        break;
      case '"':
        r += "&quot;";
        break;
      case '\'':
        r += "&apos;";
        break;
      default:
        // Control characters are not allowed in XML 1.0.
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\t') r += c;
    }
  }
  return r;
}

std::string DiagramSvg(const TProblem& p, const TDiagramOptions& opt) {
  const double sq = opt.squareSize > 8 ? opt.squareSize : 48;
  const double margin = sq / 4, frame = sq / 16;
  const double board = 8 * sq;
  const double textSize = sq * 0.36;
  const double lineStep = textSize * 1.35;
  std::vector<std::string> descr;
  if (opt.showDescription && !p.description.empty())
    descr = Wrap(p.description, static_cast<size_t>(board / (textSize * 0.62)));
  const double below = lineStep * (descr.size() + (opt.showStipulation ? 1 : 0)) +
                       (descr.empty() && !opt.showStipulation ? 0 : margin / 2);
  const double width = board + 2 * margin, height = board + 2 * margin + below;
  const double x0 = margin, y0 = margin;

  std::string s;
  s += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  s += "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"" + Num(width) + "\" height=\"" +
       Num(height) + "\" viewBox=\"0 0 " + Num(width) + " " + Num(height) + "\">\n";
  const double hatch = sq / 10;
  s += "<defs><pattern id=\"hatch\" patternUnits=\"userSpaceOnUse\" width=\"" + Num(hatch) + "\" height=\"" +
       Num(hatch) + "\" patternTransform=\"rotate(45)\"><rect width=\"" + Num(hatch) + "\" height=\"" +
       Num(hatch) + "\" fill=\"#ffffff\"/><line x1=\"0\" y1=\"0\" x2=\"0\" y2=\"" + Num(hatch) +
       "\" stroke=\"#000000\" stroke-width=\"" + Num(hatch * 0.45) + "\"/></pattern></defs>\n";
  s += "<rect width=\"" + Num(width) + "\" height=\"" + Num(height) + "\" fill=\"#ffffff\"/>\n";
  s += "<g class=\"board\">\n";
  for (int rank = 7; rank >= 0; --rank)
    for (int file = 0; file < 8; ++file)
      if ((file + rank) % 2 == 0)  // a1 is dark
        s += "<rect x=\"" + Num(x0 + file * sq) + "\" y=\"" + Num(y0 + (7 - rank) * sq) + "\" width=\"" +
             Num(sq) + "\" height=\"" + Num(sq) + "\" fill=\"url(#hatch)\"/>\n";
  s += "<rect x=\"" + Num(x0 - frame / 2) + "\" y=\"" + Num(y0 - frame / 2) + "\" width=\"" +
       Num(board + frame) + "\" height=\"" + Num(board + frame) +
       "\" fill=\"none\" stroke=\"#000000\" stroke-width=\"" + Num(frame) + "\"/>\n</g>\n";

  s += "<g class=\"pieces\" font-family=\"DejaVu Sans\" font-size=\"" + Num(sq * 0.98) +
       "\" text-anchor=\"middle\">\n";
  int whiteCount = 0, blackCount = 0;
  for (int rank = 7; rank >= 0; --rank)
    for (int file = 0; file < 8; ++file) {
      const int square = SquareOf(file, rank);
      const uint8_t code = p.position.initialBoard[square];
      if (!IsValidPieceCode(code)) continue;
      const bool white = ColourOf(code) == kWhite;
      (white ? whiteCount : blackCount)++;
      const std::string x = Num(x0 + (file + 0.5) * sq), y = Num(y0 + (7 - rank) * sq + sq * 0.85);
      const int solid = SolidGlyph(KindOf(code));
      s += "<g class=\"piece\" data-piece=\"" + std::string(1, PieceLetter(code)) + "\" data-square=\"" +
           SquareToString(square) + "\">";
      if (white) {
        s += "<text x=\"" + x + "\" y=\"" + y + "\" fill=\"#ffffff\">" + Utf8(solid) + "</text>";
        s += "<text x=\"" + x + "\" y=\"" + y + "\" fill=\"#000000\">" + Utf8(solid - 6) + "</text>";
      } else {
        s += "<text x=\"" + x + "\" y=\"" + y + "\" fill=\"#000000\">" + Utf8(solid) + "</text>";
      }
      s += "</g>\n";
    }
  s += "</g>\n";

  double y = y0 + board + margin / 2 + lineStep * 0.8;
  if (!descr.empty() || opt.showStipulation)
    s += "<g class=\"caption\" font-family=\"DejaVu Sans\" font-size=\"" + Num(textSize) +
         "\" fill=\"#000000\">\n";
  for (const auto& line : descr) {
    s += "<text class=\"description\" x=\"" + Num(x0) + "\" y=\"" + Num(y) + "\">" + XmlEscape(line) +
         "</text>\n";
    y += lineStep;
  }
  if (opt.showStipulation) {
    std::string stip = "#" + std::to_string(p.moves);
    if (!p.whiteToMove) stip += "  Black to move";
    s += "<text class=\"stipulation\" x=\"" + Num(x0) + "\" y=\"" + Num(y) + "\" font-weight=\"bold\">" +
         XmlEscape(stip) + "</text>\n";
    s += "<text class=\"count\" x=\"" + Num(x0 + board) + "\" y=\"" + Num(y) + "\" text-anchor=\"end\">(" +
         std::to_string(whiteCount) + "+" + std::to_string(blackCount) + ")</text>\n";
  }
  if (!descr.empty() || opt.showStipulation) s += "</g>\n";
  s += "</svg>\n";
  return s;
}

}  // namespace ostravel
