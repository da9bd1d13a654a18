#include "support/test_support.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <vector>

namespace ostravel::test {

std::string SharedData(const std::string& name) {
  return std::string(OSTRAVEL_SHARED_DATA) + "/" + name;
}

std::string SourcePath(const std::string& name) {
  return std::string(OSTRAVEL_SOURCE_DIR) + "/" + name;
}

namespace {
std::mutex g_dirsLock;
std::vector<std::filesystem::path> g_dirs;
struct Cleaner {
  ~Cleaner() {
    std::error_code ec;
    for (auto& d : g_dirs) std::filesystem::remove_all(d, ec);
  }
} g_cleaner;
}  // namespace

std::string MakeTempDir() {
  std::string tmpl = (std::filesystem::temp_directory_path() / "ostravel-test-XXXXXX").string();
  std::vector<char> buf(tmpl.begin(), tmpl.end());
  buf.push_back('\0');
  const char* made = mkdtemp(buf.data());
  if (!made) std::abort();
  std::lock_guard<std::mutex> lk(g_dirsLock);
  g_dirs.emplace_back(made);
  return made;
}

std::string MakeOfflineHome() {
  const std::string home = MakeTempDir();
  std::ofstream(std::filesystem::path(home) / "options.ini") << "[chess]\nLichessLevels=-1\n";
  return home;
}

std::string UseFreshHome() {
  const std::string home = MakeOfflineHome();
  setenv("OSTRAVEL_HOME", home.c_str(), 1);
  return home;
}

std::string ReadTextFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

void WriteTextFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string CliProgramPath() {
  std::error_code ec;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
  if (ec) return {};
  const std::filesystem::path cli = self.parent_path().parent_path() / "ostravel-cli";
  return std::filesystem::exists(cli, ec) ? cli.string() : std::string();
}

}  // namespace ostravel::test
