/// \file
/// SaveMode: how a store's close replaces its file.
#ifndef LUMBREL_SAVE_MODE_H
#define LUMBREL_SAVE_MODE_H

namespace Lumbrel {

/// How DataFile, InitializationFile and PropertyFile replace their file.
///
/// Both modes keep the old file's permission bits (and owner and group where
/// the process may set them), save through a symbolic link to the file it
/// points at, and split hard links: the name gets a new file of its own.
enum class SaveMode {
  /// The default: removes the old file and writes the new content under its
  /// name. A crash or power loss part way leaves no file, an empty or a cut one.
  IN_PLACE,
  /// Writes a temporary file beside the old one, forces it onto the disk and
  /// renames it over the name, so that the file is at every moment the old
  /// content whole or the new content whole. Needs a folder that lets the
  /// process make files, and costs a flush to disk per save.
  CRASH_SAFE,
};

}  // namespace Lumbrel

#endif  // LUMBREL_SAVE_MODE_H
