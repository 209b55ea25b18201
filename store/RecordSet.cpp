#include "store/RecordSet.h"

#include <algorithm>

#include "store/DataFileFormat.h"

namespace Lumbrel {
namespace store {
namespace {

unsigned short fold(unsigned short unit) {
  return (unit >= 'A' && unit <= 'Z') ? static_cast<unsigned short>(unit + ('a' - 'A')) : unit;
}

// FNV-1a over the folded units in front of the first null unit.
template <typename UnitAt>
std::uint64_t hashUnits(std::size_t count, UnitAt unitAt) {
  std::uint64_t hash = 0xcbf29ce484222325ULL;
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned short unit = unitAt(i);
    if (unit == 0) break;
    hash = (hash ^ fold(unit)) * 0x100000001b3ULL;
  }
  return hash;
}

unsigned short encodedUnit(const unsigned char* key, std::size_t i) {
  return static_cast<unsigned short>(key[2 * i] << 8 | key[2 * i + 1]);
}

// The fields of an Encoded record that starts at `at`.
RecordView viewAt(const ByteBuffer& bytes, std::size_t at) {
  RecordDecoder decoder(bytes.data() + at, bytes.size() - at);
  RecordView view = decoder.next();
  view.offset = at;
  return view;
}

}  // namespace

std::uint64_t foldedKeyHash(const wstring& key) {
  return hashUnits(key.size(), [&key](std::size_t i) { return key[i]; });
}

RecordSet::~RecordSet() { clear(); }

void RecordSet::clear() {
  for (Slot& slot : slots)
    if (slot.state == State::Built) delete slot.record;
  slots.clear();
  loaded = ByteBuffer();
  live = 0;
  holes = 0;
  dropIndex();
}

void RecordSet::load(ByteBuffer bytes, bool) {
  clear();
  loaded = std::move(bytes);
  RecordDecoder decoder(loaded.data(), loaded.size());
  while (!decoder.atEnd()) {
    const RecordView view = decoder.next();
    if (isPlainKey(view.key, view.keyBytes)) {
      slots.emplace_back(nextSequence++, view.offset);
      ++live;
    } else {
      // Trimmed, or refused with "zero length key", by the record itself.
      append(std::make_unique<DataFile::Record>(
          decodeKey(view.key, view.keyBytes),
          std::vector<unsigned char>(view.data, view.data + view.dataBytes)));
    }
  }
}

void RecordSet::append(std::unique_ptr<DataFile::Record> record) {
  const std::uint64_t sequence = nextSequence++;
  slots.emplace_back(sequence, record.get());
  DataFile::Record* owned = record.release();
  adopt(*owned, sequence);
  ++live;
  if (!indexed) return;
  try {
    index.add(foldedKeyHash(owned->key), sequence);
  } catch (...) {
    dropIndex();
  }
}

bool RecordSet::insert(const DataFile::Record& record) {
  std::uint64_t sequence = 0;
  if (search(record.getKey(), foldedKeyHash(record.getKey()), sequence)) return false;
  append(std::make_unique<DataFile::Record>(record));
  return true;
}

bool RecordSet::remove(const wstring& key) {
  std::uint64_t sequence = 0;
  const std::uint64_t hash = foldedKeyHash(key);
  if (!search(key, hash, sequence)) return false;
  index.erase(hash, sequence);
  Slot* slot = find(sequence);
  if (slot->state == State::Built) delete slot->record;
  slot->record = nullptr;
  slot->state = State::Removed;
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
  if (slot.state == State::Encoded) build(slot);
  return *slot.record;
}

void RecordSet::keyChanged(const DataFile::Record& record, std::uint64_t before) {
  if (!indexed) return;
  const std::uint64_t after = foldedKeyHash(record.key);
  if (after == before) return;
  index.erase(before, record.sequence);
  try {
    index.add(after, record.sequence);
  } catch (...) {
    dropIndex();
  }
}

void RecordSet::compose(FileImage& image) {
  std::size_t built = 0;
  for (const Slot& slot : slots)
    if (slot.state == State::Built) built += encodedSize(*slot.record);
  image.reserve(built);
  for (const Slot& slot : slots) {
    if (slot.state == State::Encoded) {
      const RecordView view = viewAt(loaded, slot.offset);
      image.refer(loaded.data() + view.offset, view.size);
    } else if (slot.state == State::Built) {
      encodeRecord(*slot.record, image.extend(encodedSize(*slot.record)));
    }
  }
}

std::uint64_t RecordSet::hashOf(const Slot& slot) const {
  if (slot.state == State::Built) return foldedKeyHash(slot.record->getKey());
  const RecordView view = viewAt(loaded, slot.offset);
  return hashUnits(view.keyBytes / 2, [&view](std::size_t i) { return encodedUnit(view.key, i); });
}

bool RecordSet::keyEquals(const Slot& slot, const wstring& key) const {
  if (slot.state == State::Built) return compare(slot.record->getKey(), key) == 0;
  // An Encoded key holds no null unit; compare stops at `key`'s first one.
  const RecordView view = viewAt(loaded, slot.offset);
  const std::size_t units = view.keyBytes / 2;
  const unsigned short* other = key.c_str();
  for (std::size_t i = 0; i < units; ++i) {
    if (other[i] == 0 || fold(other[i]) != fold(encodedUnit(view.key, i))) return false;
  }
  return other[units] == 0;
}

void RecordSet::build(Slot& slot) {
  const RecordView view = viewAt(loaded, slot.offset);
  slot.record = new DataFile::Record(decodeKey(view.key, view.keyBytes),
                                     std::vector<unsigned char>(view.data, view.data + view.dataBytes));
  slot.state = State::Built;
  adopt(*slot.record, slot.sequence);
}

void RecordSet::adopt(DataFile::Record& record, std::uint64_t sequence) {
  record.owner = this;
  record.sequence = sequence;
}

void RecordSet::buildIndex() {
  index.reserve(live);
  for (const Slot& slot : slots)
    if (slot.state != State::Removed) index.add(hashOf(slot), slot.sequence);
  indexed = true;
}

// The next search builds the index anew: after a load, which need not pay
// for it, or when memory ran out while indexing.
void RecordSet::dropIndex() {
  indexed = false;
  index.clear();
}

RecordSet::Slot* RecordSet::find(std::uint64_t sequence) {
  auto it = std::lower_bound(slots.begin(), slots.end(), sequence,
                             [](const Slot& slot, std::uint64_t s) { return slot.sequence < s; });
  return it != slots.end() && it->sequence == sequence ? &*it : nullptr;
}

void RecordSet::compact() {
  slots.erase(std::remove_if(slots.begin(), slots.end(),
                             [](const Slot& slot) { return slot.state == State::Removed; }),
              slots.end());
  holes = 0;
}

bool RecordSet::search(const wstring& key, std::uint64_t hash, std::uint64_t& sequence) {
  if (!indexed) buildIndex();
  bool found = false;
  index.forEach(hash, [&](std::uint64_t candidate) {
    if (found && candidate > sequence) return;
    if (keyEquals(*find(candidate), key)) {
      found = true;
      sequence = candidate;
    }
  });
  return found;
}

}  // namespace store
}  // namespace Lumbrel
