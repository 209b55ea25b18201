// Links against the installed library and uses a little of each family.
#include <lumbrel/lumbrel.h>

#include <iostream>
#include <string>

int main() {
  using namespace Lumbrel;
  const wstring wide = make_wstring("gr\xC3\xBC\xC3\x9F" "e");
  if (make_string(wide) != "gr\xC3\xBC\xC3\x9F" "e" || compare("ABC", "abc") != 0) return 1;

  Mutex mutex;
  MutexLock guard(mutex);

  const File::Path path("consumer.dat");
  if (path.getName() != make_wstring("consumer.dat")) return 1;

  const Uuid id;
  if (Uuid(static_cast<string>(id)) != id) return 1;
  if (static_cast<string>(DateTime("2004-02-29 12:30:45", 3)) != "2004-02-29 12:30:45") return 1;

  DataFile::Record record(make_wstring("key"), {1, 2, 3});
  if (record.getData().size() != 3) return 1;

  std::cout << "consumer: linked against lumbrelcommon\n";
  return 0;
}
