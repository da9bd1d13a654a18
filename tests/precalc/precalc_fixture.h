#pragma once
// The 3-man types generated once per test program into a temporary folder.
#include <memory>
#include <string>

#include "precalc/precalc_generator.h"
#include "precalc/precalc_store.h"
#include "support/test_support.h"

namespace ostravel::test {

inline const std::string& ThreeManFolder() {
  static const std::string folder = [] {
    const std::string dir = MakeTempDir();
    CPrecalcStore store(dir, 1u << 26);
    TPrecalcGenOptions o;
    o.threads = 2;
    GeneratePrecalcFiles({"KQk", "KRk", "KBk", "KNk", "KPk"}, store, o, false, nullptr, nullptr);
    return dir;
  }();
  return folder;
}

}  // namespace ostravel::test
