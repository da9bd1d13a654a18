#pragma once
// Problems in any of the file formats the program reads and writes: ".cp"
// collections, the problemists' solver input (Popeye), EPD and FEN lists.
// Choosing the format, reading and writing texts; files and standard input
// are the front end's.
#include <string>
#include <vector>

#include "problems/problem.h"

namespace ostravel {

enum class TFormat { kUnknown, kCp, kPopeye, kEpd, kFen };

// "cp", "popeye", "epd", "fen"; kUnknown for another name.
TFormat FormatByName(const std::string& name);
const char* FormatName(TFormat f);
// By the file's extension: .cp; .inp, .pop, .popeye; .epd; .fen.
TFormat FormatOfPath(const std::string& path);
// By the text itself, for standard input: "BeginProblem", "{", or the
// opcodes of EPD; otherwise a FEN list.
TFormat FormatOfText(const std::string& text);

struct TProblemsRead {
  std::vector<TProblem> problems;
  std::vector<std::string> errors;  // "line 3: ..." / "Record 2, line 9: ..."
  std::vector<std::string> notes;   // what was read but not kept
};

// Reads problems in a format; defaultMoves is the stipulation of FEN lines
// without one (0: none).
TProblemsRead ReadProblems(const std::string& text, TFormat f, int defaultMoves = 0);

// The text of problems in a format; false with a message naming the problem
// that the format cannot carry. Notes say what the format leaves out.
bool WriteProblems(const std::vector<TProblem>& problems, TFormat f, std::string& out, std::string& error,
                   std::vector<std::string>* notes = nullptr);

}  // namespace ostravel
