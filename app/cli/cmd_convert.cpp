// ostravel-cli convert: problems from one file format to another.
#include <cstdio>
#include <stdexcept>

#include "command.h"
#include "formats_io.h"

namespace ostravel::cli {
namespace {

void Help() {
  std::printf(
      "Usage: ostravel-cli convert IN OUT [--from F] [--to F] [--mate N] [--skip-errors]\n\n"
      "Converts problems between the formats:\n"
      "  cp      Ostravel collection (.cp)\n"
      "  popeye  input language of the problemists' solver Popeye (.inp, .pop):\n"
      "          BeginProblem, Author, Origin, Title, Pieces (S for the knight),\n"
      "          Stipulation #n, Option NoCastling / EnPassant, EndProblem\n"
      "  epd     EPD lines with dm (stipulation), bm (keys) and id (description) (.epd)\n"
      "  fen     one FEN per line, optionally followed by \"#n\" (.fen)\n"
      "The formats follow from the extensions unless --from/--to name them; \"-\" is\n"
      "standard input (format guessed from the text) or standard output.\n\n"
      "  --mate N        stipulation of FEN or EPD lines that carry none\n"
      "  --skip-errors   convert the problems that were read and leave out those in\n"
      "                  error (by default nothing is written when any is in error)\n\n"
      "What the target format cannot carry is an error naming the problem (Black to\n"
      "move outside .cp); what it leaves out (tags, variants, sort indications) is\n"
      "listed on stderr. The output file is replaced safely (temporary file, rename).\n\n"
      "Exit codes: 0 converted, 1 bad input (a problem in error or not carried),\n"
      "2 the output could not be written.\n");
}

int RunConvert(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    Help();
    return kExitOk;
  }
  std::vector<std::string> files;
  TFormat from = TFormat::kUnknown, to = TFormat::kUnknown;
  int mate = 0;
  bool skipErrors = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--from" || a == "--to") {
      if (i + 1 >= args.size()) return BadInput("convert: " + a + " needs a format (cp, popeye, epd, fen)");
      const TFormat f = FormatByName(args[++i]);
      if (f == TFormat::kUnknown)
        return BadInput("convert: unknown format " + args[i] + " (cp, popeye, epd, fen)");
      (a == "--from" ? from : to) = f;
    } else if (a == "--mate") {
      if (i + 1 >= args.size()) return BadInput("convert: --mate needs a number of moves");
      try {
        mate = std::stoi(args[++i]);
      } catch (const std::exception&) {
        mate = 0;
      }
      if (mate < 1 || mate > 32767) return BadInput("convert: --mate must be from 1 to 32767");
    } else if (a == "--skip-errors") {
      skipErrors = true;
    } else if (a == "-" || a.empty() || a[0] != '-') {
      files.push_back(a);
    } else {
      return BadInput("convert: unknown argument " + a + " (see --help)");
    }
  }
  if (files.size() != 2) return BadInput("convert: give IN and OUT (see --help)");
  std::string text;
  try {
    text = ReadInput(files[0]);
  } catch (const std::exception& e) {
    return BadInput(std::string("convert: ") + e.what());
  }
  if (from == TFormat::kUnknown) from = files[0] == "-" ? FormatOfText(text) : FormatOfPath(files[0]);
  if (to == TFormat::kUnknown) to = files[1] == "-" ? TFormat::kCp : FormatOfPath(files[1]);
  if (from == TFormat::kUnknown)
    return BadInput("convert: the format of " + files[0] + " is unknown: use --from");
  if (to == TFormat::kUnknown)
    return BadInput("convert: the format of " + files[1] + " is unknown: use --to");

  const TProblemsRead in = ReadProblems(text, from, mate);
  for (const auto& e : in.errors) std::fprintf(stderr, "ostravel-cli: %s: %s\n", files[0].c_str(), e.c_str());
  for (const auto& n : in.notes) std::fprintf(stderr, "note: %s: %s\n", files[0].c_str(), n.c_str());
  if (!in.errors.empty() && !skipErrors)
    return BadInput("convert: nothing written: " + std::to_string(in.errors.size()) +
                    " problem(s) in error (see --skip-errors)");
  std::string out, error;
  std::vector<std::string> notes;
  if (!WriteProblems(in.problems, to, out, error, &notes))
    return BadInput("convert: " + error + " (" + FormatName(to) + ")");
  for (const auto& n : notes) std::fprintf(stderr, "note: %s\n", n.c_str());
  try {
    WriteOutput(files[1], out);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "ostravel-cli: convert: %s\n", e.what());
    return kExitFailure;
  }
  if (files[1] != "-")
    std::fprintf(stderr, "%zu problem(s) written to %s (%s)\n", in.problems.size(), files[1].c_str(),
                 FormatName(to));
  return in.errors.empty() ? kExitOk : kExitBadInput;
}

}  // namespace

OSTRAVEL_COMMAND("convert", "convert problems between .cp, Popeye input, EPD and FEN lists", RunConvert);

}  // namespace ostravel::cli
