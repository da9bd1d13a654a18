#pragma once
// Position types: the material of a position as a text of piece letters.
//
// Canonical form: one letter per man, White first, then Black; within a side
// the king first and then queens, rooks, bishops, knights, pawns (the order of
// the type alphabet "QRBNPqrbnp"), so "KRPkp", "KQk", "KBBNk". Kings are
// written, so every type of a legal position starts with "K" and has one "k",
// and two positions with the same material always give the same text.
#include <cstdint>
#include <filesystem>
#include <string>

#include "chess/board.h"

namespace ostravel {

// Type of a position (or of a bare 64-byte board). Bytes that are not piece
// codes are not material and are left out. The record form reads the squares
// of its occupancy masks, which must be in step with the board.
std::string PositionType(const TChessboard& b);
std::string PositionType(const uint8_t board[64]);

// The checks a position passes before precalculated data may answer for it:
// empty, or the text of the first that fails ("Improper number of kings",
// "Improper number of pawns on promotion square", "White pawn cannot be
// located on first line", "Black pawn cannot be located on 8th line").
std::string PrecalcPositionError(const uint8_t board[64]);

// Canonical form of a type given with its letters in any order ("kQK" ->
// "KQk"); throws ChessException for any character that is not a piece letter.
std::string CanonicalPosType(const std::string& text);

// True for a type "with pawns" (a "P" or "p" in it).
bool PosTypeWithPawns(const std::string& type);

// The type with the first occurrence of `letter` removed; throws
// "Error in RemoveFromPosType: pos.type <type> does not contain <letter>".
std::string RemoveFromPosType(const std::string& type, char letter);

// The first i at which `a` cut to its first i letters equals `b`, or -1. Since
// a is cut rather than losing one letter from the middle, the only possible
// answer is len(a) - 1 (b is a without its last letter). Requires
// len(a) = len(b) + 1, else throws "Error in GetIndexToRemoveToObtainOtherPosType:
// <a> and <b> passed to function".
int64_t GetIndexToRemoveToObtainOtherPosType(const std::string& a, const std::string& b);

// Folder of the precalculated data: the setting PrecalcPath when it is set,
// otherwise "CustomPrecalc" in the program's data folder (config/paths.h).
// May throw std::filesystem::filesystem_error when the data folder cannot be
// made; HasGlobalRegisterData(type) then answers false.
std::filesystem::path GlobalRegisterFolder();
// The same for a PrecalcPath value (empty: the default folder).
std::filesystem::path GlobalRegisterFolder(const std::string& precalcPath);

// Whether precalculated data exist for a type: a file "<type>.precalc.lz4" or
// "<type>.precalc" in the folder.
bool HasGlobalRegisterData(const std::string& type, const std::filesystem::path& folder);
bool HasGlobalRegisterData(const std::string& type);

}  // namespace ostravel
