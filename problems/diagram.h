#pragma once
// The diagram of a problem as SVG, in the style of problem publications:
// hatched dark squares, a heavy frame, the description and the stipulation
// with the piece count ("#3  (5+3)") under the board. Pieces are the chess
// glyphs U+2654..U+265F of DejaVu Sans (a white piece is the solid glyph
// filled white under its outline), so no artwork needs shipping. Each piece
// is a group carrying data-piece (its FEN letter) and data-square, so tools
// can read a diagram back.
#include <string>

#include "problems/problem.h"

namespace ostravel {

struct TDiagramOptions {
  int squareSize = 48;          // pixels
  bool showDescription = true;  // the description lines under the board
  bool showStipulation = true;  // "#n" and the piece count
};

std::string DiagramSvg(const TProblem& p, const TDiagramOptions& opt = {});

// Whether this build renders PNG (it found librsvg and cairo).
bool DiagramPngAvailable();
// The SVG rendered as PNG at the size it names; empty on failure, or without
// PNG output, with the reason in `error`.
std::string SvgToPng(const std::string& svg, std::string& error);

// Text escaped for XML character data and attribute values.
std::string XmlEscape(const std::string& s);

}  // namespace ostravel
