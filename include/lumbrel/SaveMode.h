// SaveMode: how a store's close replaces its file.
#ifndef LUMBREL_SAVE_MODE_H
#define LUMBREL_SAVE_MODE_H

namespace Lumbrel {

// IN_PLACE, the default, removes the old file and writes the new content
// under its name: a crash or power loss part way leaves no file, an empty or
// a cut one. CRASH_SAFE writes a temporary file beside it, forces that onto
// the disk and renames it over the name, so the file is at every moment the
// old content whole or the new content whole; it needs a folder that lets
// the process make files, and costs a flush to disk per save.
//
// Both keep the old file's permission bits (and owner and group where the
// process may set them), save through a symbolic link to the file it points
// at, and split hard links: the name gets a new file of its own.
enum class SaveMode {
  IN_PLACE,
  CRASH_SAFE,
};

}  // namespace Lumbrel

#endif  // LUMBREL_SAVE_MODE_H
