// Writes lumbrel(1) to the file named by its first argument; the build runs it
// and installs the page beside the tool.
#include <fstream>
#include <iostream>

#include "ManualPage.h"

#ifndef LUMBREL_VERSION
#define LUMBREL_VERSION "unknown"
#endif

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: lumbrel_manual OUTPUT\n";
    return 2;
  }
  std::ofstream out(argv[1], std::ios::binary | std::ios::trunc);
  out << lumbrel_tool::manualPage(LUMBREL_VERSION);
  out.close();
  if (!out) {
    std::cerr << "lumbrel_manual: cannot write " << argv[1] << '\n';
    return 1;
  }
  return 0;
}
