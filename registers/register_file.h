#pragma once
// ".tmpReg" files: the temporary register written to disk and read back, so
// that a long analysis keeps what it has learnt across runs.
//
// The plain stream is a sequence of sections, each a 12-byte header (marker
// 0xFFFFFFFF, then the 64-bit section key: 0 for the exact part, otherwise a
// heuristic sub-register's key) followed by 68-byte records (two 16-bit
// counts, then the 64-byte board). Little-endian throughout. A compressed
// file is the same stream in the LZ4 container (registers/lz4_container.h).
// The stream is ordered longest result first, so that a file cut short by
// its size limit keeps the results that cost the most to find.
// registers/README-tmpreg.md describes the format byte by byte.
//
// Integrity check: a stream written by this program opens with a section
// header whose key is kIntegrityLeadKey and ends with two section headers,
// the first keyed kIntegrityTrailerKey, the second holding the CRC-32 of
// every byte before the trailer (low 32 bits) and the check's version (high
// 32 bits). To a reader that knows nothing of them these are empty sections,
// skipped by the stream's own rules. A reader that finds the lead requires
// the trailer (a file cut short is damaged) and refuses a file whose CRC
// does not match; a stream with neither is an older or foreign file, loaded
// with a warning. A compressed file holds the checked stream, and each LZ4
// block also carries the CRC-32 of its compressed bytes at header offset 12.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "config/settings.h"
#include "registers/temporary_register.h"

namespace ostravel {

inline constexpr uint32_t kSectionMarker = 0xFFFFFFFF;
inline constexpr uint64_t kSectionHeaderBytes = 12;
inline constexpr uint64_t kRecordBytes = 68;
inline constexpr const char* kTmpRegExtension = ".tmpReg";
// An older name of the extension, read the same way.
inline constexpr const char* kTmpReg32Extension = ".TMPREG32";

// Names of the automatic save in the data folder.
inline constexpr const char* kAutoSaveRegisterName = "AutoSave.tmpReg";
inline constexpr const char* kAutoSavePendingName = "AutoSavePending.tmp";
inline constexpr const char* kAutoSaveProblemName = "AutoSave.cp";
// Written by the logging load, in the working folder.
inline constexpr const char* kLoadDumpName = "UncompressedTmpRegLoadData.tmpReg";
inline constexpr const char* kLoadLogName = "TmpRegLoad.log";
inline constexpr const char* kLoadLogHeader =
    "nMovesMate/Doubtful,nMovesNoMate/NotDoubtful,Heuristics,HeurParams,FEN\n";

inline constexpr uint64_t kIntegrityLeadKey = 0x314B48434C565254;     // "TRVLCHK1"
inline constexpr uint64_t kIntegrityTrailerKey = 0x314443524C565254;  // "TRVLRCD1"
inline constexpr uint32_t kIntegrityVersion = 1;
inline constexpr uint64_t kIntegrityTrailerBytes = 2 * kSectionHeaderBytes;
// Counts are plies of a stipulation of at most 32767 moves.
inline constexpr uint16_t kMaxRecordPlies = 65533;

// Texts shown to the user.
inline constexpr const char* kTitleInformation = "Information";
inline constexpr const char* kTitleError = "Error";
inline constexpr const char* kMsgErrorOpeningFile = "Error opening file ";
inline constexpr const char* kMsgCompressionSkipped =
    "Compression will be skipped - not enough memory to allocate buffer.";
inline constexpr const char* kMsgFileCreated = "File created: ";
inline constexpr const char* kMsgStartFrom = "\n\nPositions that fitted in the required size start from #";
inline constexpr const char* kMsgFileRead = "File has been read: ";
inline constexpr const char* kMsgFileReadWithErrors = "File has been read with errors: ";
inline constexpr const char* kMsgInvalidPositions =
    "\n\nNOTE: invalid positions were detected - invalid data?";
inline constexpr const char* kMsgClearOnStartNote =
    "\n\nNote: Option to clear temporary data on start of analysis (first move) is on";
inline constexpr const char* kMsgUnchecked =
    "Warning: the file has no integrity check (an older or foreign file): damage to it cannot be "
    "detected: ";
inline constexpr const char* kMsgRefusedRecords = "\n\nNOTE: records that cannot be true were refused: ";
// Exception texts.
inline constexpr const char* kErrDamaged = "The file is damaged: its integrity check failed.";
inline constexpr const char* kErrCutShort = "The file is damaged: it ends before its integrity check.";
inline constexpr const char* kErrUnknownCheck = "The file's integrity check is of an unknown version.";
inline constexpr const char* kErrEmptyFile = "Error - data file is empty.";
inline constexpr const char* kErrAllocating = "Error allocating memory";
inline constexpr const char* kErrReading = "Error reading file";
inline constexpr const char* kErrReadingInLoad =
    "Error reading file in TAggregatedTemporaryChessboardRegister::Load";
inline constexpr const char* kErrWriting = "Error writing";
inline constexpr const char* kErrPartSaveExact = "Cannot write to file in TRegisterCombinedMap::SaveExact";
inline constexpr const char* kErrAggregatedSaveExact =
    "Cannot write in TAggregatedTemporaryChessboardRegister::SaveExact";

// A message for the user: a box's title and text.
struct TUserMessage {
  std::string title;
  std::string text;
};

// ---------------------------------------------------------------- writing

// The largest odd ply count not above maxPlies: where a save starts
// (-1 for an empty register: nothing to write).
constexpr int FirstSavedPlies(int maxPlies) {
  return ((maxPlies + 1) / 2) * 2 - 1;
}

// Where SaveExact writes: a file, or a memory buffer whose size is the limit.
struct TMemoryStream {
  uint8_t* data = nullptr;
  uint64_t capacity = 0;
};

// Writing stops once `written` reaches byteLimit - 67 after a record (so the
// next record could overshoot); byteLimit 0 means no limit. The memory form
// also stops before anything that would not fit the buffer.
//
// The records of one part (sectionKey 0: the exact part; else a heuristic
// sub-register) whose larger count is n. Returns false when the limit was
// reached. The file form throws kErrPartSaveExact when a write fails.
bool SaveExactPart(const TAggregatedTemporaryChessboardRegister& reg, uint64_t sectionKey, std::FILE* out,
                   uint64_t byteLimit, uint64_t& written, uint16_t n);
bool SaveExactPart(const TAggregatedTemporaryChessboardRegister& reg, uint64_t sectionKey, TMemoryStream& out,
                   uint64_t byteLimit, uint64_t& written, uint16_t n);
// The sections of one ply count n: the exact part's header and records, then
// each sub-register's, in ascending key order. Returns false when the limit
// was reached. The file form throws kErrAggregatedSaveExact when a header
// cannot be written.
bool SaveExact(const TAggregatedTemporaryChessboardRegister& reg, std::FILE* out, uint64_t byteLimit,
               uint64_t& written, uint16_t n);
bool SaveExact(const TAggregatedTemporaryChessboardRegister& reg, TMemoryStream& out, uint64_t byteLimit,
               uint64_t& written, uint16_t n);

struct TRegisterSaveOptions {
  bool compress = false;
  // Set by the automatic save: no message is produced.
  bool silent = false;
  // The size limit in MB (x 2^20 bytes); 0: none.
  uint64_t limitMB = 0;
  // Compression threads; 0: the processors available.
  unsigned threads = 0;
  // The memory the compression buffer may take a quarter of; 0: the machine's.
  uint64_t physicalMemoryBytes = 0;
  // Forces the data to the disk before returning (an auto-save is renamed
  // into place right after).
  bool syncToDisk = false;
};

struct TRegisterSaveResult {
  // 1: saved as asked; 0xFF: compression was skipped and the file saved
  // plain; 0: the file could not be opened (nothing written).
  uint8_t status = 0;
  bool compressed = false;
  // Writing stopped at the size limit; the file holds the results of
  // cutPlies plies and more (part of cutPlies itself).
  bool cutAtLimit = false;
  uint16_t cutPlies = 0;
  uint64_t streamBytes = 0;  // the plain stream
  uint64_t fileBytes = 0;
  std::vector<TUserMessage> messages;  // empty when silent
  std::string error;                   // status 0: the file and the reason, also when silent
};

constexpr uint8_t kSaveDone = 1;
constexpr uint8_t kSaveCompressionSkipped = 0xFF;

// Saves the register to path: the plain stream, or with compress the stream
// in the LZ4 container, which may hold up to 5 times the limit uncompressed
// (the buffer is limitMB x 5 MiB, at most a quarter of the memory). The data
// go to a temporary file beside the target, synced and renamed over it only
// when complete (config/safe_file.h): a failed save leaves the previous file
// as it was. Write failures throw SafeFileError (the file and the reason). The register may be
// in use meanwhile: each bucket is locked while it is read.
TRegisterSaveResult SaveRegisterFile(const TAggregatedTemporaryChessboardRegister& reg,
                                     const std::filesystem::path& path,
                                     const TRegisterSaveOptions& options = {});

// The plain stream in memory (no limit), for tests and tools.
std::vector<uint8_t> SaveRegisterToMemory(const TAggregatedTemporaryChessboardRegister& reg);

// ---------------------------------------------------------------- reading

// Where the logging load writes; empty paths mean the working folder.
struct TRegisterLoadLog {
  std::filesystem::path dumpFolder;  // kLoadDumpName
  std::filesystem::path logFolder;   // kLoadLogName
};

// Reads a plain or compressed stream from f (at its start; fileSize counts
// only where the system cannot tell the size of f) into reg, merging with
// what reg holds. An empty register is first
// given bucketCount buckets. Returns true when no invalid position was met
// (an invalid one is inserted all the same). Throws ChessException with the
// texts above on a read failure or a malformed container; the records read
// before the fault stay in the register. A file that ends in the middle of a
// record ends the load without error. Records beyond the element limit are
// dropped after the clean-up.
bool LoadRegister(TAggregatedTemporaryChessboardRegister& reg, std::FILE* f, uint32_t bucketCount,
                  uint64_t fileSize, TRegisterLoadStatistics* stats = nullptr);
// The same, writing the decompressed stream to kLoadDumpName and one line per
// record to kLoadLogName.
bool LoadRegisterLogged(TAggregatedTemporaryChessboardRegister& reg, std::FILE* f, uint32_t bucketCount,
                        uint64_t fileSize, TRegisterLoadStatistics* stats = nullptr,
                        const TRegisterLoadLog& log = {});
// A stream held in memory (the fuzzer's and the tests' door).
bool LoadRegisterFromMemory(TAggregatedTemporaryChessboardRegister& reg, const uint8_t* data, uint64_t size,
                            TRegisterLoadStatistics* stats = nullptr);

// Whether a record could be true: odd counts (0: none) within
// kMaxRecordPlies, not both 0; in the exact part a mate count above the
// no-mate count; a board of real pieces with one king of each colour and no
// pawn on the first or last rank. Records that fail are refused by the load
// (counted in the statistics' refusedRecords).
bool RecordPossible(bool exactPart, uint16_t first, uint16_t second, const uint8_t board[64]);

// The FEN of a record's board, White to move, as the load log writes it.
std::string RecordFen(const uint8_t board[64]);
// A board whose FEN would show an "e": a square holding a code that is not a
// piece (the load's test of an invalid position, without building the FEN).
bool RecordBoardInvalid(const uint8_t board[64]);

// The size figure a file's register is chosen by when no problem tells it:
// the plies a problem would need to fill a register of that many records.
uint32_t SizeFigureForFile(uint64_t fileBytes);
// Buckets for loading a register of a problem with this size figure (its
// root plies): ChooseRegisterBucketCount with the register's memory limit.
uint32_t LoadBucketCount(uint32_t sizeFigure, uint64_t tempRegLimitMB);

struct TRegisterReadOptions {
  bool logged = false;  // the logging load (setting LogToFileTmpRegLoad)
  TRegisterLoadLog log;
  // Add the note that the register is cleared at the start of an analysis
  // (setting ClearRegisterOnStartSolving).
  bool clearOnStartNote = false;
  // Chooses the buckets of a pinned register (LoadPinnedRegister).
  uint64_t tempRegLimitMB = 0;
};
// The options as the given settings say.
TRegisterReadOptions RegisterReadOptionsFrom(const TSettings& settings);

struct TRegisterReadResult {
  bool opened = false;
  bool completed = false;         // read to the end without an exception
  std::string error;              // the exception's or the open failure's text
  bool invalidPositions = false;  // the load returned false
  bool verified = false;          // the integrity check was present and right
  std::string warning;            // kMsgUnchecked and the path, also in report
  TRegisterLoadStatistics stats;  // also of a load cut by an error
  std::string report;             // the text shown after a completed load
};

// The file reading entry (menu load, a pinned file, an auto-save): opens the
// file, checks its integrity, loads it and composes the report. Never throws
// for a bad file: the failure's text, with the path, comes back in `error`.
// A damaged file loads nothing.
TRegisterReadResult ReadRegisterFile(TAggregatedTemporaryChessboardRegister& reg,
                                     const std::filesystem::path& path, uint32_t bucketCount,
                                     const TRegisterReadOptions& options = {});

// The report after a load: "File has been read: " (or "... with errors: ")
// and the path, the statistics, and the notes.
std::string LoadReportText(const std::string& path, const TRegisterLoadStatistics& stats,
                           bool invalidPositions, bool clearOnStartOption);
// The report after a save: "File created: " and the path, and where a cut
// file starts.
std::string SaveReportText(const std::string& path, const TRegisterSaveResult& result);

}  // namespace ostravel
