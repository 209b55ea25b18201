// A plain driver for the fuzz targets, so that every build, g++ included,
// runs them over their committed inputs as ordinary tests: each argument is a
// file or a folder of files (dot files skipped, in name order), and each file
// goes once through LLVMFuzzerTestOneInput. A target that finds a fault
// aborts, and the last name printed is the input that made it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

bool replay(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    std::cerr << "replay: cannot read " << file.string() << '\n';
    return false;
  }
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
  std::cout << "replay: " << file.string() << std::endl;
  // The data pointer of an empty input is not dereferenced; libFuzzer too
  // hands over a valid pointer then.
  static const std::uint8_t nothing = 0;
  const auto* data =
      bytes.empty() ? &nothing : reinterpret_cast<const std::uint8_t*>(bytes.data());
  LLVMFuzzerTestOneInput(data, bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    const fs::path argument(argv[i]);
    std::error_code error;
    if (!fs::is_directory(argument, error)) {
      if (!replay(argument)) return 1;
      ++count;
      continue;
    }
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(argument)) {
      const std::string name = entry.path().filename().string();
      if (entry.is_regular_file() && name.front() != '.') files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
      if (!replay(file)) return 1;
      ++count;
    }
  }
  std::cout << "replay: " << count << " inputs, no fault\n";
  return 0;
}
