#include "config/paths.h"
#include "config/settings.h"
#include "precalc/position_type.h"

namespace ostravel {

std::filesystem::path GlobalRegisterFolder() {
  const std::string& custom = Settings().PrecalcPath;
  if (!custom.empty()) return custom;
  return DataFolder() / "CustomPrecalc";
}

}  // namespace ostravel
