#include "lumbrel/PropertyFile.h"

#include <cstddef>
#include <stdexcept>
#include <utility>

#include "store/EntryIndex.h"
#include "store/SettingsFormat.h"
#include "store/StoreFile.h"

namespace Lumbrel {

PropertyFile::PropertyFile() : File(), entries(), loadFailed(false) {}

PropertyFile::PropertyFile(const File::Path& path)
    : File(static_cast<wstring>(path)), entries(), loadFailed(false) {}

PropertyFile::~PropertyFile() { store::closeQuietly(*this); }

void PropertyFile::open(unsigned long word) {
  FileLock guard(*this);
  File::open(word);
  entries.clear();
  loadFailed = false;
  if ((getMode() & MODE_READ) != 0) readEntries();
}

void PropertyFile::readEntries() {
  store::ByteBuffer bytes;
  const bool complete = store::readWholeFile(*this, bytes);
  const char* text = reinterpret_cast<const char*>(bytes.data());
  // A line cut off by the failure is not taken.
  if (!complete) bytes.resize(store::completeLines(text, bytes.size()));
  store::SettingsReader reader(text, bytes.size(), store::SettingsLayout::Flat);
  while (reader.next()) {
    entries.push_back(Entry{std::move(reader.key()), std::move(reader.value())});
    entries.back().hash = store::nameHash(entries.back().key);
  }
  store::indexAll(entries);
  if (!complete) {
    loadFailed = true;
    throw std::runtime_error("failed to read from file");
  }
}

void PropertyFile::writeEntries() {
  store::SettingsWriter writer(store::SettingsLayout::Flat);
  const wstring noSection;
  for (const Entry& entry : entries) writer.add(noSection, entry.key, entry.value);
  store::replaceFileContent(*this, writer.bytes());
}

void PropertyFile::close() {
  FileLock guard(*this);
  if ((getMode() & MODE_WRITE) != 0 && !loadFailed) writeEntries();
  entries.clear();
  File::close();
}

void PropertyFile::synchronize() {
  FileLock guard(*this);
  if (!is_open()) return;
  if ((getMode() & (MODE_READ | MODE_WRITE)) == MODE_WRITE) {
    // Reopening for writing alone would empty the file just written and read
    // nothing back: write the model and keep it, as the reload would leave it.
    if (!loadFailed) writeEntries();
    return;
  }
  File::synchronize();
}

void PropertyFile::append(wstring key, wstring value) {
  entries.push_back(Entry{std::move(key), std::move(value)});
  entries.back().hash = store::nameHash(entries.back().key);
  store::indexLast(entries);
}

std::size_t PropertyFile::find(const wstring& key) const {
  const std::size_t found = store::findIndexed(
      entries, store::nameHash(key), [&](const Entry& entry) { return compare(entry.key, key) == 0; });
  return found == store::kNoEntry ? entries.size() : found;
}

std::vector<wstring> PropertyFile::enumerateKeys() {
  FileLock guard(*this);
  std::vector<wstring> keys;
  keys.reserve(entries.size());
  for (const Entry& entry : entries) keys.push_back(entry.key);
  return keys;
}

void PropertyFile::createKey(const wstring& key) {
  FileLock guard(*this);
  if (find(key) != entries.size()) return;
  append(key, wstring());
}

void PropertyFile::removeKey(const wstring& key) {
  FileLock guard(*this);
  const std::size_t found = find(key);
  if (found == entries.size()) return;
  entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(found));
  store::indexAll(entries);
}

wstring PropertyFile::getValue(const wstring& key) {
  FileLock guard(*this);
  const std::size_t found = find(key);
  return found != entries.size() ? entries[found].value : wstring();
}

void PropertyFile::setValue(const wstring& key, const wstring& value) {
  FileLock guard(*this);
  const std::size_t found = find(key);
  if (found != entries.size()) {
    entries[found].value = value;
  } else {
    append(key, value);
  }
}

}  // namespace Lumbrel
