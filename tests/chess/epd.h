#pragma once
// Reader of perft EPD lines: "FEN ;D1 n ;D2 n ...".
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace ostravel::test {

struct EpdLine {
  int lineNo = 0;
  std::string fen;
  std::vector<std::pair<int, uint64_t>> counts;  // (depth, nodes)
};

inline std::vector<EpdLine> ReadEpd(const std::string& path) {
  std::vector<EpdLine> out;
  std::ifstream in(path);
  std::string line;
  int no = 0;
  while (std::getline(in, line)) {
    ++no;
    if (line.empty() || line[0] == '#') continue;
    EpdLine e;
    e.lineNo = no;
    std::stringstream ss(line);
    std::string part;
    std::getline(ss, e.fen, ';');
    while (!e.fen.empty() && e.fen.back() == ' ') e.fen.pop_back();
    while (std::getline(ss, part, ';')) {
      int d = 0;
      unsigned long long n = 0;
      if (std::sscanf(part.c_str(), " D%d %llu", &d, &n) == 2) e.counts.emplace_back(d, n);
    }
    out.push_back(std::move(e));
  }
  return out;
}

}  // namespace ostravel::test
