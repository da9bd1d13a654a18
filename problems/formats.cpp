#include "problems/formats.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "config/text_compare.h"
#include "problems/cp_file.h"
#include "problems/epd.h"
#include "problems/popeye_format.h"

namespace ostravel {

namespace fs = std::filesystem;

TFormat FormatByName(const std::string& name) {
  if (name == "cp") return TFormat::kCp;
  if (name == "popeye" || name == "inp") return TFormat::kPopeye;
  if (name == "epd") return TFormat::kEpd;
  if (name == "fen") return TFormat::kFen;
  return TFormat::kUnknown;
}

const char* FormatName(TFormat f) {
  switch (f) {
    case TFormat::kCp:
      return "cp";
    case TFormat::kPopeye:
      return "popeye";
    case TFormat::kEpd:
      return "epd";
    case TFormat::kFen:
      return "fen";
    default:
      return "unknown";
  }
}

TFormat FormatOfPath(const std::string& path) {
  const std::string ext = fs::path(path).extension().string();
  if (EqualsNoCase(ext, ".cp")) return TFormat::kCp;
  if (EqualsNoCase(ext, ".inp") || EqualsNoCase(ext, ".pop") || EqualsNoCase(ext, ".popeye"))
    return TFormat::kPopeye;
  if (EqualsNoCase(ext, ".epd")) return TFormat::kEpd;
  if (EqualsNoCase(ext, ".fen")) return TFormat::kFen;
  return TFormat::kUnknown;
}

TFormat FormatOfText(const std::string& text) {
  std::string lower = text.substr(0, 4096);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  if (lower.find("beginproblem") != std::string::npos) return TFormat::kPopeye;
  if (lower.find('{') != std::string::npos) return TFormat::kCp;
  for (const char* op : {" dm ", " bm ", " id "})
    if (lower.find(op) != std::string::npos) return TFormat::kEpd;
  return TFormat::kFen;
}

TProblemsRead ReadProblems(const std::string& text, TFormat f, int defaultMoves) {
  TProblemsRead r;
  switch (f) {
    case TFormat::kCp: {
      TCollectionReadResult c = ReadCollection(text);
      r.problems = std::move(c.problems);
      for (const auto& e : c.errors) r.errors.push_back(e.Describe());
      break;
    }
    case TFormat::kPopeye: {
      TPopeyeReadResult p = ReadPopeye(text);
      r.problems = std::move(p.problems);
      for (const auto& e : p.errors) r.errors.push_back(e.Describe());
      r.notes = std::move(p.notes);
      break;
    }
    case TFormat::kEpd: {
      const TEpdReadResult e = ReadEpd(text);
      for (const auto& err : e.errors)
        r.errors.push_back("line " + std::to_string(err.line) + ": " + err.message);
      for (const auto& rec : e.records) {
        TProblem p;
        std::string error;
        TEpdRecord withDm = rec;
        if (!withDm.dm) withDm.dm = defaultMoves;  // the caller's stipulation for lines without dm
        if (EpdToProblem(withDm, p, error))
          r.problems.push_back(std::move(p));
        else
          r.errors.push_back("line " + std::to_string(rec.line) + ": " + error);
      }
      break;
    }
    case TFormat::kFen: {
      TFenListReadResult l = ReadFenList(text, defaultMoves);
      r.problems = std::move(l.problems);
      for (const auto& err : l.errors)
        r.errors.push_back("line " + std::to_string(err.line) + ": " + err.message);
      break;
    }
    default:
      r.errors.push_back("unknown format");
  }
  return r;
}

bool WriteProblems(const std::vector<TProblem>& problems, TFormat f, std::string& out, std::string& error,
                   std::vector<std::string>* notes) {
  out.clear();
  int tags = 0, variants = 0, extras = 0;
  for (size_t i = 0; i < problems.size(); ++i) {
    const TProblem& p = problems[i];
    const std::string which = "problem " + std::to_string(i + 1) + ": ";
    tags += !p.tags.empty();
    variants += !p.variants.empty();
    extras += !p.sortIndications.empty() || p.tmpRegFile.has_value();
    switch (f) {
      case TFormat::kCp:
        break;
      case TFormat::kPopeye: {
        std::string block;
        if (!WritePopeyeProblem(p, block, error)) {
          error = which + error;
          return false;
        }
        out += block;
        break;
      }
      case TFormat::kEpd: {
        TEpdRecord rec;
        if (!ProblemToEpd(p, rec, error)) {
          error = which + error;
          return false;
        }
        out += WriteEpdLine(rec) + "\n";
        break;
      }
      case TFormat::kFen:
        if (!p.whiteToMove) {
          error = which + "Black to move (the defence task): a FEN list holds directmates";
          return false;
        }
        break;
      default:
        error = "unknown format";
        return false;
    }
  }
  if (f == TFormat::kCp) out = WriteCollection(problems);
  if (f == TFormat::kFen) out = WriteFenList(problems);
  if (notes && f != TFormat::kCp) {
    const std::string fmt = FormatName(f);
    if (tags) notes->push_back(std::to_string(tags) + " problem(s) lose their tags (" + fmt + " has none)");
    if (variants)
      notes->push_back(std::to_string(variants) + " problem(s) lose their stored variants" +
                       (f == TFormat::kEpd ? " (the main variant's keys become bm)" : ""));
    if (extras)
      notes->push_back(std::to_string(extras) + " problem(s) lose their sort indications or register pin");
    if (f == TFormat::kFen) notes->push_back("a FEN list keeps neither stipulations nor descriptions");
  }
  return true;
}

}  // namespace ostravel
