#pragma once
// Facts about processes: whether a recorded process still runs, and the
// process priority. (The running executable: OwnExecutablePath in
// config/paths.h.)
#include <string>

namespace ostravel {

// Whether process pid runs and is the program named processFileName (a path
// or a bare file name; only the file name is compared, so a moved program
// still counts). A live process that runs another program means the id was
// reused: false. A zombie counts as ended. An empty name cannot be compared:
// any live process with that id counts.
bool ProcessRunning(long long pid, const std::string& processFileName);

// Lowers the scheduling priority of the process to "below normal" (nice 5),
// never raising it. Threads started afterwards inherit it, so call it before
// starting any. False when the system refused.
bool LowerProcessPriority();

}  // namespace ostravel
