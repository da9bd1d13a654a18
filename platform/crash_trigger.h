#pragma once
// Crashes on purpose, to test the crash handler (the hidden command
// "ostravel-cli crash-test" and the window's test menu item).
#include <optional>
#include <string>

namespace ostravel {

enum class TCrashKind { kNullWrite, kDivZero, kAbort, kThrow, kStackOverflow };

// "null-write", "div-zero", "abort", "throw", "stack-overflow".
const char* CrashKindName(TCrashKind kind);
std::optional<TCrashKind> ParseCrashKind(const std::string& name);

// Does not return. An uncaught exception is raised through a noexcept
// frame, so that no catch of the caller can swallow it.
[[noreturn]] void TriggerCrash(TCrashKind kind);

}  // namespace ostravel
