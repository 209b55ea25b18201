#include "lumbrel/DataFile.h"

#include <cstring>
#include <stdexcept>

#include "store/ByteBuffer.h"
#include "store/FileReplacement.h"
#include "store/RecordSet.h"

namespace Lumbrel {
namespace {

bool isBlank(unsigned short unit) { return unit == 0x20 || unit == 0x09 || unit == 0x0A; }

}  // namespace

// ---- Record ----

DataFile::Record::Record() = default;

DataFile::Record::Record(const wstring& keyValue, const std::vector<unsigned char>& dataValue) {
  setKey(keyValue);
  setData(dataValue);
}

DataFile::Record::Record(const Record& other) : key(other.key), data(other.data) {}

DataFile::Record& DataFile::Record::operator=(const Record& other) {
  if (this == &other) return *this;
  Record copy(other);
  const std::uint64_t before = owner != nullptr ? store::foldedKeyHash(key) : 0;
  key.swap(copy.key);
  data.swap(copy.data);
  if (owner != nullptr) owner->keyChanged(*this, before);
  return *this;
}

DataFile::Record::~Record() = default;

const wstring& DataFile::Record::getKey() const { return key; }

void DataFile::Record::setKey(const wstring& value) {
  std::size_t first = 0;
  std::size_t last = value.size();
  while (first < last && isBlank(value[first])) ++first;
  if (first == last) {
    // Blanks alone are left as they are.
    first = 0;
  } else {
    while (isBlank(value[last - 1])) --last;
  }
  // The length counts up to the first null unit of the trimmed text.
  std::size_t counted = first;
  while (counted < last && value[counted] != 0) ++counted;
  if (counted == first) throw std::invalid_argument("zero length key");
  const std::uint64_t before = owner != nullptr ? store::foldedKeyHash(key) : 0;
  key.assign(value, first, last - first);
  if (owner != nullptr) owner->keyChanged(*this, before);
}

const std::vector<unsigned char>& DataFile::Record::getData() const { return data; }

void DataFile::Record::setData(const std::vector<unsigned char>& value) {
  if (&value != &data) data = value;
}

// ---- DataFile ----

DataFile::DataFile() : File(), records(std::make_unique<store::RecordSet>()), loadFailed(false) {}

DataFile::DataFile(const File::Path& path)
    : File(static_cast<wstring>(path)), records(std::make_unique<store::RecordSet>()), loadFailed(false) {}

DataFile::~DataFile() {
  if (!is_open()) return;
  try {
    close();
  } catch (...) {
    // A destructor reports nothing; callers who must know call close().
  }
}

void DataFile::open(unsigned long word) {
  FileLock guard(*this);
  // Binary, so that no byte is translated on its way to or from the file.
  File::open(word | MODE_BINARY);
  records->clear();
  loadFailed = false;
  if ((getMode() & MODE_READ) == 0) return;
  try {
    loadRecords();
  } catch (...) {
    // The records in front of the damage stay; the file must not be
    // replaced by them.
    loadFailed = true;
    throw;
  }
}

void DataFile::close() {
  FileLock guard(*this);
  if ((getMode() & MODE_WRITE) != 0 && !loadFailed) {
    store::replaceFileContent(*this, [this] { storeRecords(); });
  }
  records->clear();
  File::close();
}

void DataFile::synchronize() {
  FileLock guard(*this);
  if (!is_open()) return;
  if ((getMode() & (MODE_READ | MODE_WRITE)) == MODE_WRITE) {
    // Reopening for writing alone would empty the file just written and load
    // nothing: write the records and keep them instead.
    if (!loadFailed) store::replaceFileContent(*this, [this] { storeRecords(); });
    return;
  }
  File::synchronize();
}

unsigned long DataFile::size() const {
  DataFile& self = const_cast<DataFile&>(*this);
  FileLock guard(self);
  return records->size();
}

void DataFile::insert(const Record& record) {
  FileLock guard(*this);
  records->insert(record);
}

void DataFile::remove(const Record& record) {
  FileLock guard(*this);
  records->remove(record.getKey());
}

DataFile::Record& DataFile::operator[](unsigned long index) {
  FileLock guard(*this);
  if (index >= records->size()) throw std::out_of_range("object does not exist");
  return records->at(index);
}

void DataFile::loadRecords() {
  flush();
  clear();
  std::streambuf& buffer = *rdbuf();
  // The whole file in one buffer: one pass of large reads, and every length
  // field can be checked against what is really there.
  const std::streamoff fileSize = buffer.pubseekoff(0, std::ios_base::end, std::ios_base::in);
  if (buffer.pubseekpos(0, std::ios_base::in) != std::streampos(0))
    throw std::runtime_error("failed to read from file");
  store::ByteBuffer bytes(fileSize > 0 ? static_cast<std::size_t>(fileSize) : 0);
  std::size_t used = 0;
  while (used < bytes.size()) {
    const std::streamsize got = buffer.sgetn(reinterpret_cast<char*>(bytes.data() + used),
                                             static_cast<std::streamsize>(bytes.size() - used));
    if (got <= 0) break;
    used += static_cast<std::size_t>(got);
  }
  bytes.resize(used);
  // A file that grew since its size was taken is read on to its end.
  char more[4096];
  for (std::streamsize got; (got = buffer.sgetn(more, sizeof more)) > 0;) {
    bytes.resize(used + static_cast<std::size_t>(got));
    std::memcpy(bytes.data() + used, more, static_cast<std::size_t>(got));
    used += static_cast<std::size_t>(got);
  }
  records->load(std::move(bytes));
}

void DataFile::storeRecords() {
  std::streambuf& buffer = *rdbuf();
  records->encode([this, &buffer](const unsigned char* bytes, std::size_t count) {
    if (buffer.sputn(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(count)) !=
        static_cast<std::streamsize>(count)) {
      setstate(std::ios_base::failbit);
      throw std::runtime_error("failed to write to file");
    }
  });
  // Flushed here, so that a full disk is reported while the records are still
  // there to be written again.
  if (buffer.pubsync() != 0) {
    setstate(std::ios_base::failbit);
    throw std::runtime_error("failed to write to file");
  }
}

}  // namespace Lumbrel
