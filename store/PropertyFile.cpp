#include "lumbrel/PropertyFile.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "store/EncodedText.h"
#include "store/FoldedHash.h"
#include "store/HashIndex.h"
#include "store/SettingsFormat.h"
#include "store/StoreModel.h"

namespace Lumbrel {

using store::EncodedText;
using Span = EncodedText::Span;

// The entries in file order, new keys behind. An entry is two offsets into
// the model's text (store/EncodedText.h), its key and its value. The lookup
// index is built on the first lookup, so that opening a file to write it
// back or to list it never pays for it.
class PropertyFile::Model : public store::StoreModel {
 public:
  using Offset = EncodedText::Offset;
  struct Entry {
    Offset key;
    Offset value;
  };

  Span keyOf(const Entry& entry) const { return text_.key(entry.key, entry.value); }
  Span valueOf(const Entry& entry) const { return text_.value(entry.value); }

  // The position of the first entry of that key, or size().
  std::size_t find(const wstring& key) {
    if (!indexed_) {
      try {
        std::vector<std::uint32_t> hashes;
        hashes.reserve(entries.size());
        for (const Entry& entry : entries)
          hashes.push_back(static_cast<std::uint32_t>(hashOf(entry)));
        index_.assign(hashes);
        indexed_ = true;
      } catch (...) {
        dropIndex();
        throw;
      }
    }
    const std::size_t found = index_.find(store::FoldedHash::of(key), [&](std::size_t p) {
      return EncodedText::equal(keyOf(entries[p]), key);
    });
    return found == store::HashIndex::kNone ? entries.size() : found;
  }

  // Appends an entry (and indexes it, if there is an index).
  void append(const wstring& key, const wstring& value) {
    entries.push_back(Entry{text_.add(key), text_.add(value)});
    if (!indexed_) return;
    try {
      index_.push(store::FoldedHash::of(key));
    } catch (...) {
      // The next lookup indexes every entry anew.
      dropIndex();
    }
  }

  void setValue(std::size_t position, const wstring& value) {
    const Offset old = entries[position].value;
    entries[position].value = text_.add(value);
    text_.release(old);
    compactText();
  }

  // Removes the entry at `position`, closing the gap. Allocates nothing.
  void erase(std::size_t position) {
    if (indexed_) index_.retain([position](std::size_t p) { return p != position; });
    text_.release(entries[position].key);
    text_.release(entries[position].value);
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(position));
    compactText();
  }

  std::vector<Entry> entries;

 protected:
  void clear() override {
    std::vector<Entry>().swap(entries);
    text_.clear();
    dropIndex();
  }

  void load(store::ByteBuffer bytes, bool complete) override {
    // A line cut off by a failed read is not taken.
    const std::size_t size =
        complete ? bytes.size()
                 : store::completeLines(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    text_.adopt(std::move(bytes), size);
    const char* data = reinterpret_cast<const char*>(text_.file());
    // Room for a line of 24 bytes on average; the pages of room never used
    // are never touched.
    entries.reserve(size / 24 + 16);
    store::SettingsReader reader(data, size, store::SettingsLayout::Flat);
    while (reader.next()) {
      entries.push_back(Entry{static_cast<Offset>(reader.key().begin),
                              static_cast<Offset>(reader.value().begin)});
    }
  }

  void compose(store::FileImage& image) override {
    std::size_t bound = 0;
    for (const Entry& entry : entries)
      bound += store::SettingsWriter::keyLineBound(keyOf(entry), valueOf(entry));
    string bytes(bound, '\0');
    store::SettingsWriter writer(reinterpret_cast<unsigned char*>(&bytes[0]));
    for (const Entry& entry : entries) writer.keyLine(keyOf(entry), valueOf(entry));
    bytes.resize(
        static_cast<std::size_t>(writer.end() - reinterpret_cast<unsigned char*>(&bytes[0])));
    image.take(std::move(bytes));
  }

 private:
  std::uint64_t hashOf(const Entry& entry) const {
    store::FoldedHash hash;
    EncodedText::hash(keyOf(entry), hash);
    return hash.value();
  }

  void dropIndex() {
    indexed_ = false;
    index_.clear();
  }

  // Gives the text back after many values were replaced.
  void compactText() {
    try {
      text_.compact([this](auto move) {
        for (Entry& entry : entries) {
          move(entry.key);
          move(entry.value);
        }
      });
    } catch (...) {
      // Nothing moved: the text stays as it was, only larger.
    }
  }

  EncodedText text_;
  store::HashIndex index_;
  bool indexed_ = false;
};

PropertyFile::PropertyFile() : File(), model_(std::make_unique<Model>()) {}

PropertyFile::PropertyFile(const File::Path& path)
    : File(static_cast<wstring>(path)), model_(std::make_unique<Model>()) {}

PropertyFile::~PropertyFile() { store::StoreModel::closeQuietly(*this); }

void PropertyFile::open(unsigned long word) { model_->open(*this, word); }

void PropertyFile::close() { model_->close(*this); }

void PropertyFile::synchronize() { model_->synchronize(*this); }

void PropertyFile::setSaveMode(SaveMode saving) {
  FileLock guard(*this);
  model_->setSaveMode(saving);
}

SaveMode PropertyFile::getSaveMode() const {
  FileLock guard(const_cast<PropertyFile&>(*this));
  return model_->saveMode();
}

std::vector<wstring> PropertyFile::enumerateKeys() {
  FileLock guard(*this);
  std::vector<wstring> keys;
  keys.reserve(model_->entries.size());
  for (const Model::Entry& entry : model_->entries)
    keys.push_back(EncodedText::decode(model_->keyOf(entry)));
  return keys;
}

void PropertyFile::createKey(const wstring& key) {
  FileLock guard(*this);
  if (model_->find(key) != model_->entries.size()) return;
  model_->append(key, wstring());
}

void PropertyFile::removeKey(const wstring& key) {
  FileLock guard(*this);
  const std::size_t found = model_->find(key);
  if (found != model_->entries.size()) model_->erase(found);
}

wstring PropertyFile::getValue(const wstring& key) {
  FileLock guard(*this);
  const std::size_t found = model_->find(key);
  return found != model_->entries.size() ? EncodedText::decode(model_->valueOf(model_->entries[found]))
                                        : wstring();
}

void PropertyFile::setValue(const wstring& key, const wstring& value) {
  FileLock guard(*this);
  const std::size_t found = model_->find(key);
  if (found != model_->entries.size()) {
    model_->setValue(found, value);
  } else {
    model_->append(key, value);
  }
}

}  // namespace Lumbrel
