#ifndef TEVROL_FILE_FILEOPERATIONSIMPL_H
#define TEVROL_FILE_FILEOPERATIONSIMPL_H

#include <cstdint>

#include "file/ErrorCode.h"
#include "frame/TevrolTypes.h"
#include "frame/text/TxString.h"
#include "frame/text/TxStringArray.h"

namespace Tevrol {
namespace File {

// The operating system side of FileOperations. It checks nothing about a path:
// the ToAscii bytes reach the system as they are.
class FileOperationsImpl {
 public:
  static FileStatus GetFileStatus(TxString const& path);
  static std::uint64_t GetFileSize(TxString const& path, ErrorCode& error);
  static bool CopyFileEntry(TxString const& source, TxString const& destination, bool overwrite,
                            ErrorCode& error);
  static bool CopyDirectoryEntry(TxString const& source, TxString const& destination,
                                 bool overwrite, ErrorCode& error);
  // Always false with NotSupported.
  static bool CopySymLinkEntry(TxString const& source, TxString const& destination, bool overwrite,
                               ErrorCode& error);
  static bool Rename(TxString const& source, TxString const& destination, ErrorCode& error);
  static bool Remove(TxString const& path, ErrorCode& error);
  static bool CreateDir(TxString const& path, ErrorCode& error);
  // lstat64 says the entry itself is a symbolic link. Remove uses it so that
  // it never descends through a link into a tree it was not asked to remove.
  static bool IsSymbolicLink(TxString const& path);
  // Adds the names in directory that match the wildcard pattern; the size of
  // names afterwards (0 when the directory cannot be read).
  static Tevrol::Long FindFiles(TxString const& directory, TxString const& pattern,
                                TxStringArray& names);
};

// Turns errno into error (code by symbolic name, text "POSIX error N from ");
// true when errno was 0. Call it right after the failing system call.
bool FileOperationsImpl_HandleLastError(ErrorCode& error);

}  // namespace File
}  // namespace Tevrol

#endif
