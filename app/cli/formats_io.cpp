#include "formats_io.h"

#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "config/safe_file.h"

namespace ostravel::cli {

std::string ReadInput(const std::string& path) {
  if (path == "-")
    return std::string(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error(path + ": cannot be read");
  std::ostringstream ss;
  ss << in.rdbuf();
  if (in.bad()) throw std::runtime_error(path + ": error reading file");
  return ss.str();
}

void WriteOutput(const std::string& path, const std::string& text) {
  if (path == "-") {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
    return;
  }
  // SafeFileError is a runtime_error whose text names the file and the reason.
  SafeWriteFile(path, text);
}

}  // namespace ostravel::cli
