#include "problems/reference_table.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace ostravel {

namespace {

std::vector<std::string> Split(const std::string& s, char sep) {
  std::vector<std::string> out;
  std::string cur;
  std::stringstream ss(s);
  while (std::getline(ss, cur, sep)) out.push_back(cur);
  if (!s.empty() && s.back() == sep) out.emplace_back();
  return out;
}

}  // namespace

std::vector<TReferenceProblem> ReadReferenceTable(const std::string& path) {
  std::error_code ec;
  // A folder opens as a stream that reads nothing: an empty table, not an error.
  if (!std::filesystem::is_regular_file(path, ec)) throw std::runtime_error("Error reading file. " + path);
  std::ifstream in(path);
  if (!in) throw std::runtime_error("Error reading file. " + path);
  std::vector<TReferenceProblem> out;
  std::string line;
  int no = 0;
  int completeCol = -1, sourceCol = -1, referenceCol = -1;
  while (std::getline(in, line)) {
    ++no;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    const auto cols = Split(line, '\t');
    if (cols.size() >= 1 && cols[0] == "id") {
      for (size_t i = 0; i < cols.size(); ++i) {
        if (cols[i] == "complete") completeCol = static_cast<int>(i);
        if (cols[i] == "source") sourceCol = static_cast<int>(i);
        if (cols[i] == "reference_s") referenceCol = static_cast<int>(i);
      }
      continue;
    }
    if (cols.size() < 4)
      throw std::runtime_error(path + ":" + std::to_string(no) + ": expected id, fen, n, keys");
    TReferenceProblem p;
    p.id = cols[0];
    p.fen = cols[1];
    p.lineNo = no;
    try {
      p.moves = std::stoi(cols[2]);
    } catch (const std::exception&) {
      throw std::runtime_error(path + ":" + std::to_string(no) + ": bad move count " + cols[2]);
    }
    if (cols[3] != "none" && !cols[3].empty()) p.keys = Split(cols[3], ',');
    if (completeCol >= 0 && completeCol < static_cast<int>(cols.size()))
      p.complete = cols[completeCol] == "yes";
    if (sourceCol >= 0 && sourceCol < static_cast<int>(cols.size())) p.source = cols[sourceCol];
    if (referenceCol >= 0 && referenceCol < static_cast<int>(cols.size()) && !cols[referenceCol].empty()) {
      try {
        p.referenceSeconds = std::stod(cols[referenceCol]);
      } catch (const std::exception&) {
        throw std::runtime_error(path + ":" + std::to_string(no) + ": bad reference_s " + cols[referenceCol]);
      }
    }
    out.push_back(std::move(p));
  }
  return out;
}

}  // namespace ostravel
