#include "config/paths.h"
#include "config/settings.h"
#include "precalc/position_type.h"

namespace ostravel {

std::filesystem::path GlobalRegisterFolder(const std::string& precalcPath) {
  if (!precalcPath.empty()) return precalcPath;
  return DataFolder() / "CustomPrecalc";
}

std::filesystem::path GlobalRegisterFolder() {
  return GlobalRegisterFolder(Settings().PrecalcPath);
}

}  // namespace ostravel
