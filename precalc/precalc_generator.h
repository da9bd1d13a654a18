#pragma once
// Retrograde generation of a position type's results: for every placement
// with White to move, the length of White's shortest forced mate in moves, or
// "no mate" (precalc_file.h has the value bytes).
//
// The type's positions are solved together, level by level: mates in one,
// then every position whose best line reaches a solved position, and so on.
// A move that leaves the type (a capture) is answered from the data of the
// smaller type, which must already be in the store; PrecalcGenerationOrder
// gives the order. Castling and en passant never occur in a stored position.
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "precalc/precalc_store.h"

namespace ostravel {

struct TPrecalcGenOptions {
  int threads = 1;
  // Called now and then from the calling thread: phase text and the fraction
  // of the type's work done (0..1).
  std::function<void(const char* phase, double fraction)> progress;
  const std::atomic<bool>* stop = nullptr;  // set: give up (throws PrecalcStopped)
};

class PrecalcStopped : public std::runtime_error {
 public:
  PrecalcStopped() : std::runtime_error("generation stopped") {}
};

// Why a type cannot be generated (empty when it can): a type with pawns, more
// than five men, no kings, or White with nothing but the king (no data needed).
std::string PrecalcNotGeneratable(const std::string& type);

// The types whose data `type` needs, smallest first, ending with `type` (in
// canonical form). Types in which White has only the king are left out.
std::vector<std::string> PrecalcGenerationOrder(const std::string& type);

// Every generatable type of 3 to `men` men, in generation order.
std::vector<std::string> PrecalcTypesUpTo(int men);

// Generates the values of a type. Every type it depends on (all of
// PrecalcGenerationOrder but itself) must have data in the store's folder;
// throws PrecalcFileError naming the missing one otherwise.
std::vector<uint8_t> GeneratePrecalcValues(const std::string& type, CPrecalcStore& store,
                                           const TPrecalcGenOptions& options);

struct TPrecalcTypeReport {
  std::string type;
  double seconds = 0;  // generation time
  uint64_t fileBytes = 0;
  TPrecalcSummary summary;
  bool existed = false;  // a file was there already and was kept
};

// Generates each of `types` with every type it needs that has no file yet
// (with `force` the named types are generated again), writing the files into
// the store's folder. `starting` and `done` are called per type in order.
void GeneratePrecalcFiles(const std::vector<std::string>& types, CPrecalcStore& store,
                          const TPrecalcGenOptions& options, bool force,
                          const std::function<void(const std::string&)>& starting,
                          const std::function<void(const TPrecalcTypeReport&)>& done);

}  // namespace ostravel
