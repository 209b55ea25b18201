// What the three stores share: a model of the file's content in memory, and
// the life of that model with the store's File. open loads it, close writes
// it back, synchronize does both; each store supplies only its format.
//
// The rules that keep a user's file whole live here, once:
// - Any exception while loading is a failed load. After it nothing rewrites
//   the file (not close, not synchronize, not the destructor) until the next
//   open loads successfully, so a file that could not be read stays as it was.
// - A load reads at most what the file held when it was opened, and a name
//   that leads to something other than a regular file or a folder (a FIFO,
//   a device) is neither read nor replaced.
// - A save composes the whole new file in memory before the old file is
//   touched, and prepares every name it needs: what can fail for want of
//   memory fails while the old file is whole, and after its removal nothing
//   allocates. Then it removes the old file, creates the new one exclusively
//   (so that two processes saving at once each write a file of their own: the
//   last one stands whole) and writes it, or, in the crash-safe mode, writes
//   a temporary beside it and renames that over the name.
//
// Failures keep the states callers know: "failed to open file." while
// creating the new file leaves the object not open with mode word 0 and the
// model kept; "failed to write to file" leaves the object open with its mode
// word and the model kept, so that a later close writes it all again.
#ifndef LUMBREL_STORE_STORE_MODEL_H
#define LUMBREL_STORE_STORE_MODEL_H

#include "lumbrel/File.h"
#include "lumbrel/SaveMode.h"
#include "store/ByteBuffer.h"
#include "store/FileImage.h"

namespace Lumbrel {
namespace store {

class StoreModel {
 public:
  StoreModel() = default;
  virtual ~StoreModel();
  StoreModel(const StoreModel&) = delete;
  StoreModel& operator=(const StoreModel&) = delete;

  // The store's open: File::open(mode), then the model is emptied and, with
  // the read bit, loaded. Takes the file's lock.
  void open(File& file, unsigned long mode);
  // The store's close: with the write bit (and no failed load), replaces the
  // file by the model; then empties the model and closes. Takes the lock.
  void close(File& file);
  // The store's synchronize: close and open again, except that a store
  // opened with the write bit alone writes its model and keeps it. Takes the
  // lock.
  void synchronize(File& file);
  // For destructors: closes an open file through its own close and swallows
  // any failure.
  static void closeQuietly(File& file) noexcept;

  void setSaveMode(SaveMode mode) { saveMode_ = mode; }
  SaveMode saveMode() const { return saveMode_; }

 protected:
  // Drops the whole content.
  virtual void clear() = 0;
  // Takes what was read of the file: all of it, or with `complete` false what
  // came before a read failed. Raises on damage, keeping what precedes it.
  virtual void load(ByteBuffer bytes, bool complete) = 0;
  // After a successful load, and after an open without the read bit.
  virtual void loaded() {}
  // The whole file as the model would write it now. May put the model in
  // the order it is written in; raises what makes the model unwritable.
  virtual void compose(FileImage& image) = 0;
  // Whether the file is written as bytes whatever the mode word says; text
  // files are written as a stream without the binary bit would write them.
  virtual bool alwaysBinary() const { return false; }

 private:
  void save(File& file, bool keepOpen);

  bool loadFailed_ = false;
  SaveMode saveMode_ = SaveMode::IN_PLACE;
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_STORE_MODEL_H
