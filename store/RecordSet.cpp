#include "store/RecordSet.h"

#include <algorithm>

namespace Lumbrel {
namespace store {

std::size_t foldedKeyHash(const wstring& key) {
  // FNV-1a over the folded units.
  std::uint64_t hash = 0xcbf29ce484222325ULL;
  for (unsigned short unit : key) {
    if (unit == 0) break;
    if (unit >= 'A' && unit <= 'Z') unit = static_cast<unsigned short>(unit + ('a' - 'A'));
    hash = (hash ^ unit) * 0x100000001b3ULL;
  }
  return static_cast<std::size_t>(hash ^ (hash >> 32));
}

RecordSet::~RecordSet() { clear(); }

void RecordSet::clear() {
  for (Slot& slot : slots) delete slot.record;
  slots.clear();
  live = 0;
  holes = 0;
  indexed = false;
  index.clear();
  exposed.clear();
}

void RecordSet::append(std::unique_ptr<DataFile::Record> record) {
  const std::uint64_t sequence = nextSequence++;
  if (indexed) index.emplace(foldedKeyHash(record->getKey()), sequence);
  slots.push_back(Slot{sequence, record.release(), false});
  ++live;
}

bool RecordSet::insert(const DataFile::Record& record) {
  std::uint64_t sequence = 0;
  Index::iterator entry;
  if (search(record.getKey(), sequence, entry)) return false;
  append(std::make_unique<DataFile::Record>(record));
  return true;
}

bool RecordSet::remove(const wstring& key) {
  std::uint64_t sequence = 0;
  Index::iterator entry;
  if (!search(key, sequence, entry)) return false;
  if (entry != index.end()) {
    index.erase(entry);
  } else {
    exposed.erase(std::find(exposed.begin(), exposed.end(), sequence));
  }
  Slot* slot = find(sequence);
  delete slot->record;
  slot->record = nullptr;
  --live;
  ++holes;
  // Holes are closed lazily by at(); past half the vector, close them here so
  // that a long run of removals keeps memory in line with the records.
  if (holes > slots.size() / 2) compact();
  return true;
}

DataFile::Record& RecordSet::at(std::size_t position) {
  if (holes != 0) compact();
  Slot& slot = slots[position];
  if (!slot.exposed) {
    slot.exposed = true;
    if (indexed) {
      // Its key is still the one it was indexed under: nobody outside has
      // been able to change it yet.
      auto range = index.equal_range(foldedKeyHash(slot.record->getKey()));
      for (auto it = range.first; it != range.second; ++it) {
        if (it->second == slot.sequence) {
          index.erase(it);
          break;
        }
      }
      exposed.push_back(slot.sequence);
    }
  }
  return *slot.record;
}

void RecordSet::buildIndex() {
  index.reserve(live);
  exposed.clear();
  for (const Slot& slot : slots) {
    if (slot.record == nullptr) continue;
    if (slot.exposed) {
      exposed.push_back(slot.sequence);
    } else {
      index.emplace(foldedKeyHash(slot.record->getKey()), slot.sequence);
    }
  }
  indexed = true;
}

RecordSet::Slot* RecordSet::find(std::uint64_t sequence) {
  auto it = std::lower_bound(slots.begin(), slots.end(), sequence,
                             [](const Slot& slot, std::uint64_t s) { return slot.sequence < s; });
  return it != slots.end() && it->sequence == sequence ? &*it : nullptr;
}

void RecordSet::compact() {
  slots.erase(std::remove_if(slots.begin(), slots.end(),
                             [](const Slot& slot) { return slot.record == nullptr; }),
              slots.end());
  holes = 0;
}

bool RecordSet::search(const wstring& key, std::uint64_t& sequence, Index::iterator& entry) {
  if (!indexed) buildIndex();
  bool found = false;
  entry = index.end();
  auto range = index.equal_range(foldedKeyHash(key));
  for (auto it = range.first; it != range.second; ++it) {
    if (found && it->second > sequence) continue;
    const Slot* slot = find(it->second);
    if (compare(slot->record->getKey(), key) == 0) {
      found = true;
      sequence = it->second;
      entry = it;
    }
  }
  for (std::uint64_t candidate : exposed) {
    if (found && candidate > sequence) continue;
    if (compare(find(candidate)->record->getKey(), key) == 0) {
      found = true;
      sequence = candidate;
      entry = index.end();
    }
  }
  return found;
}

}  // namespace store
}  // namespace Lumbrel
