#include "lumbrel/InitializationFile.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "store/EncodedText.h"
#include "store/FoldedHash.h"
#include "store/HashIndex.h"
#include "store/SettingsFormat.h"
#include "store/StoreModel.h"

namespace Lumbrel {

using store::EncodedText;
using Span = EncodedText::Span;
using SortKey = EncodedText::SortKey;

// The entries in model order. An entry is three offsets into the model's
// text (store/EncodedText.h): its key, its value, and its section, by way of
// the table of section names, one for each header of the file and for each
// section a caller named (entries made one after the other in the same
// section share one). The lookup index is built on the first lookup, so that
// opening a file to write it back or to list it never pays for it.
class InitializationFile::Model : public store::StoreModel {
 public:
  using Offset = EncodedText::Offset;
  struct Section {
    Offset name;
    std::uint32_t length;  // of a file's name; a caller's carries its own
  };
  struct Entry {
    std::uint32_t section;
    Offset key;
    Offset value;
  };

  Span sectionOf(const Entry& entry) const {
    const Section& section = sections[entry.section];
    return text_.name(section.name, section.length);
  }
  Span keyOf(const Entry& entry) const { return text_.key(entry.key, entry.value); }
  Span valueOf(const Entry& entry) const { return text_.value(entry.value); }
  bool sameSection(const Entry& a, const Entry& b) const {
    return a.section == b.section || EncodedText::compare(sectionOf(a), sectionOf(b)) == 0;
  }

  // Whether each section name compares equal to `section`, one test per
  // name: calls act(position) for every entry of that section.
  template <class Act>
  void forSection(const wstring& section, Act act) const {
    std::vector<signed char> matches(sections.size(), -1);
    for (std::size_t i = 0; i < entries.size(); ++i) {
      signed char& match = matches[entries[i].section];
      if (match < 0) match = EncodedText::equal(sectionOf(entries[i]), section) ? 1 : 0;
      if (match != 0 && !act(i)) return;
    }
  }

  // The position of the first entry of that section and key, or size().
  std::size_t find(const wstring& section, const wstring& key);
  // Appends an entry (and indexes it, if there is an index).
  void append(const wstring& section, const wstring& key, const wstring& value);
  void setValue(std::size_t position, const wstring& value);
  // Removes the entries at the positions for which remove(position) holds,
  // closing the gaps. Allocates nothing.
  template <class Remove>
  void erase(Remove remove) {
    // The index keeps the positions of the entries kept, renumbered alike.
    if (indexed_) index_.retain([&remove](std::size_t p) { return !remove(p); });
    std::vector<std::uint32_t>().swap(hashes_);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (remove(i)) {
        text_.release(entries[i].key);
        text_.release(entries[i].value);
      } else {
        entries[kept++] = entries[i];
      }
    }
    entries.resize(kept);
    compactText();
  }

  std::vector<Section> sections;
  std::vector<Entry> entries;

 protected:
  void clear() override;
  void load(store::ByteBuffer bytes, bool complete) override;
  void loaded() override { sortEntries(true); }
  void compose(store::FileImage& image) override;

 private:
  // Ascending by section, then key, case ignored; equal entries keep their
  // order. With `hashing`, also gathers the hashes of the sorted entries for
  // the index, while their text is at hand.
  void sortEntries(bool hashing);
  bool less(const Entry& a, const Entry& b) const;
  // The hash of an entry's key within its section, which hashes to `seed`.
  std::uint64_t hashOf(const Entry& entry, std::uint64_t seed) const;
  std::uint64_t seedOf(const Entry& entry) const;
  void buildIndex();
  void dropIndex() {
    indexed_ = false;
    index_.clear();
    std::vector<std::uint32_t>().swap(hashes_);
  }
  // Gives the text back after many values were replaced.
  void compactText();

  EncodedText text_;
  store::HashIndex index_;
  bool indexed_ = false;
  // The hash of each entry, when the sort gathered them and nothing changed
  // since.
  std::vector<std::uint32_t> hashes_;
};

InitializationFile::InitializationFile() : File(), model_(std::make_unique<Model>()) {}

InitializationFile::InitializationFile(const File::Path& path)
    : File(static_cast<wstring>(path)), model_(std::make_unique<Model>()) {}

InitializationFile::~InitializationFile() { store::StoreModel::closeQuietly(*this); }

void InitializationFile::Model::clear() {
  std::vector<Entry>().swap(entries);
  std::vector<Section>().swap(sections);
  text_.clear();
  dropIndex();
}

void InitializationFile::Model::load(store::ByteBuffer bytes, bool complete) {
  // A line cut off by a failed read is not taken.
  const std::size_t size =
      complete ? bytes.size()
               : store::completeLines(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  text_.adopt(std::move(bytes), size);
  const char* data = reinterpret_cast<const char*>(text_.file());
  // Room for a line of 24 bytes on average; the pages of room never used
  // are never touched.
  entries.reserve(size / 24 + 16);
  store::SettingsReader reader(data, size, store::SettingsLayout::Sectioned);
  std::size_t header = 0;
  while (reader.next()) {
    if (sections.empty() || reader.header() != header) {
      header = reader.header();
      const auto name = reader.section();
      sections.push_back(Section{static_cast<Offset>(name.begin),
                                 static_cast<std::uint32_t>(name.end - name.begin)});
    }
    entries.push_back(Entry{static_cast<std::uint32_t>(sections.size() - 1),
                            static_cast<Offset>(reader.key().begin),
                            static_cast<Offset>(reader.value().begin)});
  }
}

bool InitializationFile::Model::less(const Entry& a, const Entry& b) const {
  if (a.section != b.section) {
    const long bySection = EncodedText::compare(sectionOf(a), sectionOf(b));
    if (bySection != 0) return bySection < 0;
  }
  return EncodedText::compare(keyOf(a), keyOf(b)) < 0;
}

namespace {

// A text's sort key beside what it belongs to (a section, an entry).
struct Keyed {
  SortKey key;
  std::uint32_t item;
};

// Sorts by key, ties settled by compare() of the whole texts, then by item:
// with items in their old order, that is a stable sort by text.
template <class TextOf>
void sortKeyed(std::vector<Keyed>::iterator begin, std::vector<Keyed>::iterator end,
               TextOf textOf) {
  std::sort(begin, end, [&textOf](const Keyed& a, const Keyed& b) {
    if (!(a.key == b.key)) return a.key < b.key;
    if (!a.key.complete()) {
      const long order = EncodedText::compare(textOf(a.item), textOf(b.item));
      if (order != 0) return order < 0;
    }
    return a.item < b.item;
  });
}

}  // namespace

void InitializationFile::Model::sortEntries(bool hashing) {
  const std::size_t count = entries.size();
  std::size_t unsorted = 1;
  while (unsorted < count && !less(entries[unsorted], entries[unsorted - 1])) ++unsorted;
  // A file that this class wrote comes back sorted.
  if (unsorted >= count) return;

  // The runs of entries under one section name in the model, and a rank for
  // each name: names that compare equal share one, and ranks ascend as
  // names do.
  struct Run {
    std::uint32_t begin;
    std::uint32_t end;
  };
  std::vector<Run> runs;
  std::vector<std::uint32_t> rank(sections.size(), 0);
  std::vector<Keyed> names;
  {
    std::vector<bool> used(sections.size(), false);
    for (std::size_t i = 0; i < count;) {
      std::size_t end = i + 1;
      while (end < count && entries[end].section == entries[i].section) ++end;
      runs.push_back(Run{static_cast<std::uint32_t>(i), static_cast<std::uint32_t>(end)});
      used[entries[i].section] = true;
      i = end;
    }
    for (std::uint32_t s = 0; s < sections.size(); ++s) {
      if (used[s])
        names.push_back(
            Keyed{EncodedText::sortKey(text_.name(sections[s].name, sections[s].length)), s});
    }
  }
  const auto nameOf = [this](std::uint32_t s) {
    return text_.name(sections[s].name, sections[s].length);
  };
  sortKeyed(names.begin(), names.end(), nameOf);
  std::uint32_t ranks = 0;
  for (std::size_t n = 0; n < names.size(); ++n) {
    if (n > 0 && (!(names[n].key == names[n - 1].key) ||
                  (!names[n].key.complete() &&
                   EncodedText::compare(nameOf(names[n].item), nameOf(names[n - 1].item)) != 0)))
      ++ranks;
    rank[names[n].item] = ranks;
  }
  std::vector<Keyed>().swap(names);

  // The runs in order of rank, runs of one rank in model order (a counting
  // sort), and the entries of one rank then sorted by key.
  std::vector<std::uint32_t> firstRun(ranks + 2, 0);
  for (const Run& run : runs) ++firstRun[rank[entries[run.begin].section] + 1];
  for (std::size_t r = 1; r < firstRun.size(); ++r) firstRun[r] += firstRun[r - 1];
  std::vector<std::uint32_t> runOrder(runs.size());
  for (std::uint32_t r = 0; r < runs.size(); ++r)
    runOrder[firstRun[rank[entries[runs[r].begin].section]]++] = r;

  std::vector<Entry> sorted;
  sorted.reserve(count);
  std::vector<std::uint32_t> sortedHashes;
  if (hashing) sortedHashes.reserve(count);
  std::vector<Keyed> keys;
  const auto keyAt = [this](std::uint32_t position) { return keyOf(entries[position]); };
  for (std::size_t r = 0; r < runOrder.size();) {
    const std::uint32_t group = rank[entries[runs[runOrder[r]].begin].section];
    keys.clear();
    for (; r < runOrder.size() && rank[entries[runs[runOrder[r]].begin].section] == group; ++r) {
      const Run& run = runs[runOrder[r]];
      for (std::uint32_t p = run.begin; p < run.end; ++p)
        keys.push_back(Keyed{EncodedText::sortKey(keyOf(entries[p])), p});
    }
    const bool inOrder =
        std::is_sorted(keys.begin(), keys.end(), [&](const Keyed& a, const Keyed& b) {
          if (!(a.key == b.key)) return a.key < b.key;
          return !a.key.complete() && EncodedText::compare(keyAt(a.item), keyAt(b.item)) < 0;
        });
    if (!inOrder) sortKeyed(keys.begin(), keys.end(), keyAt);
    // The names of one rank compare equal, so they hash alike.
    const std::uint64_t seed = hashing ? seedOf(entries[keys.front().item]) : 0;
    for (const Keyed& keyed : keys) {
      sorted.push_back(entries[keyed.item]);
      if (hashing) sortedHashes.push_back(static_cast<std::uint32_t>(hashOf(sorted.back(), seed)));
    }
  }
  // Nothing has changed up to here; from here on nothing allocates.
  entries.swap(sorted);
  dropIndex();
  hashes_.swap(sortedHashes);
}

// A section's hash, with its lowest bit set so that it is never 0, seeds the
// hashes of the keys within it.
std::uint64_t InitializationFile::Model::seedOf(const Entry& entry) const {
  store::FoldedHash section;
  EncodedText::hash(sectionOf(entry), section);
  return section.value() | 1;
}

std::uint64_t InitializationFile::Model::hashOf(const Entry& entry, std::uint64_t seed) const {
  store::FoldedHash hash(seed);
  EncodedText::hash(keyOf(entry), hash);
  return hash.value();
}

void InitializationFile::Model::buildIndex() {
  std::vector<std::uint32_t> all;
  if (hashes_.size() == entries.size()) {
    all.swap(hashes_);
  } else {
    std::vector<std::uint64_t> seeds(sections.size(), 0);
    all.reserve(entries.size());
    for (const Entry& entry : entries) {
      std::uint64_t& seed = seeds[entry.section];
      if (seed == 0) seed = seedOf(entry);
      all.push_back(static_cast<std::uint32_t>(hashOf(entry, seed)));
    }
  }
  index_.assign(all);
  indexed_ = true;
}

std::size_t InitializationFile::Model::find(const wstring& section, const wstring& key) {
  if (!indexed_) {
    try {
      buildIndex();
    } catch (...) {
      dropIndex();
      throw;
    }
  }
  store::FoldedHash hash(store::FoldedHash::of(section) | 1);
  hash.add(key);
  const std::size_t found = index_.find(hash.value(), [&](std::size_t p) {
    return EncodedText::equal(sectionOf(entries[p]), section) &&
           EncodedText::equal(keyOf(entries[p]), key);
  });
  return found == store::HashIndex::kNone ? entries.size() : found;
}

void InitializationFile::Model::append(const wstring& section, const wstring& key,
                                       const wstring& value) {
  // Entries made one after the other in one section share its name, as the
  // entries under one header do.
  std::uint32_t named = 0;
  if (!entries.empty() && EncodedText::same(sectionOf(entries.back()), section)) {
    named = entries.back().section;
  } else {
    const Offset name = text_.add(section);
    sections.push_back(Section{name, 0});
    named = static_cast<std::uint32_t>(sections.size() - 1);
  }
  entries.push_back(Entry{named, text_.add(key), text_.add(value)});
  if (!indexed_) {
    std::vector<std::uint32_t>().swap(hashes_);
    return;
  }
  try {
    index_.push(hashOf(entries.back(), store::FoldedHash::of(section) | 1));
  } catch (...) {
    // The next lookup indexes every entry anew.
    dropIndex();
  }
}

void InitializationFile::Model::setValue(std::size_t position, const wstring& value) {
  const Offset old = entries[position].value;
  entries[position].value = text_.add(value);
  text_.release(old);
  compactText();
}

void InitializationFile::Model::compactText() {
  try {
    text_.compact([this](auto move) {
      for (Section& section : sections) move(section.name);
      for (Entry& entry : entries) {
        move(entry.key);
        move(entry.value);
      }
    });
  } catch (...) {
    // Nothing moved: the text stays as it was, only larger.
  }
}

void InitializationFile::Model::compose(store::FileImage& image) {
  sortEntries(false);
  const auto headerAt = [this](std::size_t i) {
    return i == 0 || !sameSection(entries[i], entries[i - 1]);
  };
  std::size_t bound = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (headerAt(i)) bound += store::SettingsWriter::headerBound(sectionOf(entries[i]));
    bound += store::SettingsWriter::keyLineBound(keyOf(entries[i]), valueOf(entries[i]));
  }
  string bytes(bound, '\0');
  store::SettingsWriter writer(reinterpret_cast<unsigned char*>(&bytes[0]));
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (headerAt(i)) writer.header(sectionOf(entries[i]));
    writer.keyLine(keyOf(entries[i]), valueOf(entries[i]));
  }
  bytes.resize(
      static_cast<std::size_t>(writer.end() - reinterpret_cast<unsigned char*>(&bytes[0])));
  image.take(std::move(bytes));
}

void InitializationFile::open(unsigned long word) { model_->open(*this, word); }

void InitializationFile::close() { model_->close(*this); }

void InitializationFile::synchronize() { model_->synchronize(*this); }

void InitializationFile::setSaveMode(SaveMode saving) {
  FileLock guard(*this);
  model_->setSaveMode(saving);
}

SaveMode InitializationFile::getSaveMode() const {
  FileLock guard(const_cast<InitializationFile&>(*this));
  return model_->saveMode();
}

std::vector<wstring> InitializationFile::enumerateSections() {
  FileLock guard(*this);
  const std::vector<Model::Entry>& entries = model_->entries;
  std::vector<wstring> sections;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (i == 0 || !model_->sameSection(entries[i], entries[i - 1]))
      sections.push_back(EncodedText::decode(model_->sectionOf(entries[i])));
  }
  return sections;
}

void InitializationFile::createSection(const wstring& section) {
  FileLock guard(*this);
  bool found = false;
  model_->forSection(section, [&found](std::size_t) {
    found = true;
    return false;  // one is enough
  });
  if (!found) model_->append(section, wstring(), wstring());
}

void InitializationFile::removeSection(const wstring& section) {
  FileLock guard(*this);
  std::vector<bool> gone(model_->entries.size(), false);
  bool any = false;
  model_->forSection(section, [&](std::size_t i) {
    gone[i] = true;
    any = true;
    return true;
  });
  if (any) model_->erase([&gone](std::size_t i) { return gone[i]; });
}

std::vector<wstring> InitializationFile::enumerateKeys(const wstring& section) {
  FileLock guard(*this);
  std::vector<wstring> keys;
  model_->forSection(section, [&](std::size_t i) {
    keys.push_back(EncodedText::decode(model_->keyOf(model_->entries[i])));
    return true;
  });
  return keys;
}

void InitializationFile::createKey(const wstring& section, const wstring& key) {
  FileLock guard(*this);
  if (model_->find(section, key) != model_->entries.size()) return;
  model_->append(section, key, wstring());
}

void InitializationFile::removeKey(const wstring& section, const wstring& key) {
  FileLock guard(*this);
  const std::size_t found = model_->find(section, key);
  if (found == model_->entries.size()) return;
  model_->erase([found](std::size_t i) { return i == found; });
}

wstring InitializationFile::getValue(const wstring& section, const wstring& key) {
  FileLock guard(*this);
  const std::size_t found = model_->find(section, key);
  return found != model_->entries.size() ? EncodedText::decode(model_->valueOf(model_->entries[found]))
                                        : wstring();
}

void InitializationFile::setValue(const wstring& section, const wstring& key,
                                  const wstring& value) {
  FileLock guard(*this);
  const std::size_t found = model_->find(section, key);
  if (found != model_->entries.size()) {
    model_->setValue(found, value);
  } else {
    model_->append(section, key, value);
  }
}

}  // namespace Lumbrel
