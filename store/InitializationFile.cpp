#include "lumbrel/InitializationFile.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "platform/Compiler.h"
#include "store/EntryIndex.h"
#include "store/SettingsFormat.h"
#include "store/StoreModel.h"

namespace Lumbrel {

namespace {

unsigned short folded(unsigned short unit) {
  return (unit >= 'A' && unit <= 'Z') ? static_cast<unsigned short>(unit + ('a' - 'A')) : unit;
}

// An entry of one section with four folded units of its key packed for
// comparison, the first unit highest.
struct KeyedEntry {
  std::uint64_t units;
  std::size_t index;
};

// Sorts the entries of one section by key, stably. The keys often share a
// long prefix ("setting1", "setting2", ...); past it, four units as one
// number settle most comparisons, and compare() the rest.
template <class Entries>
void sortKeys(const Entries& entries, std::vector<KeyedEntry>& group) {
  if (group.size() < 2) return;
  // The folded prefix that all keys share; it holds no null unit.
  const unsigned short* firstKey = entries[group[0].index].key.c_str();
  std::size_t shared = 0;
  while (firstKey[shared] != 0) ++shared;
  for (const KeyedEntry& keyed : group) {
    const unsigned short* key = entries[keyed.index].key.c_str();
    std::size_t same = 0;
    while (same < shared && key[same] != 0 && folded(key[same]) == folded(firstKey[same])) ++same;
    shared = same;
  }
  for (KeyedEntry& keyed : group) {
    const unsigned short* rest = entries[keyed.index].key.c_str() + shared;
    // Units behind the end of the key count as 0, as the null unit does.
    std::uint64_t units = 0;
    bool ended = false;
    for (int k = 0; k < 4; ++k) {
      ended = ended || rest[k] == 0;
      units = (units << 16) | (ended ? 0u : folded(rest[k]));
    }
    keyed.units = units;
  }
  std::stable_sort(group.begin(), group.end(), [&](const KeyedEntry& a, const KeyedEntry& b) {
    if (a.units != b.units) return a.units < b.units;
    // A key that ends within the four units ends both: they are equal.
    if ((a.units & 0xFFFF) == 0) return false;
    return compare(entries[a.index].key.c_str() + shared + 4,
                   entries[b.index].key.c_str() + shared + 4) < 0;
  });
}

}  // namespace

// The entries in model order, with the lookup index kept inside them.
class InitializationFile::Model : public store::StoreModel {
 public:
  struct Entry {
    wstring section;
    wstring key;
    wstring value;
    // The lookup index over `entries` (store/EntryIndex.h): the hash of
    // section and key, and two positions in `entries`.
    std::size_t hash = 0;
    std::size_t head = 0;
    std::size_t next = 0;
  };

  // Ascending by section, then key, case ignored.
  static bool entryLess(const Entry& a, const Entry& b);
  // Appends an entry and indexes it.
  void append(const wstring& section, wstring key, wstring value);
  // The position of the first entry of that section and key, or the size.
  std::size_t find(const wstring& section, const wstring& key) const;
  void sortEntries();

  std::vector<Entry> entries;

 protected:
  void clear() override { entries.clear(); }
  void load(store::ByteBuffer bytes, bool complete) override;
  void loaded() override { sortEntries(); }
  void compose(store::FileImage& image) override;
};

InitializationFile::InitializationFile() : File(), model(std::make_unique<Model>()) {}

InitializationFile::InitializationFile(const File::Path& path)
    : File(static_cast<wstring>(path)), model(std::make_unique<Model>()) {}

InitializationFile::~InitializationFile() { store::StoreModel::closeQuietly(*this); }

bool InitializationFile::Model::entryLess(const Entry& a, const Entry& b) {
  const long bySection = compare(a.section, b.section);
  if (bySection != 0) return bySection < 0;
  return compare(a.key, b.key) < 0;
}

void InitializationFile::Model::sortEntries() {
  // A file that this class wrote comes back sorted; checking that costs one
  // comparison per entry against the sort's many.
  if (std::is_sorted(entries.begin(), entries.end(), entryLess)) return;
  // Stable, so that duplicates keep the order of the file. A file holds runs
  // of entries under one header: the runs are put in order of section, the
  // runs of one section are joined in the order they had, and only the keys
  // of one section are then sorted among themselves. That is the order of a
  // stable sort by entryLess, for far fewer comparisons of names.
  struct Run {
    std::size_t begin;
    std::size_t end;
  };
  std::vector<Run> runs;
  for (std::size_t i = 0; i < entries.size();) {
    std::size_t last = i + 1;
    while (last < entries.size() && compare(entries[last].section, entries[i].section) == 0) ++last;
    runs.push_back(Run{i, last});
    i = last;
  }
  const auto sectionOf = [this](const Run& run) -> const wstring& {
    return entries[run.begin].section;
  };
  std::stable_sort(runs.begin(), runs.end(), [&](const Run& a, const Run& b) {
    return compare(sectionOf(a), sectionOf(b)) < 0;
  });
  // The new order as positions in the old one; entries move only once it is
  // known, each straight to its place.
  std::vector<std::size_t> order;
  order.reserve(entries.size());
  std::vector<KeyedEntry> group;
  for (std::size_t r = 0; r < runs.size();) {
    group.clear();
    std::size_t next = r;
    for (; next < runs.size() && compare(sectionOf(runs[next]), sectionOf(runs[r])) == 0; ++next) {
      for (std::size_t i = runs[next].begin; i < runs[next].end; ++i)
        group.push_back(KeyedEntry{0, i});
    }
    sortKeys(entries, group);
    for (const KeyedEntry& keyed : group) order.push_back(keyed.index);
    r = next;
  }
  // Each cycle of the permutation is walked once: the place of the first
  // entry is taken by the one that belongs there, and so on round.
  for (std::size_t start = 0; start < order.size(); ++start) {
    if (order[start] == start) continue;
    Entry held = std::move(entries[start]);
    std::size_t place = start;
    // The walk jumps about the model, a cache miss a step; a second cursor
    // runs eight steps ahead and asks for the entries before they are due.
    std::size_t ahead = start;
    for (int k = 0; k < 8 && order[ahead] != start; ++k) ahead = order[ahead];
    while (order[place] != start) {
      const std::size_t from = order[place];
      if (order[ahead] != start) {
        ahead = order[ahead];
        LUMBREL_PREFETCH(&entries[ahead]);
        LUMBREL_PREFETCH(reinterpret_cast<const char*>(&entries[ahead]) + 64);
      }
      entries[place] = std::move(entries[from]);
      order[place] = place;
      place = from;
    }
    entries[place] = std::move(held);
    order[place] = place;
  }
  store::indexAll(entries);
}

void InitializationFile::Model::append(const wstring& section, wstring key, wstring value) {
  entries.push_back(Entry{section, std::move(key), std::move(value)});
  entries.back().hash = store::nameHash(section, entries.back().key);
  store::indexLast(entries);
}

std::size_t InitializationFile::Model::find(const wstring& section, const wstring& key) const {
  const std::size_t found =
      store::findIndexed(entries, store::nameHash(section, key), [&](const Entry& entry) {
        return compare(entry.section, section) == 0 && compare(entry.key, key) == 0;
      });
  return found == store::kNoEntry ? entries.size() : found;
}

void InitializationFile::Model::load(store::ByteBuffer bytes, bool complete) {
  const char* text = reinterpret_cast<const char*>(bytes.data());
  // A line cut off by a failed read is not taken.
  const std::size_t size = complete ? bytes.size() : store::completeLines(text, bytes.size());
  store::SettingsReader reader(text, size, store::SettingsLayout::Sectioned);
  // The section's part of the hash serves all the lines under one header.
  std::uint64_t seed = 0;
  while (reader.next()) {
    entries.push_back(Entry{reader.section(), std::move(reader.key()), std::move(reader.value())});
    const std::size_t last = entries.size() - 1;
    if (last == 0 || entries[last - 1].section != entries[last].section)
      seed = store::sectionSeed(entries[last].section);
    entries[last].hash = store::nameHash(seed, entries[last].key);
  }
  store::indexAll(entries);
}

void InitializationFile::Model::compose(store::FileImage& image) {
  sortEntries();
  store::SettingsWriter writer(store::SettingsLayout::Sectioned);
  for (const Entry& entry : entries) writer.add(entry.section, entry.key, entry.value);
  image.take(writer.release());
}

void InitializationFile::open(unsigned long word) { model->open(*this, word); }

void InitializationFile::close() { model->close(*this); }

void InitializationFile::synchronize() { model->synchronize(*this); }

void InitializationFile::setSaveMode(SaveMode saving) {
  FileLock guard(*this);
  model->setSaveMode(saving);
}

SaveMode InitializationFile::getSaveMode() const {
  FileLock guard(const_cast<InitializationFile&>(*this));
  return model->saveMode();
}

std::vector<wstring> InitializationFile::enumerateSections() {
  FileLock guard(*this);
  std::vector<wstring> sections;
  for (std::size_t i = 0; i < model->entries.size(); ++i) {
    if (i == 0 || compare(model->entries[i].section, model->entries[i - 1].section) != 0) {
      sections.push_back(model->entries[i].section);
    }
  }
  return sections;
}

void InitializationFile::createSection(const wstring& section) {
  FileLock guard(*this);
  for (const Model::Entry& entry : model->entries) {
    if (compare(entry.section, section) == 0) return;
  }
  model->append(section, wstring(), wstring());
}

void InitializationFile::removeSection(const wstring& section) {
  FileLock guard(*this);
  model->entries.erase(
      std::remove_if(model->entries.begin(), model->entries.end(),
                     [&](const Model::Entry& entry) { return compare(entry.section, section) == 0; }),
      model->entries.end());
  store::indexAll(model->entries);
}

std::vector<wstring> InitializationFile::enumerateKeys(const wstring& section) {
  FileLock guard(*this);
  std::vector<wstring> keys;
  for (const Model::Entry& entry : model->entries) {
    if (compare(entry.section, section) == 0) keys.push_back(entry.key);
  }
  return keys;
}

void InitializationFile::createKey(const wstring& section, const wstring& key) {
  FileLock guard(*this);
  if (model->find(section, key) != model->entries.size()) return;
  model->append(section, key, wstring());
}

void InitializationFile::removeKey(const wstring& section, const wstring& key) {
  FileLock guard(*this);
  const std::size_t found = model->find(section, key);
  if (found == model->entries.size()) return;
  model->entries.erase(model->entries.begin() + static_cast<std::ptrdiff_t>(found));
  store::indexAll(model->entries);
}

wstring InitializationFile::getValue(const wstring& section, const wstring& key) {
  FileLock guard(*this);
  const std::size_t found = model->find(section, key);
  return found != model->entries.size() ? model->entries[found].value : wstring();
}

void InitializationFile::setValue(const wstring& section, const wstring& key,
                                  const wstring& value) {
  FileLock guard(*this);
  const std::size_t found = model->find(section, key);
  if (found != model->entries.size()) {
    model->entries[found].value = value;
  } else {
    model->append(section, key, value);
  }
}

}  // namespace Lumbrel
