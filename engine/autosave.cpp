#include "engine/autosave.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <stdexcept>

#include "config/paths.h"
#include "problems/cp_file.h"
#include "registers/register_file.h"
#include "registers/temporary_register.h"

namespace ostravel {

namespace fs = std::filesystem;

namespace {

// Written whole beside the target and renamed over it.
void WriteFileAtomically(const fs::path& path, const std::string& text) {
  fs::path tmp = path;
  tmp += ".tmp";
  {
    std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
    out << text;
    out.flush();
    if (!out) {
      std::error_code ec;
      fs::remove(tmp, ec);
      throw std::runtime_error("Error writing file " + path.string());
    }
  }
  std::error_code ec;
  fs::rename(tmp, path, ec);
  if (ec) {
    fs::remove(tmp, ec);
    throw std::runtime_error("Error writing file " + path.string());
  }
}

fs::path FolderOrData(const fs::path& folder) {
  return folder.empty() ? DataFolder() : folder;
}

}  // namespace

TAutoSavePaths TAutoSavePaths::In(const fs::path& folder) {
  TAutoSavePaths p;
  p.registerFile = folder / kAutoSaveRegisterName;
  p.pendingFile = folder / kAutoSavePendingName;
  p.problemFile = folder / kAutoSaveProblemName;
  p.infoFile = AutoSaveInfoPath(p.registerFile.string());
  return p;
}

TAutoSaveInfo CurrentAutoSaveInfo(const std::string& description, int maxMemRatioForPrecalculatedData,
                                  int maxMemRatioPerProblem) {
  TAutoSaveInfo info;
  info.Description = description;
  info.MaxMemRatioForPrecalculatedData = maxMemRatioForPrecalculatedData;
  info.MaxMemRatioPerProblem = maxMemRatioPerProblem;
  info.ProcessId = static_cast<long long>(::getpid());
  info.ProcessFileName = OwnExecutablePath();
  return info;
}

void WriteAutoSave(const TAggregatedTemporaryChessboardRegister& reg, const TProblem& problem,
                   const fs::path& folder, uint64_t limitMB, bool compress, const TAutoSaveInfo* info) {
  const TAutoSavePaths paths = TAutoSavePaths::In(folder);
  // The problem first, so that a register never lies there without one.
  WriteFileAtomically(paths.problemFile, WriteCollection({problem}));
  TRegisterSaveOptions opt;
  opt.compress = compress;
  opt.silent = true;
  opt.limitMB = limitMB;
  opt.syncToDisk = true;
  const TRegisterSaveResult r = SaveRegisterFile(reg, paths.pendingFile, opt);
  if (r.status == 0) throw std::runtime_error(kMsgErrorOpeningFile + paths.pendingFile.string());
  WriteAutoSaveInfo(paths.registerFile.string(), info ? *info : CurrentAutoSaveInfo(problem.description));
  std::error_code ec;
  fs::rename(paths.pendingFile, paths.registerFile, ec);
  if (ec) throw std::runtime_error("Error renaming " + paths.pendingFile.string() + ": " + ec.message());
}

void RemoveAutoSave(const fs::path& folder) {
  const TAutoSavePaths paths = TAutoSavePaths::In(folder);
  std::error_code ec;
  for (const fs::path& p : {paths.registerFile, paths.pendingFile, paths.problemFile, paths.infoFile})
    fs::remove(p, ec);
}

// ---------------------------------------------------------------- TAutoSaver

TAutoSaver::TAutoSaver(std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg, TProblem problem,
                       std::chrono::milliseconds period, uint64_t limitMB, fs::path folder, bool compress)
    : reg_(std::move(reg)),
      problem_(std::move(problem)),
      period_(period),
      limitMB_(limitMB),
      folder_(FolderOrData(folder)),
      paths_(TAutoSavePaths::In(folder_)),
      compress_(compress) {
  if (!reg_) throw std::invalid_argument("TAutoSaver needs a register");
  if (period_.count() > 0 && limitMB_ > 0) thread_ = std::thread([this] { Loop(); });
}

void TAutoSaver::SetMemoryRatios(int maxMemRatioForPrecalculatedData, int maxMemRatioPerProblem) {
  std::lock_guard<std::mutex> g(saveLock_);
  ratioPrecalc_ = maxMemRatioForPrecalculatedData;
  ratioPerProblem_ = maxMemRatioPerProblem;
}

TAutoSaver::~TAutoSaver() {
  Stop();
}

void TAutoSaver::Loop() {
  std::unique_lock<std::mutex> lk(stateLock_);
  for (;;) {
    if (wake_.wait_for(lk, period_, [this] { return stopping_; })) return;
    lk.unlock();
    SaveNow();
    lk.lock();
  }
}

void TAutoSaver::Stop() {
  {
    std::lock_guard<std::mutex> lk(stateLock_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void TAutoSaver::Finish() {
  Stop();
  std::lock_guard<std::mutex> g(saveLock_);
  // Only what this saver wrote: an older auto-save it never replaced may
  // still be somebody's to recover.
  if (Saves() > 0) RemoveAutoSave(folder_);
}

bool TAutoSaver::SaveNow() {
  std::lock_guard<std::mutex> g(saveLock_);
  try {
    const TAutoSaveInfo info = CurrentAutoSaveInfo(problem_.description, ratioPrecalc_, ratioPerProblem_);
    WriteAutoSave(*reg_, problem_, folder_, limitMB_, compress_, &info);
    std::lock_guard<std::mutex> lk(stateLock_);
    ++saves_;
    lastError_.clear();
    return true;
  } catch (const std::exception& e) {
    std::lock_guard<std::mutex> lk(stateLock_);
    lastError_ = e.what();
    return false;
  }
}

int TAutoSaver::Saves() const {
  std::lock_guard<std::mutex> lk(stateLock_);
  return saves_;
}

std::string TAutoSaver::LastError() const {
  std::lock_guard<std::mutex> lk(stateLock_);
  return lastError_;
}

// ---------------------------------------------------------------- slots

fs::path AutoSaveSlotsFolder(const fs::path& dataFolder) {
  return dataFolder / kAutoSaveSlotsFolderName;
}

namespace {

// An exclusive lock on the slot's lock file, or -1 (errno tells why).
int LockSlot(const fs::path& folder) {
  const int fd = ::open((folder / kAutoSaveLockName).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return -1;
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    const int e = errno;
    ::close(fd);
    errno = e;
    return -1;
  }
  return fd;
}

bool SlotLocked(const fs::path& folder) {
  const int fd = ::open((folder / kAutoSaveLockName).c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return false;  // no lock file: nobody ever held it
  const bool held = ::flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  ::close(fd);  // drops the lock taken just now, if any
  return held;
}

}  // namespace

TAutoSaveSlot::TAutoSaveSlot(std::string id, fs::path folder, int fd)
    : id_(std::move(id)), folder_(std::move(folder)), fd_(fd) {}

TAutoSaveSlot::~TAutoSaveSlot() {
  if (fd_ >= 0) ::close(fd_);
}

std::unique_ptr<TAutoSaveSlot> TAutoSaveSlot::Create(const fs::path& dataFolder, uint32_t problemId) {
  const fs::path root = AutoSaveSlotsFolder(dataFolder);
  fs::create_directories(root);
  // The process id and the problem make the name; a left-over folder of an
  // earlier process with the same id is never reused, only skipped.
  const std::string base = std::to_string(::getpid()) + "-" + std::to_string(problemId);
  for (int n = 0; n < 1000; ++n) {
    const std::string id = n == 0 ? base : base + "-" + std::to_string(n);
    const fs::path folder = root / id;
    std::error_code ec;
    if (!fs::create_directory(folder, ec)) {
      if (ec) throw std::runtime_error("Cannot create " + folder.string() + ": " + ec.message());
      continue;  // taken
    }
    const int fd = LockSlot(folder);
    if (fd < 0) throw std::runtime_error("Cannot lock " + (folder / kAutoSaveLockName).string());
    return std::unique_ptr<TAutoSaveSlot>(new TAutoSaveSlot(id, folder, fd));
  }
  throw std::runtime_error("No free auto-save slot in " + root.string());
}

std::unique_ptr<TAutoSaveSlot> TAutoSaveSlot::Claim(const fs::path& dataFolder, const std::string& id,
                                                    std::string* why) {
  const fs::path folder = AutoSaveSlotsFolder(dataFolder) / id;
  std::error_code ec;
  if (id.empty() || id.find('/') != std::string::npos || !fs::is_directory(folder, ec)) {
    if (why) *why = "no auto-save " + id + " in " + AutoSaveSlotsFolder(dataFolder).string();
    return nullptr;
  }
  const int fd = LockSlot(folder);
  if (fd < 0) {
    if (why)
      *why = errno == EWOULDBLOCK ? "the analysis of auto-save " + id + " still runs"
                                  : "cannot lock " + (folder / kAutoSaveLockName).string();
    return nullptr;
  }
  std::unique_ptr<TAutoSaveSlot> slot(new TAutoSaveSlot(id, folder, fd));
  const std::string reg = TAutoSavePaths::In(folder).registerFile.string();
  TAutoSaveInfo info;
  try {
    info = ReadAutoSaveInfo(reg);
  } catch (const std::exception&) {
    info = CurrentAutoSaveInfo({});  // none yet, or unreadable: start afresh
  }
  info.ProcessId = static_cast<long long>(::getpid());
  info.ProcessFileName = OwnExecutablePath();
  try {
    WriteAutoSaveInfo(reg, info);
  } catch (const std::exception& e) {
    if (why) *why = e.what();
    return nullptr;  // the lock goes with the slot
  }
  return slot;
}

void TAutoSaveSlot::Remove() {
  RemoveAutoSave(folder_);
  std::error_code ec;
  fs::remove(folder_ / kAutoSaveLockName, ec);
  fs::remove(folder_, ec);
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

std::vector<TAutoSaveListing> ListAutoSaves(const fs::path& dataFolder) {
  std::vector<std::pair<fs::file_time_type, TAutoSaveListing>> found;
  std::error_code ec;
  for (const auto& e : fs::directory_iterator(AutoSaveSlotsFolder(dataFolder), ec)) {
    if (!e.is_directory(ec)) continue;
    TAutoSaveListing l;
    l.id = e.path().filename().string();
    l.paths = TAutoSavePaths::In(e.path());
    l.ownerRunning = SlotLocked(e.path());
    const bool files = fs::exists(l.paths.registerFile, ec) && fs::exists(l.paths.problemFile, ec);
    try {
      l.info = ReadAutoSaveInfo(l.paths.registerFile.string());
    } catch (const std::exception&) {
    }
    l.resumable = files && !l.ownerRunning;
    const auto t = fs::last_write_time(e.path(), ec);
    found.emplace_back(t, std::move(l));
  }
  std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<TAutoSaveListing> out;
  for (auto& f : found) out.push_back(std::move(f.second));
  return out;
}

std::string AdoptAutoSave(const fs::path& dataFolder, const fs::path& registerFile,
                          const fs::path& problemFile, uint32_t problemId) {
  std::unique_ptr<TAutoSaveSlot> slot = TAutoSaveSlot::Create(dataFolder, problemId);
  const TAutoSavePaths to = TAutoSavePaths::In(slot->Folder());
  std::error_code ec;
  fs::rename(registerFile, to.registerFile, ec);
  if (ec) {
    slot->Remove();
    throw std::runtime_error("Cannot move " + registerFile.string() + " to " + to.registerFile.string() +
                             ": " + ec.message());
  }
  // Without them the register is still worth its slot: the resume says what is missing.
  fs::rename(AutoSaveInfoPath(registerFile.string()), to.infoFile, ec);
  fs::rename(problemFile, to.problemFile, ec);
  TAutoSaveInfo info;
  try {
    info = ReadAutoSaveInfo(to.registerFile.string());
  } catch (const std::exception&) {
    info = CurrentAutoSaveInfo({});
  }
  // Ours from now on, so that nobody else offers it before the run claims it.
  info.ProcessId = static_cast<long long>(::getpid());
  info.ProcessFileName = OwnExecutablePath();
  try {
    WriteAutoSaveInfo(to.registerFile.string(), info);
  } catch (const std::exception&) {
    // The run's claim writes it again, and refuses the slot if it cannot.
  }
  return slot->Id();
}

std::vector<std::pair<std::string, fs::path>> UnheldAutoSaveSlots(const fs::path& dataFolder) {
  std::vector<std::pair<std::string, fs::path>> out;
  std::error_code ec;
  for (const TAutoSaveListing& l : ListAutoSaves(dataFolder))
    if (!l.ownerRunning && fs::exists(l.paths.registerFile, ec)) out.emplace_back(l.id, l.paths.registerFile);
  return out;
}

}  // namespace ostravel
