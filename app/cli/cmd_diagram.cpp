// ostravel-cli diagram: the diagram of a problem as SVG or PNG.
#include <cstdio>
#include <stdexcept>

#include "command.h"
#include "formats_io.h"
#include "problems/diagram.h"

#ifdef OSTRAVEL_HAVE_RSVG
#include <cairo.h>
#include <librsvg/rsvg.h>
#endif

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

#ifdef OSTRAVEL_HAVE_RSVG
cairo_status_t AppendPng(void* closure, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

// Renders the SVG with librsvg on a cairo image surface; empty on failure
// (the message in `error`).
std::string SvgToPng(const std::string& svg, std::string& error) {
  GError* gerr = nullptr;
  RsvgHandle* handle =
      rsvg_handle_new_from_data(reinterpret_cast<const guint8*>(svg.data()), svg.size(), &gerr);
  if (!handle) {
    error = gerr ? gerr->message : "the SVG cannot be read";
    if (gerr) g_error_free(gerr);
    return {};
  }
  gdouble w = 0, h = 0;
  if (!rsvg_handle_get_intrinsic_size_in_pixels(handle, &w, &h)) w = h = 400;
  cairo_surface_t* surface =
      cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(w + 0.5), static_cast<int>(h + 0.5));
  cairo_t* cr = cairo_create(surface);
  const RsvgRectangle viewport{0, 0, w, h};
  std::string png;
  if (!rsvg_handle_render_document(handle, cr, &viewport, &gerr)) {
    error = gerr ? gerr->message : "the SVG cannot be rendered";
    if (gerr) g_error_free(gerr);
  } else if (cairo_surface_write_to_png_stream(surface, AppendPng, &png) != CAIRO_STATUS_SUCCESS) {
    error = "the PNG cannot be encoded";
    png.clear();
  }
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  g_object_unref(handle);
  return png;
}
#endif

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
#ifdef OSTRAVEL_HAVE_RSVG
    std::string error;
    data = SvgToPng(svg, error);
    if (data.empty()) {
      std::fprintf(stderr, "ostravel-cli: diagram: %s\n", error.c_str());
      return kExitFailure;
    }
#else
    return BadInput("diagram: this build has no PNG output (librsvg); write .svg");
#endif
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
