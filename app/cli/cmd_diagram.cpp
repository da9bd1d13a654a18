// ostravel-cli diagram: the diagram of a problem as SVG or PNG.
#include <cstdio>
#include <stdexcept>

#include "command.h"
#include "formats_io.h"
#include "problems/diagram.h"

namespace ostravel::cli {
namespace {

void Help() {
  std::printf(
      "Usage: ostravel-cli diagram FILE [--problem K] [-o OUT.svg|OUT.png] [options]\n"
      "       ostravel-cli diagram --fen \"<FEN>\" --mate N [--description TEXT] [-o OUT]\n\n"
      "Draws the diagram of a problem (of a .cp collection, a Popeye input file, an\n"
      "EPD or FEN list; \"-\" reads standard input) with its description and the\n"
      "stipulation with the piece count under the board. The output format follows\n"
      "from the extension of OUT (.svg or .png); without -o the SVG goes to stdout.\n\n"
      "  --problem K         the K-th problem of the file (default 1)\n"
      "  --from F            format of FILE: cp, popeye, epd, fen\n"
      "  --size PX           size of a square in pixels (default 48)\n"
      "  --no-description    leave the description out\n"
      "  --no-stipulation    leave the stipulation line out\n\n"
      "Pieces are drawn with the chess glyphs of the DejaVu Sans font.\n"
      "Exit codes: 0 written, 1 bad input, 2 the output could not be written.\n");
}

int RunDiagram(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    Help();
    return kExitOk;
  }
  std::string file, out = "-", fen, description;
  int problem = 1, mate = 0;
  TFormat from = TFormat::kUnknown;
  TDiagramOptions opt;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    auto number = [&](int lo, int hi, int& v) {
      if (i + 1 >= args.size()) return false;
      try {
        v = std::stoi(args[++i]);
      } catch (const std::exception&) {
        return false;
      }
      return v >= lo && v <= hi;
    };
    if (a == "-o" || a == "--output") {
      if (i + 1 >= args.size()) return BadInput("diagram: -o needs a file");
      out = args[++i];
    } else if (a == "--problem") {
      if (!number(1, 1000000, problem)) return BadInput("diagram: --problem needs a number from 1");
    } else if (a == "--size") {
      if (!number(12, 400, opt.squareSize)) return BadInput("diagram: --size must be from 12 to 400 pixels");
    } else if (a == "--mate") {
      if (!number(1, 32767, mate)) return BadInput("diagram: --mate must be from 1 to 32767");
    } else if (a == "--fen") {
      if (i + 1 >= args.size()) return BadInput("diagram: --fen needs a FEN");
      fen = args[++i];
    } else if (a == "--description") {
      if (i + 1 >= args.size()) return BadInput("diagram: --description needs a text");
      description = args[++i];
    } else if (a == "--from") {
      if (i + 1 >= args.size() || (from = FormatByName(args[++i])) == TFormat::kUnknown)
        return BadInput("diagram: --from is cp, popeye, epd or fen");
    } else if (a == "--no-description") {
      opt.showDescription = false;
    } else if (a == "--no-stipulation") {
      opt.showStipulation = false;
    } else if ((a == "-" || a.empty() || a[0] != '-') && file.empty()) {
      file = a;
    } else {
      return BadInput("diagram: unknown argument " + a + " (see --help)");
    }
  }
  TProblem p;
  if (!fen.empty()) {
    if (!file.empty()) return BadInput("diagram: give either FILE or --fen");
    if (!p.SetFen(fen)) return BadInput("diagram: invalid FEN: " + fen);
    p.moves = static_cast<uint16_t>(mate ? mate : 2);
    p.description = description;
    opt.showStipulation = opt.showStipulation && mate > 0;
  } else {
    if (file.empty()) return BadInput("diagram: give a problem file or --fen (see --help)");
    std::string text;
    try {
      text = ReadInput(file);
    } catch (const std::exception& e) {
      return BadInput(std::string("diagram: ") + e.what());
    }
    if (from == TFormat::kUnknown) from = file == "-" ? FormatOfText(text) : FormatOfPath(file);
    if (from == TFormat::kUnknown)
      return BadInput("diagram: the format of " + file + " is unknown: use --from");
    const TProblemsRead in = ReadProblems(text, from, mate);
    for (const auto& e : in.errors) std::fprintf(stderr, "ostravel-cli: %s: %s\n", file.c_str(), e.c_str());
    if (problem > static_cast<int>(in.problems.size()))
      return BadInput("diagram: " + file + " holds " + std::to_string(in.problems.size()) +
                      " problem(s) read without error");
    p = in.problems[static_cast<size_t>(problem - 1)];
  }
  const std::string svg = DiagramSvg(p, opt);
  std::string data = svg;
  if (FormatOfPath(out) == TFormat::kUnknown && out.size() > 4 && out.substr(out.size() - 4) == ".png") {
    if (!DiagramPngAvailable())
      return BadInput("diagram: this build has no PNG output (librsvg); write .svg");
    std::string error;
    data = SvgToPng(svg, error);
    if (data.empty()) {
      std::fprintf(stderr, "ostravel-cli: diagram: %s\n", error.c_str());
      return kExitFailure;
    }
  }
  try {
    WriteOutput(out, data);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "ostravel-cli: diagram: %s\n", e.what());
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace

OSTRAVEL_COMMAND("diagram", "draw the diagram of a problem as SVG or PNG", RunDiagram);

}  // namespace ostravel::cli
