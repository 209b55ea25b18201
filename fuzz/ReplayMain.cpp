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

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    std::error_code error;
    std::vector<fs::path> found;
    if (!fs::is_directory(argv[i], error)) found.emplace_back(argv[i]);
    for (const fs::directory_entry& entry : fs::directory_iterator(argv[i], error))
      if (entry.is_regular_file() && entry.path().filename().string()[0] != '.')
        found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
  }
  for (const fs::path& file : files) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
      std::cerr << "replay: cannot read " << file.string() << '\n';
      return 1;
    }
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::cout << "replay: " << file.string() << std::endl;
    // A std::string's data() is a valid pointer also when it is empty, as
    // libFuzzer's is.
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::cout << "replay: " << files.size() << " inputs, no fault\n";
  return 0;
}
