#pragma once
// The ".cp" collection file: reader, canonical writer, safe saving and the
// user's default collection. The format is described in
// problems/README-cp-format.md.
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "config/safe_file.h"
#include "problems/problem.h"

namespace ostravel {

inline constexpr const char* kUserCollectionFileName = "myChessProblems.cp";
inline constexpr const char* kSampleCollectionFileName = "sample_problems.cp";

// Title under which the shell shows a record in error.
inline constexpr const char* kInvalidRecordTitle = "Invalid chessboard definition";
inline constexpr const char* kInvalidRecordTitlePolish = "Niepoprawny opis szachownicy";

// One record (or clause) that could not be read.
struct TCollectionReadError {
  int record = 0;  // 1-based number of the record in the file; 0 for a clause outside records
  int line = 0;    // 1-based line of the offending lexeme
  std::string message;
  std::string recordText;  // the text of the record in error, as far as it was read

  // "Record 3, line 17: Opening bracket expected."
  std::string Describe() const;
};

// A file of millions of broken records must not cost gigabytes of error
// texts: the first ones are kept, the rest only counted.
inline constexpr std::size_t kMaxKeptReadErrors = 100;

struct TCollectionReadResult {
  std::vector<TProblem> problems;            // the records read without error, in file order
  std::vector<TCollectionReadError> errors;  // the first kMaxKeptReadErrors
  uint64_t moreErrors = 0;                   // errors beyond those kept
  TFileStamp stamp;                          // of the file read (LoadCollectionFile)

  bool ok() const { return errors.empty(); }
  // "... and N more errors" when errors were dropped, else empty.
  std::string MoreErrorsText() const;
};

// Reads a whole collection. Reading goes on after a record in error (at the
// next line that starts with "#" or "//!default"), so every error is reported.
TCollectionReadResult ReadCollection(std::string_view text);

// The canonical text of one record (ending with a line end).
std::string WriteProblem(const TProblem& p);
// Every record in order, separated by an empty line.
std::string WriteCollection(const std::vector<TProblem>& problems);

// The writer's rewriting of the phrase "After N moves: " (or "After N move(s): ")
// in a description to "After N move(s): ".
std::string NormalizeMoveCountPhrases(std::string_view description);

// File errors carry the text shown to the user ("Error reading file.",
// "Error writing file.").
class CollectionFileError : public std::runtime_error {
 public:
  explicit CollectionFileError(const std::string& msg) : std::runtime_error(msg) {}
};

// Reads a collection file; throws CollectionFileError("Error reading file.")
// when the file cannot be read (a folder, a missing or unreadable file).
// Record errors come back in the result, with the file's stamp.
TCollectionReadResult LoadCollectionFile(const std::filesystem::path& path);

inline constexpr const char* kMsgChangedExternally =
    "The opened file has been changed by an external application.";

// Saves safely: the text goes to a temporary file in the same folder and is
// synced; an existing file is copied to "<path>.BAK" the same way; the
// temporary file then replaces the file in one rename. A failure at any
// step leaves the previous file and the previous ".BAK" as they were and
// throws CollectionFileError ("Error writing file. " with the file and the
// system's reason). With `readStamp` (the stamp of the file as it was read)
// nothing is written when the file on disk has changed since:
// CollectionFileError(kMsgChangedExternally). Concurrent savers of one file
// are serialised by a lock on it, so the later one sees the change.
void SaveCollectionFile(const std::filesystem::path& path, const std::vector<TProblem>& problems,
                        const TFileStamp* readStamp = nullptr);

// The path of the user's collection "myChessProblems.cp" in the data folder,
// creating the folder and an empty collection when missing. Throws
// CollectionFileError("Error writing file.") when it cannot be created.
std::filesystem::path EnsureUserCollection(const std::filesystem::path& dataFolder);
// The same in the program's data folder (config/paths.h).
std::filesystem::path EnsureUserCollection();

}  // namespace ostravel
