#pragma once
// Texts of an engine run in the interface languages (LanguageId: 0 Polish,
// 1 English, 2 Ukrainian). English is complete; a missing Polish or Ukrainian
// text falls back to the English one. Texts with printf conversions are
// formats: fill them with EngineFormat.
#include <cstdint>
#include <string>

namespace ostravel {

enum class TEngineText : uint16_t {
  // start of a run
  kOnlyMateProblems,
  kTooManyProblems,
  kTooManyThreads,
  kCheckPending,
  kTypeCheck,
  kNoGlobalRegister,  // %s: position type
  kBlackKingChecked,
  kWhiteKingChecked,
  kMateTaskNeedsWhite,
  kDefenceTaskNeedsBlack,
  // settings summary
  kSummaryTitle,
  kModeHybrid,
  kModeHybridPhase1,
  kModeHybridPhase2,
  kModeSingle,
  kModeAtMost2,
  kModeAtMost3,
  kModeAtMost4,
  kModeAll,
  kSafeModeOn,
  kQuickModeOn,
  kDefaultShortMate,
  kCustomShortMate,   // %d: moves
  kThreads,           // %d
  kForcedThreads,     // %d
  kLevels,            // %d
  kEffectiveThreads,  // %llu
  kSchedulerOff,
  kSchedulerOn,  // %d, %d: first and last juggled level
  kCustomSchedulerOn,
  kCustomSchedulerOff,
  kInitialHeuristics,  // %s: names
  kNone,
  // mode status line
  kStatusQuickMode,
  kStatusSafeMode,
  kStatusSafeModeForced,
  // passes
  kNotePassOff,
  kNoteNoSecondPass,
  kNoteOnlyOnePass,
  kNoteExactFirstPass,
  kNoteHybridNoPhase2,
  kNoteHybridNoPhase2Exact,
  kPassesRun,
  kPassWithHeuristics,     // %s: pass name, %s: heuristics
  kPassExact,              // %s: pass name
  kPassWithoutHeuristics,  // %s
  kPassBruteForce,         // %s
  kPassProofNumbers,       // %s
  kPassHybridPhase1,       // %s, %s
  kPassHybridPhase2,       // %s
  kPassSolutions,          // %d solutions after the pass, %0.2f seconds
  kPassInterrupted,
  // solution count
  kStopAfterDual,
  kStopAfter3,
  kStopAfter4,
  kMoreThanOneSolution,  // %d
  // stop, repetition, memory
  kAnalysisStopped,
  kStoppedMark,
  kRepetitionTitle,
  kRepetition,
  kOutOfMemory,
  kThreadProposal,  // %d
  // end texts
  kEngineCompleted,       // %s: title
  kEngineStopped,         // %s
  kThreadSolvingDone,     // %s
  kNoSolutionOfProblem,   // %s
  kSolutionsOfProblem,    // %d, %s
  kNotFoundAnySolutions,  // %d
  kNoSolutionSeconds,     // %0.1f
  kMateSearchResult,
  kResultOfAnalysis,
  kResultLine,  // %d: n (opens ">> #")
  kFromRegister,
  kFromTemporaryRegister,
  // defence task
  kDefenceRefuted,
  kDefenceNone,
  kDefenceOnlyReply,
  kDefenceOnlyReplyShort,
  kDefenceOnlyReplyShortNotDefence,
  kDefenceOnlyReplyNotDefence,
  kDefenceFollowing,
  kDefenceEquivalent,
  kDefenceNoValidMove,
  kDefenceThreadDone,  // %s
  kDefenceMateIn,      // %d
  kDefenceNoMateIn,    // %d
  kDefenceNotSearched,
  // solution words
  kThreat,
  kZugzwang,
  kDefenceWord,
  kDefencesWord,
  kLastMoveNoMate,
  kVariationsNotShown,
  kCount
};

// The text in the language; English when the language has none.
const char* EngineText(TEngineText id, int languageId);

// printf-style formatting of a text (or any format) into a string.
std::string EngineFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Language id of "en", "pl", "uk" (also "english", "polish", "ukrainian"); -1 otherwise.
int LanguageIdOf(const std::string& name);

// Memory figure of the status area: "%dMB" below 1000 MB, "%0.1fGB" from then on.
std::string MemoryText(uint64_t megabytes);

// Names of the special heuristics of a set, separated by blanks; "none"
// (in the language) for the empty set.
std::string HeuristicSetNames(uint32_t set, int languageId);

}  // namespace ostravel
