// A first look at the library: text conversion, a lock and a file.
#include <lumbrel/lumbrel.h>

#include <iostream>

int main(int argc, char** argv) {
  using namespace Lumbrel;
  const string folder = argc > 1 ? argv[1] : "/tmp";
  const wstring name = make_wstring(folder + "/lumbrel-quickstart.txt");

  const wstring greeting = make_wstring("gr\xC3\xBC\xC3\x9F" "e, \xE2\x82\xAC");
  std::cout << "wide text of " << length(greeting) << " units encodes to "
            << make_string(greeting).size() << " bytes\n";
  std::cout << "compare(\"Key\", \"KEY\") = " << compare("Key", "KEY") << "\n";

  Mutex mutex;
  {
    MutexLock guard(mutex);
    std::cout << "mutex held by this thread; isLocked() from it: " << mutex.isLocked() << "\n";
  }

  File file(name);
  file.open(File::MODE_READ | File::MODE_WRITE);
  file << make_string(greeting) << "\n";
  file.close();
  std::cout << "wrote " << make_string(name) << "; exists: " << File::exists(name) << "\n";
  std::cout << "removed: " << File::remove(name) << "\n";
  return 0;
}
