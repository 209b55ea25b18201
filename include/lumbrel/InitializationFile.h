// InitializationFile: a settings file of `[section]` headers and `key=value`
// lines, read whole into memory by open and written back whole by close.
//
// A setting is named by section and key, both matched without regard to case.
// Between open and close every operation works on memory only; close with the
// write bit regenerates the file from memory whether or not anything changed,
// sorted by section and key. Comments, blank lines, stray text and the blanks
// at the ends of a line do not survive that; the blanks around `=` do, as part
// of the key and the value. Nothing checks a name or a value, and an absent
// section or key is no failure: lookups give empty text, removals do nothing.
//
// Failures raise runtime_error: "failed to open file.", "failed to read from
// file", "failed to write to file", "failed to close file.". After a failed
// read the file is not rewritten until the next successful open, so a damaged
// file stays as it was. The destructor closes an open file and swallows a
// failure; call close yourself to learn of one.
//
// Thread safety: every operation holds the object's lock for its whole run, so
// threads may share one object. The lock does not order two objects or two
// processes on one file; the last close wins.
#ifndef LUMBREL_INITIALIZATION_FILE_H
#define LUMBREL_INITIALIZATION_FILE_H

#include <cstddef>
#include <vector>

#include "lumbrel/Export.h"
#include "lumbrel/File.h"
#include "lumbrel/Text.h"

namespace Lumbrel {

class LUMBREL_API InitializationFile : public File {
 public:
  // Kept for callers that size their buffers by it; no line length is enforced.
  static constexpr unsigned long MAX_LINE_LENGTH = 4294967295UL;

  // No name: open fails until a name is given by construction.
  InitializationFile();
  // The file named by the path's full text; nothing is opened.
  explicit InitializationFile(const File::Path& path);
  // Closes an open file, writing it with the write bit; failures are swallowed.
  ~InitializationFile() override;

  // Opens the file (File::open), drops the model and, with the read bit,
  // loads the file sorted by section and key. On "failed to open file." the
  // model is left as it was; on "failed to read from file" it holds the lines
  // read so far.
  void open(unsigned long mode) override;
  // With the write bit, replaces the file by the sorted model (the old file is
  // removed first, there is no temporary file); then empties the model and
  // closes. A failed write keeps the model for a further close.
  void close() override;
  // close then open with the same word. Opened with the write bit alone, writes
  // the model and keeps it in memory instead, so the file is not emptied.
  void synchronize() override;

  // Each entry's section that differs from the one before it, in model order:
  // after entries were appended a section can come up twice.
  virtual std::vector<wstring> enumerateSections();
  // Appends a marker entry (section, empty key, empty value) unless the
  // section has entries. A section with the marker alone is lost on reading.
  virtual void createSection(const wstring& section);
  // Removes every entry of the section.
  virtual void removeSection(const wstring& section);
  // The keys of the section in model order, duplicates and the marker's empty
  // key included.
  virtual std::vector<wstring> enumerateKeys(const wstring& section);
  // Appends (section, key, empty value) unless that pair exists.
  virtual void createKey(const wstring& section, const wstring& key);
  // Removes the first entry of that section and key only.
  virtual void removeKey(const wstring& section, const wstring& key);
  // The value of the first entry of that section and key; empty text if none.
  virtual wstring getValue(const wstring& section, const wstring& key);
  // Replaces the value of the first entry of that section and key, keeping its
  // spelling, or appends a new entry.
  virtual void setValue(const wstring& section, const wstring& key, const wstring& value);

 private:
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
  void readEntries();
  void writeEntries();

  std::vector<Entry> entries;
  // Set by a failed read, cleared by a successful open: a damaged file is
  // never replaced by the part of it that could be read.
  bool loadFailed;
};

}  // namespace Lumbrel

#endif  // LUMBREL_INITIALIZATION_FILE_H
