#pragma once
// The messages of start-up, shutdown and the crash handler in the interface
// languages (LanguageId: 0 Polish, 1 English, 2 Ukrainian; where a text has
// no Ukrainian form the English one is used). The window shows them; the
// library only chooses the words.
#include <string>

namespace ostravel {

// The main window's size at start (it may be resized).
inline constexpr int kMainWindowDefaultWidth = 640;
inline constexpr int kMainWindowDefaultHeight = 557;

enum class TShellText {
  kInformationTitle,      // "Information"
  kSecondInstanceNote,    // a second instance opens ".lichess" files read-only
  kSecondInstanceStatus,  // the status-bar form of the same note
  kWarningTitle,          // "Warning"
  kErrorTitle,            // "An error occurred"
  kUnhandledExceptionTitle,
  kFileChangedWithUnsavedChanges,
  kFileChangedReloadQuestion,
};

const char* ShellText(TShellText id, int languageId);

// "Search for solution is pending for" N "problem(s).\nAre you sure you want to quit?"
std::string PendingSearchQuitText(int pendingProblems, int languageId);

// The start-up messages about an auto-save left by a forced close: the
// question (Yes resumes, No leaves the file, Cancel renames it to ".BAK") and
// the information form, used when the analysis cannot be resumed.
std::string ForcedCloseQuestionMessage(const std::string& registerFile, int languageId);
std::string ForcedCloseInformationMessage(const std::string& registerFile, int languageId);

// The file-change warning: with unsaved changes it only advises reopening,
// otherwise it asks whether to reload (Yes reloads).
std::string FileChangedText(bool unsavedChanges, int languageId);

// "Unhandled exception caught:" with the description, the note that the
// program ends, and the question whether to send the report when a report
// address is set.
std::string UnhandledExceptionText(const std::string& description, bool offerToSend, int languageId);

}  // namespace ostravel
