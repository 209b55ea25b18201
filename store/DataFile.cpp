#include "lumbrel/DataFile.h"

#include <cstring>
#include <stdexcept>

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

DataFile::Record::Record(const Record& other) : key_(other.key_), data_(other.data_) {}

DataFile::Record& DataFile::Record::operator=(const Record& other) {
  if (this == &other) return *this;
  Record copy(other);
  key_.swap(copy.key_);
  data_.swap(copy.data_);
  if (owner_ != nullptr) owner_->keyChanged(*this);
  return *this;
}

DataFile::Record::~Record() = default;

const wstring& DataFile::Record::getKey() const { return key_; }

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
  key_.assign(value, first, last - first);
  if (owner_ != nullptr) owner_->keyChanged(*this);
}

const std::vector<unsigned char>& DataFile::Record::getData() const { return data_; }

void DataFile::Record::setData(const std::vector<unsigned char>& value) {
  if (&value != &data_) data_ = value;
}

// ---- DataFile ----

DataFile::DataFile() : File(), records_(std::make_unique<store::RecordSet>()) {}

DataFile::DataFile(const File::Path& path)
    : File(static_cast<wstring>(path)), records_(std::make_unique<store::RecordSet>()) {}

DataFile::~DataFile() { store::StoreModel::closeQuietly(*this); }

// Binary, so that no byte is translated on its way to or from the file.
void DataFile::open(unsigned long word) { records_->open(*this, word | MODE_BINARY); }

void DataFile::close() { records_->close(*this); }

void DataFile::synchronize() { records_->synchronize(*this); }

void DataFile::setSaveMode(SaveMode saving) {
  FileLock guard(*this);
  records_->setSaveMode(saving);
}

SaveMode DataFile::getSaveMode() const {
  FileLock guard(const_cast<DataFile&>(*this));
  return records_->saveMode();
}

unsigned long DataFile::size() const {
  DataFile& self = const_cast<DataFile&>(*this);
  FileLock guard(self);
  return static_cast<unsigned long>(records_->size());
}

void DataFile::insert(const Record& record) {
  FileLock guard(*this);
  records_->insert(record);
}

void DataFile::remove(const Record& record) {
  FileLock guard(*this);
  records_->remove(record.getKey());
}

DataFile::Record& DataFile::operator[](unsigned long index) {
  FileLock guard(*this);
  if (index >= records_->size()) throw std::out_of_range("object does not exist");
  return records_->at(index);
}

}  // namespace Lumbrel
