#include "lumbrel/PropertyFile.h"

#include <cstddef>
#include <utility>

#include "store/EntryIndex.h"
#include "store/SettingsFormat.h"
#include "store/StoreModel.h"

namespace Lumbrel {

// The entries in file order, new keys behind, with the lookup index kept
// inside them.
class PropertyFile::Model : public store::StoreModel {
 public:
  struct Entry {
    wstring key;
    wstring value;
    // The lookup index over `entries` (store/EntryIndex.h): the hash of the
    // key, and two positions in `entries`.
    std::size_t hash = 0;
    std::size_t head = 0;
    std::size_t next = 0;
  };

  // Appends an entry and indexes it.
  void append(wstring key, wstring value) {
    entries.push_back(Entry{std::move(key), std::move(value)});
    entries.back().hash = store::nameHash(entries.back().key);
    store::indexLast(entries);
  }

  // The position of the first entry of that key, or the size.
  std::size_t find(const wstring& key) const {
    const std::size_t found = store::findIndexed(
        entries, store::nameHash(key), [&](const Entry& entry) { return compare(entry.key, key) == 0; });
    return found == store::kNoEntry ? entries.size() : found;
  }

  std::vector<Entry> entries;

 protected:
  void clear() override { entries.clear(); }

  void load(store::ByteBuffer bytes, bool complete) override {
    const char* text = reinterpret_cast<const char*>(bytes.data());
    // A line cut off by a failed read is not taken.
    const std::size_t size = complete ? bytes.size() : store::completeLines(text, bytes.size());
    store::SettingsReader reader(text, size, store::SettingsLayout::Flat);
    while (reader.next()) {
      entries.push_back(Entry{std::move(reader.key()), std::move(reader.value())});
      entries.back().hash = store::nameHash(entries.back().key);
    }
    store::indexAll(entries);
  }

  void compose(store::FileImage& image) override {
    store::SettingsWriter writer(store::SettingsLayout::Flat);
    const wstring noSection;
    for (const Entry& entry : entries) writer.add(noSection, entry.key, entry.value);
    image.take(writer.release());
  }
};

PropertyFile::PropertyFile() : File(), model(std::make_unique<Model>()) {}

PropertyFile::PropertyFile(const File::Path& path)
    : File(static_cast<wstring>(path)), model(std::make_unique<Model>()) {}

PropertyFile::~PropertyFile() { store::StoreModel::closeQuietly(*this); }

void PropertyFile::open(unsigned long word) { model->open(*this, word); }

void PropertyFile::close() { model->close(*this); }

void PropertyFile::synchronize() { model->synchronize(*this); }

void PropertyFile::setSaveMode(SaveMode saving) {
  FileLock guard(*this);
  model->setSaveMode(saving);
}

SaveMode PropertyFile::getSaveMode() const {
  FileLock guard(const_cast<PropertyFile&>(*this));
  return model->saveMode();
}

std::vector<wstring> PropertyFile::enumerateKeys() {
  FileLock guard(*this);
  std::vector<wstring> keys;
  keys.reserve(model->entries.size());
  for (const Model::Entry& entry : model->entries) keys.push_back(entry.key);
  return keys;
}

void PropertyFile::createKey(const wstring& key) {
  FileLock guard(*this);
  if (model->find(key) != model->entries.size()) return;
  model->append(key, wstring());
}

void PropertyFile::removeKey(const wstring& key) {
  FileLock guard(*this);
  const std::size_t found = model->find(key);
  if (found == model->entries.size()) return;
  model->entries.erase(model->entries.begin() + static_cast<std::ptrdiff_t>(found));
  store::indexAll(model->entries);
}

wstring PropertyFile::getValue(const wstring& key) {
  FileLock guard(*this);
  const std::size_t found = model->find(key);
  return found != model->entries.size() ? model->entries[found].value : wstring();
}

void PropertyFile::setValue(const wstring& key, const wstring& value) {
  FileLock guard(*this);
  const std::size_t found = model->find(key);
  if (found != model->entries.size()) {
    model->entries[found].value = value;
  } else {
    model->append(key, value);
  }
}

}  // namespace Lumbrel
