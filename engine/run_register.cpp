#include "engine/run_register.h"

#include <filesystem>

#include "engine/autosave.h"
#include "engine/run_internal.h"
#include "registers/register_file.h"
#include "registers/temporary_register.h"

namespace ostravel {

namespace {

std::string Joined(const std::vector<TUserMessage>& messages) {
  std::string s;
  for (const TUserMessage& m : messages) {
    if (!s.empty()) s += '\n';
    s += m.text;
  }
  return s;
}

TEngineEvent RegisterEvent(TEngineEvent::Kind kind, std::string text) {
  TEngineEvent e;
  e.kind = kind;
  e.text = std::move(text);
  return e;
}

}  // namespace

TRunRegisterLife::TRunRegisterLife(TRunShared& st) : st_(st) {}

TRunRegisterLife::~TRunRegisterLife() = default;

std::string TRunRegisterLife::Prepare() {
  TSolveRequest& r = st_.req;
  const TRunRegisterFiles& files = r.registerFiles;
  const bool mate = st_.task == TEngineTask::kMate;
  const bool saving = mate && r.autoSave.enabled && r.autoSave.period.count() > 0 && r.autoSave.limitMB > 0;
  // A resumed slot is held even without periodic saves: nobody else may
  // write it while this run lives.
  const bool ownSlot = mate && (saving || !r.autoSave.slot.empty());
  if (!files.Any() && !ownSlot) return {};
  if (!r.reg) r.reg = MakeRunRegister(r.moves, r.whiteToMove, r.registerLimitMB);
  auto& reg = *r.reg;

  if (ownSlot) {
    const std::filesystem::path folder = r.autoSave.folder.empty() ? std::filesystem::path(r.dataFolder)
                                                                   : std::filesystem::path(r.autoSave.folder);
    if (r.autoSave.slot.empty()) {
      try {
        slot_ = TAutoSaveSlot::Create(folder, r.problemId);
      } catch (const std::exception& e) {
        st_.Event(RegisterEvent(TEngineEvent::kRegisterWarning, std::string("no auto-save: ") + e.what()));
      }
    } else {
      std::string why;
      slot_ = TAutoSaveSlot::Claim(folder, r.autoSave.slot, &why);
      if (!slot_) return why;
    }
  }

  // The pinned file first: the file asked for adds to it.
  if (!files.pinnedFile.empty()) {
    const TRegisterReadResult pinned =
        ReadRegisterFile(reg, files.pinnedFile, reg.BucketCount(), files.readOptions);
    if (pinned.completed)
      st_.Event(RegisterEvent(TEngineEvent::kRegisterLoaded, pinned.report));
    else  // the records read before the fault stay; the search only loses the rest
      st_.Event(RegisterEvent(TEngineEvent::kRegisterWarning, "pinned register: " + pinned.error));
  }
  if (!files.loadFile.empty()) {
    const TRegisterReadResult loaded =
        ReadRegisterFile(reg, files.loadFile, reg.BucketCount(), files.readOptions);
    if (!loaded.completed) return loaded.error;
    st_.Event(RegisterEvent(TEngineEvent::kRegisterLoaded, loaded.report));
  }

  if (saving && slot_) {
    saver_ = std::make_unique<TAutoSaver>(r.reg, ProblemOfRequest(r), r.autoSave.period, r.autoSave.limitMB,
                                          slot_->Folder(), r.autoSave.compress);
    saver_->SetMemoryRatios(r.autoSave.maxMemRatioForPrecalculatedData, r.autoSave.maxMemRatioPerProblem);
  }
  if (slot_) st_.result.autoSaveSlot = slot_->Id();
  return {};
}

void TRunRegisterLife::Conclude() {
  TSolveResult& res = st_.result;
  const TSolveRequest& r = st_.req;
  if (saver_) saver_->Stop();
  if (slot_) {
    if (res.status == TRunStatus::kCompleted) {
      // The analysis is complete: nothing is left to recover.
      saver_.reset();
      slot_->Remove();
    } else if (res.status == TRunStatus::kStopped && saver_) {
      // What the stopped run proved is kept for a resume.
      if (saver_->SaveNow()) {
        res.autoSaveKept = true;
        st_.Event(RegisterEvent(TEngineEvent::kAutoSaved, saver_->Paths().registerFile.string()));
      } else {
        st_.Event(RegisterEvent(TEngineEvent::kRegisterWarning, "auto-save: " + saver_->LastError()));
      }
    } else if (!saver_ || saver_->Saves() == 0) {
      const TAutoSavePaths paths = TAutoSavePaths::In(slot_->Folder());
      std::error_code ec;
      res.autoSaveKept = std::filesystem::exists(paths.registerFile, ec);
      // An empty slot of a run that never saved is no use to anybody.
      if (!res.autoSaveKept) slot_->Remove();
    } else {
      res.autoSaveKept = true;
    }
  }
  saver_.reset();
  if (r.reg) res.registerEntries = r.reg->ElementCount();
  const TRunRegisterFiles& files = r.registerFiles;
  if (!files.saveFile.empty() && r.reg &&
      (res.status == TRunStatus::kCompleted || res.status == TRunStatus::kStopped)) {
    TRegisterSaveOptions opt;
    opt.compress = files.compress;
    opt.limitMB = files.saveLimitMB ? files.saveLimitMB
                                    : (r.registerLimitMB ? r.registerLimitMB : DefaultRegisterLimitMB());
    try {
      const TRegisterSaveResult saved = SaveRegisterFile(*r.reg, files.saveFile, opt);
      if (saved.status == 0) {
        res.registerSaved = false;
        res.registerError = Joined(saved.messages);
      } else {
        st_.Event(RegisterEvent(TEngineEvent::kRegisterSaved, Joined(saved.messages)));
      }
    } catch (const std::exception& e) {
      res.registerSaved = false;
      res.registerError = e.what();
    }
  }
  slot_.reset();  // the lock goes last, after the last write
}

}  // namespace ostravel
