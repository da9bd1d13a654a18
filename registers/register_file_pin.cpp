#include "registers/register_file_pin.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <vector>

#include "config/paths.h"
#include "problems/cp_file.h"

namespace ostravel {

namespace fs = std::filesystem;

namespace {

fs::path FolderOrDefault(const fs::path& folder) {
  return folder.empty() ? SavedTmpRegisterFolder() : folder;
}

// A collection is rewritten only when every record of it was read: a record
// in error would be lost by the rewrite.
std::vector<TProblem> ReadWholeCollection(const fs::path& path, std::size_t index) {
  TCollectionReadResult r = LoadCollectionFile(path);
  if (!r.ok())
    throw std::runtime_error("The collection " + path.string() +
                             " has records in error and is left as it is: " + r.errors.front().Describe());
  if (index >= r.problems.size())
    throw std::runtime_error("There is no problem " + std::to_string(index + 1) + " in " + path.string() +
                             " (" + std::to_string(r.problems.size()) + " problems)");
  return std::move(r.problems);
}

// The number of a file named "<digits>.tmpReg" (or the older
// "<digits>.TMPREG32"), if it is one.
std::optional<uint32_t> NumberOfFileName(const std::string& name) {
  std::string digits;
  for (const std::string ext : {kTmpRegExtension, kTmpReg32Extension}) {
    if (name.size() > ext.size() && name.compare(name.size() - ext.size(), ext.size(), ext) == 0) {
      digits = name.substr(0, name.size() - ext.size());
      break;
    }
  }
  if (digits.empty() || digits.size() > 10 || !std::all_of(digits.begin(), digits.end(), [](char c) {
        return std::isdigit(static_cast<unsigned char>(c));
      }))
    return std::nullopt;
  const uint64_t v = std::stoull(digits);
  if (v > UINT32_MAX) return std::nullopt;
  return static_cast<uint32_t>(v);
}

uint32_t NextFreeNumber(const std::vector<TProblem>& problems, const fs::path& folder) {
  uint64_t top = 0;
  for (const TProblem& p : problems)
    if (p.tmpRegFile) top = std::max<uint64_t>(top, *p.tmpRegFile);
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
    if (const auto n = NumberOfFileName(it->path().filename().string())) top = std::max<uint64_t>(top, *n);
  if (top >= UINT32_MAX) throw std::runtime_error("No free number is left for a pinned register file");
  return static_cast<uint32_t>(top + 1);
}

}  // namespace

std::string PinnedRegisterFileName(uint32_t number) {
  return std::to_string(number) + kTmpRegExtension;
}

std::optional<fs::path> PinnedRegisterPath(const TProblem& problem, const fs::path& folder) {
  if (!problem.tmpRegFile) return std::nullopt;
  return FolderOrDefault(folder) / PinnedRegisterFileName(*problem.tmpRegFile);
}

TPinResult PinRegister(const fs::path& collectionPath, std::size_t problemIndex,
                       const TAggregatedTemporaryChessboardRegister& reg, const TRegisterSaveOptions& options,
                       const fs::path& folder) {
  std::vector<TProblem> problems = ReadWholeCollection(collectionPath, problemIndex);
  const fs::path dir = FolderOrDefault(folder);
  TProblem& p = problems[problemIndex];
  TPinResult r;
  r.number = p.tmpRegFile ? *p.tmpRegFile : NextFreeNumber(problems, dir);
  r.file = dir / PinnedRegisterFileName(r.number);
  r.save = SaveRegisterFile(reg, r.file, options);
  if (r.save.status == 0) throw std::runtime_error(kMsgErrorOpeningFile + r.file.string());
  if (p.tmpRegFile != r.number) {
    p.tmpRegFile = r.number;
    SaveCollectionFile(collectionPath, problems);
  }
  return r;
}

std::optional<uint32_t> UnpinRegister(const fs::path& collectionPath, std::size_t problemIndex) {
  std::vector<TProblem> problems = ReadWholeCollection(collectionPath, problemIndex);
  const std::optional<uint32_t> was = problems[problemIndex].tmpRegFile;
  if (!was) return std::nullopt;
  problems[problemIndex].tmpRegFile.reset();
  SaveCollectionFile(collectionPath, problems);
  return was;
}

std::optional<TRegisterReadResult> LoadPinnedRegister(const TProblem& problem,
                                                      TAggregatedTemporaryChessboardRegister& reg,
                                                      const fs::path& folder,
                                                      const TRegisterReadOptions& options) {
  const std::optional<fs::path> path = PinnedRegisterPath(problem, folder);
  if (!path) return std::nullopt;
  return ReadRegisterFile(reg, *path, LoadBucketCount(problem.RootPlies(), options.tempRegLimitMB), options);
}

}  // namespace ostravel
