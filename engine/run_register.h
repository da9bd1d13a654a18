#pragma once
// The register's life around one run, on the run's own thread: before the
// search the pinned file is loaded, then the file asked for is merged, and
// the auto-save of a mate search starts in the run's own slot; after it, a
// stopped run saves once more for a resume, a completed one removes its
// auto-save, and the register is saved where asked. Private to the engine.
#include <memory>
#include <string>

namespace ostravel {

struct TRunShared;
class TAutoSaver;
class TAutoSaveSlot;

class TRunRegisterLife {
 public:
  explicit TRunRegisterLife(TRunShared& st);
  ~TRunRegisterLife();
  TRunRegisterLife(const TRunRegisterLife&) = delete;
  TRunRegisterLife& operator=(const TRunRegisterLife&) = delete;

  // Before the run. Returns the refusal text (a file to load that cannot be
  // read, a slot another run owns), empty when the run may go on.
  std::string Prepare();
  // After the run, with its result filled in (status included).
  void Conclude();

 private:
  TRunShared& st_;
  std::unique_ptr<TAutoSaveSlot> slot_;
  std::unique_ptr<TAutoSaver> saver_;
};

}  // namespace ostravel
