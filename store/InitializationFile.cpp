#include "lumbrel/InitializationFile.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "store/SettingsFormat.h"
#include "store/StoreFile.h"

namespace Lumbrel {

InitializationFile::InitializationFile() : File(), entries(), loadFailed(false) {}

InitializationFile::InitializationFile(const File::Path& path)
    : File(static_cast<wstring>(path)), entries(), loadFailed(false) {}

InitializationFile::~InitializationFile() { store::closeQuietly(*this); }

bool InitializationFile::entryLess(const Entry& a, const Entry& b) {
  const long bySection = compare(a.section, b.section);
  if (bySection != 0) return bySection < 0;
  return compare(a.key, b.key) < 0;
}

void InitializationFile::sortEntries() {
  // A file that this class wrote comes back sorted; checking that costs one
  // comparison per entry against the sort's many.
  if (std::is_sorted(entries.begin(), entries.end(), entryLess)) return;
  // Stable, so that duplicates keep the order of the file. Sorting pointers
  // moves 8 bytes where an entry would move three strings.
  std::vector<Entry*> order;
  order.reserve(entries.size());
  for (Entry& entry : entries) order.push_back(&entry);
  std::stable_sort(order.begin(), order.end(),
                   [](const Entry* a, const Entry* b) { return entryLess(*a, *b); });
  std::vector<Entry> sorted;
  sorted.reserve(entries.size());
  for (Entry* entry : order) sorted.push_back(std::move(*entry));
  entries.swap(sorted);
}

void InitializationFile::open(unsigned long word) {
  FileLock guard(*this);
  File::open(word);
  entries.clear();
  loadFailed = false;
  if ((getMode() & MODE_READ) != 0) readEntries();
  sortEntries();
}

void InitializationFile::readEntries() {
  store::ByteBuffer bytes;
  const bool complete = store::readWholeFile(*this, bytes);
  const char* text = reinterpret_cast<const char*>(bytes.data());
  // A line cut off by the failure is not taken.
  if (!complete) bytes.resize(store::completeLines(text, bytes.size()));
  store::SettingsReader reader(text, bytes.size(), store::SettingsLayout::Sectioned);
  while (reader.next()) {
    entries.push_back(Entry{reader.section(), std::move(reader.key()), std::move(reader.value())});
  }
  if (!complete) {
    loadFailed = true;
    throw std::runtime_error("failed to read from file");
  }
}

void InitializationFile::writeEntries() {
  store::SettingsWriter writer(store::SettingsLayout::Sectioned);
  for (const Entry& entry : entries) writer.add(entry.section, entry.key, entry.value);
  store::replaceFileContent(*this, writer.bytes());
}

void InitializationFile::close() {
  FileLock guard(*this);
  sortEntries();
  if ((getMode() & MODE_WRITE) != 0 && !loadFailed) writeEntries();
  entries.clear();
  File::close();
}

void InitializationFile::synchronize() {
  FileLock guard(*this);
  if (!is_open()) return;
  if ((getMode() & (MODE_READ | MODE_WRITE)) == MODE_WRITE) {
    // Reopening for writing alone would empty the file just written and read
    // nothing back: write the model and keep it, as the reload would leave it.
    sortEntries();
    if (!loadFailed) writeEntries();
    return;
  }
  File::synchronize();
}

std::vector<wstring> InitializationFile::enumerateSections() {
  FileLock guard(*this);
  std::vector<wstring> sections;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (i == 0 || compare(entries[i].section, entries[i - 1].section) != 0) {
      sections.push_back(entries[i].section);
    }
  }
  return sections;
}

void InitializationFile::createSection(const wstring& section) {
  FileLock guard(*this);
  for (const Entry& entry : entries) {
    if (compare(entry.section, section) == 0) return;
  }
  entries.push_back(Entry{section, wstring(), wstring()});
}

void InitializationFile::removeSection(const wstring& section) {
  FileLock guard(*this);
  entries.erase(
      std::remove_if(entries.begin(), entries.end(),
                     [&](const Entry& entry) { return compare(entry.section, section) == 0; }),
      entries.end());
}

std::vector<wstring> InitializationFile::enumerateKeys(const wstring& section) {
  FileLock guard(*this);
  std::vector<wstring> keys;
  for (const Entry& entry : entries) {
    if (compare(entry.section, section) == 0) keys.push_back(entry.key);
  }
  return keys;
}

namespace {

template <class Entries>
auto findEntry(Entries& entries, const wstring& section, const wstring& key) {
  return std::find_if(entries.begin(), entries.end(), [&](const auto& entry) {
    return compare(entry.section, section) == 0 && compare(entry.key, key) == 0;
  });
}

}  // namespace

void InitializationFile::createKey(const wstring& section, const wstring& key) {
  FileLock guard(*this);
  if (findEntry(entries, section, key) != entries.end()) return;
  entries.push_back(Entry{section, key, wstring()});
}

void InitializationFile::removeKey(const wstring& section, const wstring& key) {
  FileLock guard(*this);
  const auto found = findEntry(entries, section, key);
  if (found != entries.end()) entries.erase(found);
}

wstring InitializationFile::getValue(const wstring& section, const wstring& key) {
  FileLock guard(*this);
  const auto found = findEntry(entries, section, key);
  return found != entries.end() ? found->value : wstring();
}

void InitializationFile::setValue(const wstring& section, const wstring& key,
                                  const wstring& value) {
  FileLock guard(*this);
  const auto found = findEntry(entries, section, key);
  if (found != entries.end()) {
    found->value = value;
  } else {
    entries.push_back(Entry{section, key, value});
  }
}

}  // namespace Lumbrel
