#pragma once
// Files and standard input or output for the commands that read and write
// problems; "-" stands for standard input or output. The formats themselves
// are the library's (problems/formats.h).
#include <string>

#include "problems/formats.h"

namespace ostravel::cli {

// The whole file, or standard input for "-". Throws std::runtime_error
// naming the file when it cannot be read.
std::string ReadInput(const std::string& path);
// Writes safely (config/safe_file.h); "-" writes to standard output. Throws
// std::runtime_error.
void WriteOutput(const std::string& path, const std::string& text);

}  // namespace ostravel::cli
