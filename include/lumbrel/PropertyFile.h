/// \class Lumbrel::PropertyFile
/// PropertyFile: a flat settings file of `key=value` lines, read whole into
/// memory by open and written back whole by close.
///
/// A setting is named by its key, matched without regard to case. Between open
/// and close every operation works on memory only; close with the write bit
/// regenerates the file from memory whether or not anything changed. The model
/// keeps the order of the file, with new keys behind; it is never sorted, so of
/// several equal keys the first in the file is the one found. Comments, blank
/// lines, stray text (`[Net]` too) and the blanks at the ends of a line do not
/// survive a rewrite; the blanks around `=` do, as part of the key and value.
/// Nothing checks a key or a value, and an absent key is no failure.
///
/// Failures raise runtime_error: "failed to open file.", "failed to read from
/// file", "failed to write to file", "failed to close file.". After a failed
/// load the file is not rewritten until the next successful open. The
/// destructor closes an open file and swallows a failure.
///
/// Thread safety: every operation holds the object's lock for its whole run, so
/// threads may share one object. The lock does not order two objects or two
/// processes on one file; the last close wins.
#ifndef LUMBREL_PROPERTY_FILE_H
#define LUMBREL_PROPERTY_FILE_H

#include <memory>
#include <vector>

#include "lumbrel/Export.h"
#include "lumbrel/File.h"
#include "lumbrel/SaveMode.h"
#include "lumbrel/Text.h"

namespace Lumbrel {

class LUMBREL_API PropertyFile : public File {
 public:
  /// Kept for callers that size their buffers by it; no line length is enforced.
  static constexpr unsigned long MAX_LINE_LENGTH = 4294967295UL;

  /// No name: open fails until a name is given by construction.
  PropertyFile();
  /// The file named by the path's full text; nothing is opened.
  explicit PropertyFile(const File::Path& path);
  /// Closes an open file, writing it with the write bit; failures are swallowed.
  ~PropertyFile() override;

  /// Opens the file (File::open), drops the model and, with the read bit,
  /// loads the file in its order. On "failed to open file." the model is left
  /// as it was; on "failed to read from file" it holds the lines read so far.
  void open(unsigned long mode) override;
  /// With the write bit, replaces the file by the model in model order as the save mode says (see
  /// SaveMode); then empties the model and closes. A failed write keeps the
  /// model for a further close.
  void close() override;
  /// close then open with the same word. Opened with the write bit alone, writes
  /// the model and keeps it in memory instead, so the file is not emptied.
  void synchronize() override;
  /// How close replaces the file from now on; SaveMode::IN_PLACE at first.
  void setSaveMode(SaveMode saving);
  /// The save mode in force.
  SaveMode getSaveMode() const;

  /// Every key in model order, duplicates included.
  virtual std::vector<wstring> enumerateKeys();
  /// Appends (key, empty value) unless the key exists.
  virtual void createKey(const wstring& key);
  /// Removes the first entry of that key only.
  virtual void removeKey(const wstring& key);
  /// The value of the first entry of that key; empty text if none.
  virtual wstring getValue(const wstring& key);
  /// Replaces the value of the first entry of that key, keeping its spelling,
  /// or appends a new entry.
  virtual void setValue(const wstring& key, const wstring& value);

 private:
  // The entries and their lookup index, kept out of this header so that
  // their layout is no part of the library's interface.
  class LUMBREL_LOCAL Model;
  std::unique_ptr<Model> model_;
};

}  // namespace Lumbrel

#endif  // LUMBREL_PROPERTY_FILE_H
