/// \class Lumbrel::File
/// File: an 8-bit file stream that knows its name, remembers the mode word it
/// was opened with and carries a lock; File::Path, the parsed path value; and
/// FileLock, the scope guard of a File's lock.
///
/// The mode word is made of independent bits: MODE_READ asks for reading,
/// MODE_WRITE for writing (and creates a missing file when MODE_READ is set
/// too), MODE_BINARY for binary mode. Unassigned bits are kept and returned by
/// getMode. Stream operations (read, write, <<, >>, seekg...) are inherited.
///
/// File names are the library's. On Windows they are native names. On Linux a
/// name such as `C:\data\run.log` or `C:/data/run.log` names `/data/run.log`
/// (every volume letter names the root) and other backslashes are separators.
/// Names without a volume are relative to the working directory; File::Path
/// turns relative names into names beside the executable.
///
/// Thread safety: open, close and synchronize hold the object's lock. The
/// inherited stream operations, getMode, setMode and getName take none: hold a
/// FileLock around them when the object is shared. The lock orders threads of
/// this process using this object; it is no lock on the file on disk.
#ifndef LUMBREL_FILE_H
#define LUMBREL_FILE_H

#include <fstream>
#include <ostream>

#include "lumbrel/Export.h"
#include "lumbrel/Mutex.h"
#include "lumbrel/Text.h"

namespace Lumbrel {

class LUMBREL_API File : public std::basic_fstream<char> {
 public:
  /// Asks for reading; a store loads its file at open.
  static constexpr unsigned long MODE_READ = 1;
  /// Asks for writing (creating a missing file); a store writes its file at close.
  static constexpr unsigned long MODE_WRITE = 2;
  /// Asks for binary mode: no line ends are translated.
  static constexpr unsigned long MODE_BINARY = 0x80000000UL;

  /// A full path of the Windows form held as volume (`C:`), directory (`\a\b\`)
  /// and name (`f.txt`). Only a letter, a colon and a backslash make text
  /// absolute; all other text, `/tmp/x`, `C:/x` and `\\host\share\x` among it,
  /// is relative and anchored at the directory of the running executable, never
  /// at the working directory. That anchoring is text work alone: no file is
  /// looked at and `..` never climbs above the root.
  class LUMBREL_API Path {
   public:
    /// All three fields empty; composes to empty text.
    Path();
    /// Parses `path`. Raises invalid_argument "null or empty string passed as
    /// file path" for empty text and "cannot determine path" when a relative
    /// path cannot be resolved (among them one longer than 260 units).
    Path(const wstring& path);  // NOLINT(google-explicit-constructor)
    /// As Path(const wstring&), of null-terminated units.
    Path(const unsigned short* path);  // NOLINT(google-explicit-constructor)
    /// As Path(const wstring&), of UTF-8 text.
    Path(const char* path);  // NOLINT(google-explicit-constructor)
    /// As Path(const wstring&), of UTF-8 text.
    Path(const string& path);  // NOLINT(google-explicit-constructor)
    /// Copies the fields; nothing is parsed.
    Path(const Path& other);
    virtual ~Path();
    /// Copies the fields; nothing is parsed.
    Path& operator=(const Path& other);

    /// volume + directory + name, with nothing added between them.
    operator wstring() const;  // NOLINT(google-explicit-constructor)

    /// The volume, `C:` (empty for a path of the `\\server\share` form).
    virtual const wstring& getVolume() const;
    /// Stores the value as given and checks nothing.
    virtual void setVolume(const wstring& value);
    /// The directory, with its leading and trailing backslash.
    virtual const wstring& getDirectory() const;
    /// Stores the value as given and checks nothing.
    virtual void setDirectory(const wstring& value);
    /// The name, the part behind the last backslash.
    virtual const wstring& getName() const;
    /// Stores the value as given and checks nothing.
    virtual void setName(const wstring& value);

   private:
    wstring volume_;
    wstring directory_;
    wstring name_;
  };

  /// No file open, empty name, mode word 0.
  File();
  /// No file open, the given name, mode word 0; no file is touched.
  explicit File(const wstring& name);
  /// Closes the file if it is open; a failure to close is swallowed.
  ~File() override;
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  /// Opens the file by the mode word; raises runtime_error "failed to open file.".
  /// LogFile hides it with an open(unsigned int) of its own on purpose; g++
  /// reports that hiding here, at the hidden function.
  LUMBREL_HIDING_BEGIN
  virtual void open(unsigned long mode);
  LUMBREL_HIDING_END
  /// Closes the file and sets the mode word to 0; raises runtime_error "failed
  /// to close file." when it stays open. On a closed file only sets failbit.
  virtual void close();
  /// close() then open() with the same word, if open. A file opened for writing
  /// alone is flushed and kept rather than emptied again.
  virtual void synchronize();
  /// The mode word of the present opening, exactly as given; 0 while not open.
  virtual unsigned long getMode() const;
  /// Stores the word without touching the stream.
  virtual void setMode(unsigned long mode);
  /// The name given at construction.
  wstring getName() const;

  /// Takes the object's lock without limit; false if the lock failed.
  bool lock();
  /// Gives back one take; false if the lock failed.
  bool unlock();

  /// Creates or empties the file; true when it exists afterwards.
  static bool create(const wstring& name);
  /// Removes a file, read-only or not, never a directory; true when nothing of
  /// that name exists afterwards.
  static bool remove(const wstring& name);
  /// Copies `from` onto `to`; true when both exist afterwards. `to` is not
  /// touched when `from` cannot be opened or is the same file.
  static bool copy(const wstring& from, const wstring& to);
  /// True when anything of that name exists, a directory too.
  static bool exists(const wstring& name);
  /// Renames, never replacing an existing `to`; true when `from` is gone and
  /// `to` exists.
  static bool rename(const wstring& from, const wstring& to);

 private:
  wstring name_;
  unsigned long mode_;
  Mutex mutex_;
};

/// Holds a File's lock for its own lifetime.
class LUMBREL_API FileLock {
 public:
  /// Takes `target`'s lock (File::lock).
  explicit FileLock(File& target);
  /// Gives the lock back (File::unlock).
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  File& file_;
};

/// Equality of the composed texts without regard to case.
LUMBREL_API bool operator==(const File::Path& a, const File::Path& b);
/// Inequality of the composed texts without regard to case.
LUMBREL_API bool operator!=(const File::Path& a, const File::Path& b);
/// Writes the composed text, the low 8 bits of each unit.
LUMBREL_API std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out,
                                                 const File::Path& path);

}  // namespace Lumbrel

#endif  // LUMBREL_FILE_H
