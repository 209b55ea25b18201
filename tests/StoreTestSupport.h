// Helpers for the tests of the three stores, and each store behind one face.
#ifndef LUMBREL_TESTS_STORE_TEST_SUPPORT_H
#define LUMBREL_TESTS_STORE_TEST_SUPPORT_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "lumbrel/DataFile.h"
#include "lumbrel/InitializationFile.h"
#include "lumbrel/PropertyFile.h"
#include "store/DataFileFormat.h"

namespace lumbrel_test {

using Contents = std::map<std::string, std::string>;  // key → value

// One record as a data file holds it.
inline std::string encoded(const Lumbrel::wstring& key, const std::string& data) {
  const Lumbrel::DataFile::Record record(key, std::vector<unsigned char>(data.begin(), data.end()));
  std::string out(Lumbrel::store::encodedSize(record), '\0');
  Lumbrel::store::encodeRecord(record, reinterpret_cast<unsigned char*>(&out[0]));
  return out;
}
inline std::string encoded(const char* key, const std::string& data) {
  return encoded(W(key), data);
}

// Each store behind one face: text values under ASCII keys; a key that is
// not there reads as "". The sectioned store keeps a key that ends in a digit
// in section `S<digit>`, any other key in `S`. kName is a name for the
// store's file, and before() and after() that file before and after "k" is
// set to "new"; rewritten() is the old file as the store writes it.
struct DataStore {
  using Store = Lumbrel::DataFile;
  static constexpr const char* kName = "data";
  // operator[] hands out references no lock covers: a walk through them
  // holds the store's lock, as a caller sharing the store must.
  static void set(Store& file, const std::string& key, const std::string& value) {
    const std::vector<unsigned char> bytes(value.begin(), value.end());
    Lumbrel::FileLock guard(file);
    for (unsigned long i = 0; i < file.size(); ++i)
      if (file[i].getKey() == W(key.c_str())) return file[i].setData(bytes);
    file.insert(Store::Record(W(key.c_str()), bytes));
  }
  static void erase(Store& file, const std::string& key) {
    file.remove(Store::Record(W(key.c_str()), {}));
  }
  static std::string get(Store& file, const std::string& key) { return contents(file)[key]; }
  static Contents contents(Store& file) {
    Lumbrel::FileLock guard(file);
    Contents all;
    for (unsigned long i = 0; i < file.size(); ++i) {
      const std::vector<unsigned char>& data = file[i].getData();
      all[Lumbrel::make_string(file[i].getKey())] = std::string(data.begin(), data.end());
    }
    return all;
  }
  static std::string with(const char* k, const char* value) {
    return encoded("a", "1") + encoded(k, value) + encoded("b", "2");
  }
  static std::string before() { return with(" k ", "old"); }
  static std::string rewritten() { return with("k", "old"); }
  static std::string after() { return with("k", "new"); }
};

struct IniStore {
  using Store = Lumbrel::InitializationFile;
  static constexpr const char* kName = "settings.ini";
  static Lumbrel::wstring section(const std::string& key) {
    const char last = key.back();
    return W(last >= '0' && last <= '9' ? ("S" + std::string(1, last)).c_str() : "S");
  }
  static void set(Store& file, const std::string& key, const std::string& value) {
    file.setValue(section(key), W(key.c_str()), W(value.c_str()));
  }
  static void erase(Store& file, const std::string& key) {
    file.removeKey(section(key), W(key.c_str()));
  }
  static std::string get(Store& file, const std::string& key) {
    return Lumbrel::make_string(file.getValue(section(key), W(key.c_str())));
  }
  static Contents contents(Store& file) {
    Contents all;
    const std::vector<Lumbrel::wstring> listed = file.enumerateSections();
    // Between open and close a section may be listed more than once.
    for (const Lumbrel::wstring& name : std::set<Lumbrel::wstring>(listed.begin(), listed.end()))
      for (const Lumbrel::wstring& key : file.enumerateKeys(name))
        all[Lumbrel::make_string(key)] = Lumbrel::make_string(file.getValue(name, key));
    return all;
  }
  static std::string before() { return "; note\n[S]\nk=old\nb=2\n\n[A]\na=1\n"; }
  static std::string rewritten() { return textBytes("[A]\na=1\n[S]\nb=2\nk=old\n"); }
  static std::string after() { return textBytes("[A]\na=1\n[S]\nb=2\nk=new\n"); }
};

struct PropertyStore {
  using Store = Lumbrel::PropertyFile;
  static constexpr const char* kName = "settings.properties";
  static void set(Store& file, const std::string& key, const std::string& value) {
    file.setValue(W(key.c_str()), W(value.c_str()));
  }
  static void erase(Store& file, const std::string& key) { file.removeKey(W(key.c_str())); }
  static std::string get(Store& file, const std::string& key) {
    return Lumbrel::make_string(file.getValue(W(key.c_str())));
  }
  static Contents contents(Store& file) {
    Contents all;
    for (const Lumbrel::wstring& key : file.enumerateKeys())
      all[Lumbrel::make_string(key)] = Lumbrel::make_string(file.getValue(key));
    return all;
  }
  static std::string before() { return "# note\nk=old\nb=2\n\n"; }
  static std::string rewritten() { return textBytes("k=old\nb=2\n"); }
  static std::string after() { return textBytes("k=new\nb=2\n"); }
};

using Stores = ::testing::Types<DataStore, IniStore, PropertyStore>;

}  // namespace lumbrel_test

#endif  // LUMBREL_TESTS_STORE_TEST_SUPPORT_H
