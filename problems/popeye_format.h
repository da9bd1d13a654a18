#pragma once
// The input language of the problemists' solver (Popeye), as far as an
// orthodox directmate needs it:
//
//   BeginProblem
//   Author Sam Loyd
//   Origin N.Y. State Chess Association, 1894
//   Pieces White Kb1 Qd1 Ra1 Pe2 Sg1 Black Ke8 Pd7
//   Stipulation #3
//   Option NoCastling a1 EnPassant d6
//   EndProblem
//
// Keywords are read without regard to case and may be shortened to any
// unambiguous prefix of three letters or more. Knights are "S"; "Option
// NoCastling" names the king or rook squares whose castling right is gone
// (castling is otherwise allowed wherever king and rook stand on their initial
// squares) and "Option EnPassant" the square a pawn just passed over (its
// arrival square is read as the same double step).
// Problems follow each other with "NextProblem" or in blocks of their own.
// What an orthodox "#n" cannot carry (fairy pieces or conditions, other
// stipulations, twins) is an error naming the line.
#include <string>
#include <string_view>
#include <vector>

#include "problems/problem.h"

namespace ostravel {

struct TPopeyeError {
  int problem = 0;  // 1-based number of the problem in the text
  int line = 0;
  std::string message;

  // "Problem 2, line 14: fairy piece gr cannot be carried by a #n problem"
  std::string Describe() const;
};

struct TPopeyeReadResult {
  std::vector<TProblem> problems;  // the problems read without error
  std::vector<TPopeyeError> errors;
  std::vector<std::string> notes;  // what was read but not kept ("Remark ... not kept")
};

// Reads every problem of a text; a problem in error is skipped and reported.
// Author lines (joined with " & "), the origin, the award and the title
// become the description, joined with ", ".
TPopeyeReadResult ReadPopeye(std::string_view text);

// The description of a problem whose author and source are unknown.
inline constexpr const char* kUnattributedDescription = "Sample";

// One problem in the input language, "BeginProblem" to "EndProblem". A last
// part of the description in double quotes is written as the title; of the
// rest, the text up to its first ", " as the author and what follows as the
// origin. "Sample" (unattributed) is left out. False with a message when the
// problem has Black to move (a Popeye "#n" has White to move).
bool WritePopeyeProblem(const TProblem& p, std::string& out, std::string& error);

}  // namespace ostravel
