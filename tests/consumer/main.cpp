// Links against the installed library and uses a little of everything.
#include <lumbrel/lumbrel.h>

#include <iostream>

int main() {
  const Lumbrel::wstring wide = Lumbrel::make_wstring("gr\xC3\xBC\xC3\x9F" "e");
  if (Lumbrel::make_string(wide) != "gr\xC3\xBC\xC3\x9F" "e") return 1;
  if (Lumbrel::compare("ABC", "abc") != 0) return 1;
  Lumbrel::Mutex mutex;
  Lumbrel::MutexLock guard(mutex);
  std::cout << "consumer: linked against lumbrelcommon\n";
  return 0;
}
