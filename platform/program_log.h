#pragma once
// The program log "chessGUI.log" in the log folder: one line when the
// program opens and one when it closes, so that a run that ended without its
// closing line stands out.
#include <filesystem>
#include <string>

namespace ostravel {

inline constexpr const char* kProgramLogName = "chessGUI.log";

// Where the program log and the crash logs go: the data folder (see
// config/paths.h). Not created here.
std::filesystem::path LogFolder();

// "2026-11-23 01:02:56, Ostravel 0.1.0, pid 4242": what fills the log lines.
std::string ProgramLogStamp();

// Appends one line (a line break is added) to folder/"chessGUI.log",
// creating the folder and the file. Each line is written by one append, so
// the lines of two instances never mix. False when the file cannot be
// written (a log is no reason to stop the program).
bool AppendProgramLogLine(const std::filesystem::path& folder, const std::string& line);

// "Program opened (%s)" and "Program close (%s)" with ProgramLogStamp().
bool LogProgramOpened(const std::filesystem::path& folder);
bool LogProgramClosed(const std::filesystem::path& folder);

}  // namespace ostravel
