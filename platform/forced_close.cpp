#include "platform/forced_close.h"

#include <algorithm>
#include <stdexcept>

#include "platform/process.h"

namespace ostravel {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kRegisterPrefix = "AutoSave";
constexpr std::string_view kRegisterExtension = ".tmpReg";

bool EndsWith(const std::string& s, std::string_view tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

bool Exists(const fs::path& p) {
  std::error_code ec;
  return fs::is_regular_file(p, ec);
}

}  // namespace

bool IsAutoSaveRegisterName(const std::string& fileName) {
  return fileName.size() >= kRegisterPrefix.size() + kRegisterExtension.size() &&
         fileName.compare(0, kRegisterPrefix.size(), kRegisterPrefix) == 0 &&
         EndsWith(fileName, kRegisterExtension);
}

fs::path AutoSaveProblemFileOf(const fs::path& registerFile) {
  fs::path p = registerFile;
  return p.replace_extension(".cp");
}

bool AutoSaveWriterEnded(const TAutoSaveInfo& info) {
  return !ProcessRunning(info.ProcessId, info.ProcessFileName);
}

namespace {

void CheckOne(const fs::path& reg, const std::string& slot, const TForcedCloseScan& scan,
              std::vector<TForcedCloseAutoSave>& found) {
  TForcedCloseAutoSave a;
  a.slot = slot;
  a.registerFile = reg;
  a.companionFile = AutoSaveInfoPath(reg.string());
  if (!Exists(a.registerFile) || !Exists(a.companionFile)) return;
  try {
    a.info = ReadAutoSaveInfo(reg.string());
  } catch (const std::exception&) {
    return;
  }
  if (!AutoSaveWriterEnded(a.info)) return;
  const fs::path problem = scan.problemFileOf ? scan.problemFileOf(reg) : fs::path();
  if (!problem.empty() && Exists(problem)) a.problemFile = problem;
  found.push_back(std::move(a));
}

}  // namespace

std::vector<TForcedCloseAutoSave> CheckForcedCloseAutoSaves(const std::vector<fs::path>& registerFiles,
                                                            const TForcedCloseScan& scan) {
  std::vector<TForcedCloseAutoSave> found;
  for (const fs::path& reg : registerFiles) CheckOne(reg, {}, scan, found);
  return found;
}

std::vector<TForcedCloseAutoSave> FindForcedCloseAutoSaves(const fs::path& folder,
                                                           const TForcedCloseScan& scan) {
  std::vector<TForcedCloseAutoSave> found;
  if (scan.runSlots)
    for (const auto& [id, reg] : scan.runSlots(folder)) CheckOne(reg, id, scan, found);
  std::vector<fs::path> regs;
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    if (scan.isRegisterName(name) && it->is_regular_file(ec)) regs.push_back(it->path());
  }
  std::sort(regs.begin(), regs.end());
  for (const fs::path& reg : regs) CheckOne(reg, {}, scan, found);
  return found;
}

fs::path SetAsideForcedCloseAutoSave(const TForcedCloseAutoSave& autoSave) {
  const fs::path folder = autoSave.registerFile.parent_path();
  const std::string stem = autoSave.registerFile.stem().string();
  fs::path target;
  for (int n = 1;; ++n) {
    target = folder / (n == 1 ? stem + ".BAK" : stem + "." + std::to_string(n) + ".BAK");
    std::error_code ec;
    if (!fs::exists(target, ec) && !fs::exists(AutoSaveInfoPath(target.string()), ec)) break;
  }
  std::error_code ec;
  fs::rename(autoSave.registerFile, target, ec);
  if (ec)
    throw std::runtime_error("Cannot rename " + autoSave.registerFile.string() + " to " + target.string() +
                             ": " + ec.message());
  // Without its companion the register is never offered again either, so a
  // failure here loses nothing; keep the pair together when possible.
  fs::rename(autoSave.companionFile, AutoSaveInfoPath(target.string()), ec);
  return target;
}

}  // namespace ostravel
