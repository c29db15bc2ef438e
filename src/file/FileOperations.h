#ifndef TEVROL_FILE_FILEOPERATIONS_H
#define TEVROL_FILE_FILEOPERATIONS_H

#include <cstdint>

#include "file/ErrorCode.h"
#include "file/FindIterator.h"
#include "file/Path.h"
#include "frame/TevrolExport.h"

namespace Tevrol {
namespace File {

// File and directory operations on absolute paths, all static and without
// state or lock: any thread may call. A refused request (relative path, same
// source and destination) gets its code with an empty text and makes no
// system call; a failing system call fills error from errno. Nothing is
// rolled back: a partial copy, directories made by CreateDir and entries
// RemoveAll took stay as they are.
class TEVROL_EXPORT FileOperations {
 public:
  // Builds the shared path constants; the configuration manager calls it.
  static void StartUp();

  // Leaves error alone unless the path is relative (code NotAbsolute).
  static FileStatus GetFileStatus(Path const& path, ErrorCode& error);
  static std::uint64_t GetFileSize(Path const& path, ErrorCode& error);
  // A file is copied with its content, a directory as one empty directory
  // (mode 0700), a symbolic link not at all.
  static bool CopyFileEntry(Path const& source, Path const& destination, bool overwrite,
                            ErrorCode& error);
  // With overwrite an existing destination is removed first, a directory
  // with all it holds. Without it an existing destination gives false with
  // AlreadyExists and an empty text, as the copy reports it.
  static bool Rename(Path const& source, Path const& destination, bool overwrite, ErrorCode& error);
  // A directory goes with its content. Paths ending in "." or ".." are never
  // removed (false, error untouched). A symbolic link goes as the link alone:
  // the folder it points to is never emptied. When something inside could
  // not go, the caller gets the report of the folder itself (ENOTEMPTY).
  static bool Remove(Path const& path, ErrorCode& error);
  // Removes what a search on path selects (a directory: all it holds, not
  // itself); the count of entries removed. error holds the last report. A
  // name that does not survive as a Path below the searched folder (":" at
  // index 1, " ", "\\", "..\\x") is skipped and stays where it is.
  static std::int32_t RemoveAll(Path const& path, ErrorCode& error);
  // Makes every missing level, each with mode 0700.
  static bool CreateDir(Path const& path, ErrorCode& error);
  // The names of one directory that match a wildcard leaf ("*" and "?"); a
  // path without one lists the directory itself.
  static FindIterator FindFiles(Path const& path, ErrorCode& error);
};

}  // namespace File
}  // namespace Tevrol

#endif
