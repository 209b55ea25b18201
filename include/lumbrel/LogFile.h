/// \class Lumbrel::LogFile
/// LogFile: a File attached to its file for appending text. Everything a
/// caller inserts with the stream's operators goes to the end of the file; the
/// class adds no format, time stamp, size limit or rotation.
///
/// open(MODE_READ | MODE_WRITE) goes on with an existing log, open(MODE_WRITE)
/// starts a fresh one; a log is never opened for reading. After a successful
/// open the mode word is 0.
///
/// Thread safety: open takes the object's lock only within the File::open and
/// File::close it calls; insertions take none. A caller that shares a LogFile
/// among threads holds a FileLock around each write.
#ifndef LUMBREL_LOG_FILE_H
#define LUMBREL_LOG_FILE_H

#include "lumbrel/Export.h"
#include "lumbrel/File.h"

namespace Lumbrel {

// open(unsigned int) hides File::open(unsigned long) on purpose: the mode
// constants are unsigned long, and a call such as open(File::MODE_WRITE) on a
// LogFile must append.
LUMBREL_HIDING_BEGIN
class LUMBREL_API LogFile : public File {
 public:
  /// The longest log line, as a value for callers; no write is cut by it.
  static constexpr unsigned int MAX_LINE_LENGTH = 1024;

  /// No name: open fails.
  LogFile();
  /// The path's composed text is the file name; no file is touched.
  explicit LogFile(const File::Path& path);
  ~LogFile() override;
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  /// Opens the file by File::open (creating it with MODE_WRITE, emptying it
  /// with MODE_WRITE alone), closes it and attaches the stream for appending.
  /// Raises runtime_error "failed to open file."; when the attachment itself
  /// fails (no MODE_WRITE) the line "File::open() failed to open <name>" goes
  /// to standard output first. On an attached log, attaches again with the
  /// stream's state cleared.
  ///
  /// Calls on a LogFile with any mode word reach this open; through a File
  /// reference File::open is reached, which opens without appending.
  virtual void open(unsigned int word);
  /// An attached log is flushed and stays attached; reopening it by its mode
  /// word (0) could only fail.
  void synchronize() override;
};
LUMBREL_HIDING_END

}  // namespace Lumbrel

#endif  // LUMBREL_LOG_FILE_H
