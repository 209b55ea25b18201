/// \class Lumbrel::DataFile
/// DataFile: a small persistent store of keyed binary records. open reads the
/// whole file into memory (with MODE_READ), every other operation works on
/// memory, and close replaces the file's content with the records (with
/// MODE_WRITE), whether or not anything changed, as the save mode says
/// (SaveMode: in place by default, or crash-safe).
///
/// The file is the records one behind the other, nothing else: a 32-bit
/// little-endian key length in bytes, the key's 16-bit units most significant
/// byte first, a 32-bit little-endian data length, the data.
///
/// Records keep the order of the file, followed by the order of insertion, so
/// a file opened with MODE_READ | MODE_WRITE and closed unchanged keeps every
/// byte. Keys match without regard to case (compare). A file that fails to load
/// is never rewritten by this object until the next successful open, so the
/// damaged original stays for recovery.
///
/// Thread safety: open, close, synchronize, size, insert, remove and
/// operator[] hold the object's lock. A reference from operator[] is used
/// outside it, and a key changed through it updates the object's index: hold a
/// FileLock around such work when the object is shared.
#ifndef LUMBREL_DATA_FILE_H
#define LUMBREL_DATA_FILE_H

#include <cstdint>
#include <memory>
#include <vector>

#include "lumbrel/Export.h"
#include "lumbrel/File.h"
#include "lumbrel/SaveMode.h"
#include "lumbrel/Text.h"

namespace Lumbrel {

/// \cond INTERNAL
namespace store {
class RecordSet;
}
/// \endcond

class LUMBREL_API DataFile : public File {
 public:
  /// A key and its bytes. A record the caller makes is a plain value that
  /// belongs to no store and takes no lock. The records operator[] hands out
  /// belong to their DataFile, which indexes them by key: a key changed through
  /// such a reference (setKey or assignment) is re-indexed at once.
  class LUMBREL_API Record {
   public:
    /// Empty key, empty data.
    Record();
    /// setKey(key) then setData(data); raises what setKey raises.
    Record(const wstring& key, const std::vector<unsigned char>& data);
    /// Copy key and data only: the key is neither trimmed nor tested, and the
    /// copy belongs to no store, nor does the target of an assignment change
    /// its store.
    Record(const Record& other);
    /// As the copy constructor; assigning a record to itself changes nothing.
    Record& operator=(const Record& other);
    virtual ~Record();

    /// The key, as setKey left it.
    virtual const wstring& getKey() const;
    /// Trims space, tab and newline at both ends (a key of blanks alone stays
    /// as it is) and stores the result. Raises invalid_argument "zero length
    /// key" when nothing is left in front of the first null unit; the old key
    /// stays then.
    virtual void setKey(const wstring& value);
    /// The data.
    virtual const std::vector<unsigned char>& getData() const;
    /// Replaces the data with a copy of `value`.
    virtual void setData(const std::vector<unsigned char>& value);

   private:
    friend class store::RecordSet;

    wstring key_;
    std::vector<unsigned char> data_;
    // The set that stores this record and the record's number there, so that
    // a key change reaches the set's index; null for the caller's records.
    store::RecordSet* owner_ = nullptr;
    std::uint64_t sequence_ = 0;
  };

  /// No name and no records; usable in memory only: open fails.
  DataFile();
  /// The path's composed text is the file name; no file is touched.
  explicit DataFile(const File::Path& path);
  /// Closes the file if it is open (so a writable file is rewritten); a
  /// failure is swallowed. Callers who must know call close() first.
  ~DataFile() override;
  DataFile(const DataFile&) = delete;
  DataFile& operator=(const DataFile&) = delete;

  /// Opens the file in binary mode, drops every record and, with MODE_READ,
  /// loads the file. Raises runtime_error "failed to open file." (nothing
  /// changed), "failed to read from file" for a damaged file or
  /// invalid_argument "zero length key"; after a failed load the file stays
  /// open and the records in front of the damage are kept.
  void open(unsigned long mode) override;
  /// With MODE_WRITE (and a load that did not fail), replaces the file's
  /// content with the records; then drops them and closes. Raises
  /// "failed to close file.", "failed to open file." or "failed to write to
  /// file"; the records are kept then, and a further close tries again.
  void close() override;
  /// With MODE_WRITE alone, writes the records and keeps them and the file
  /// open; otherwise close() and open() with the same word.
  void synchronize() override;
  /// How close replaces the file from now on; SaveMode::IN_PLACE at first.
  void setSaveMode(SaveMode saving);
  /// The save mode in force.
  SaveMode getSaveMode() const;

  /// The number of records.
  unsigned long size() const;
  /// Stores a copy of `record` unless a record with an equal key is stored
  /// already, in which case nothing changes. The copy's key is not tested.
  void insert(const Record& record);
  /// Deletes the first record, in record order, whose key equals `record`'s;
  /// nothing happens when there is none.
  void remove(const Record& record);
  /// The record at `index` in record order; raises out_of_range "object does
  /// not exist" at or past size(). The reference lives until that record is
  /// removed or the next open, close or synchronize; changes through it are
  /// seen at once by insert and remove and written by the next close.
  Record& operator[](unsigned long index);

 private:
  // The records, their index and the file's life, kept out of this header so
  // that their layout is no part of the library's interface.
  std::unique_ptr<store::RecordSet> records_;
};

}  // namespace Lumbrel

#endif  // LUMBREL_DATA_FILE_H
