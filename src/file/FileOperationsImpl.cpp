#include "file/FileOperationsImpl.h"

#include <cerrno>

#include "file/FilePD.h"
#include "file/FolderScanPD.h"
#include "file/WildcardExpression.h"
#include "frame/text/TxByteArray.h"
#include "frame/text/TxChar.h"

namespace Tevrol {
namespace File {

namespace {

constexpr unsigned int kCreateDirMode = 0700;
constexpr std::size_t kCopyChunk = 512;

ErrorCode::Code CodeOf(int number) {
  switch (number) {
    case 0:
      return ErrorCode::Success;
    case EPERM:
    case EACCES:
    case EFAULT:
      return ErrorCode::AccessDenied;
    case ENOENT:
    case ENOTDIR:
      return ErrorCode::NotFound;
    case EBUSY:
    case ENOTEMPTY:
      return ErrorCode::InUse;
    case EEXIST:
      return ErrorCode::AlreadyExists;
    case EXDEV:
    case EISDIR:
    case EINVAL:
    case ENOSPC:
    case ENAMETOOLONG:
      return ErrorCode::InvalidRequest;
    case EROFS:
      return ErrorCode::ReadOnly;
    case ELOOP:
      return ErrorCode::TooManyLinks;
    default:
      return ErrorCode::OtherError;
  }
}

void SetSuccess(ErrorCode& error) {
  error.code = ErrorCode::Success;
  error.text = NULLString;
}

// Closes fd; a failure is translated into error and gives false.
bool CloseReporting(int fd, ErrorCode& error) {
  if (FilePD::Close(fd) == 0) return true;
  FileOperationsImpl_HandleLastError(error);
  return false;
}

}  // namespace

bool FileOperationsImpl_HandleLastError(ErrorCode& error) {
  int const number = errno;
  error.code = CodeOf(number);
  error.text = TxString("POSIX error %1 from ").Argument(number, 0, 10, TxChar(' '));
  return number == 0;
}

FileStatus FileOperationsImpl::GetFileStatus(TxString const& path) {
  FilePD::Status info;
  if (!FilePD::GetStatus(path.ToAscii(), &info)) return FileStatus::StatusNotFound;
  switch (info.type) {
    case FilePD::kTypeFile:
      return FileStatus::StatusFile;
    case FilePD::kTypeDirectory:
      return FileStatus::StatusDirectory;
    case FilePD::kTypeSymLink:
      return FileStatus::StatusSymLink;
    default:
      return FileStatus::StatusUnknown;
  }
}

std::uint64_t FileOperationsImpl::GetFileSize(TxString const& path, ErrorCode& error) {
  FilePD::Status info;
  if (!FilePD::GetStatus(path.ToAscii(), &info)) {
    FileOperationsImpl_HandleLastError(error);
    return 0;
  }
  SetSuccess(error);
  return info.size;
}

bool FileOperationsImpl::CopyFileEntry(TxString const& source, TxString const& destination,
                                       bool overwrite, ErrorCode& error) {
  SetSuccess(error);
  int const in = FilePD::Open(source.ToAscii(), FilePD::kReadOnly, false);
  if (in < 0) {
    FileOperationsImpl_HandleLastError(error);
    return false;
  }
  FilePD::Status info;
  if (!FilePD::GetStatus(source.ToAscii(), &info)) {
    FileOperationsImpl_HandleLastError(error);
    FilePD::Close(in);
    return false;
  }
  int const flags = FilePD::kWriteNew | (overwrite ? 0 : FilePD::kExclusive);
  int const out = FilePD::OpenWithMode(destination.ToAscii(), flags, info.mode);
  if (out < 0) {
    FileOperationsImpl_HandleLastError(error);
    FilePD::Close(in);
    return false;
  }
  bool ok = true;
  char buffer[kCopyChunk];
  std::int64_t copied = 0;
  if (!FilePD::CopyBlocks(in, out, buffer, sizeof buffer, copied)) {
    FileOperationsImpl_HandleLastError(error);
    ok = false;
  }
  // Both are closed whatever happened; a later report overwrites an earlier one.
  ok = CloseReporting(in, error) && ok;
  ok = CloseReporting(out, error) && ok;
  return ok;
}

bool FileOperationsImpl::CopyDirectoryEntry(TxString const& source, TxString const& destination,
                                            bool overwrite, ErrorCode& error) {
  FilePD::Status info;
  if (!FilePD::GetStatus(source.ToAscii(), &info)) {
    FileOperationsImpl_HandleLastError(error);
    return false;
  }
  if (!overwrite && FilePD::GetStatus(destination.ToAscii(), &info)) {
    error.code = ErrorCode::AlreadyExists;
    error.text = NULLString;
    return false;
  }
  return CreateDir(destination, error);
}

bool FileOperationsImpl::CopySymLinkEntry(TxString const& /*source*/,
                                          TxString const& /*destination*/, bool /*overwrite*/,
                                          ErrorCode& error) {
  error.code = ErrorCode::NotSupported;
  error.text = NULLString;
  return false;
}

bool FileOperationsImpl::Rename(TxString const& source, TxString const& destination,
                                ErrorCode& error) {
  if (!FilePD::Rename(source.ToAscii(), destination.ToAscii())) {
    FileOperationsImpl_HandleLastError(error);
    return false;
  }
  SetSuccess(error);
  return true;
}

bool FileOperationsImpl::Remove(TxString const& path, ErrorCode& error) {
  // remove() unlinks a symbolic link itself, never its target.
  if (!FilePD::Remove(path.ToAscii())) {
    FileOperationsImpl_HandleLastError(error);
    return false;
  }
  SetSuccess(error);
  return true;
}

bool FileOperationsImpl::CreateDir(TxString const& path, ErrorCode& error) {
  if (!FilePD::MakeDirectory(path.ToAscii(), kCreateDirMode)) {
    FileOperationsImpl_HandleLastError(error);
    return false;
  }
  SetSuccess(error);
  return true;
}

bool FileOperationsImpl::IsSymbolicLink(TxString const& path) {
  FilePD::Status info;
  return FilePD::GetLinkStatus(path.ToAscii(), &info) && info.type == FilePD::kTypeSymLink;
}

Tevrol::Long FileOperationsImpl::FindFiles(TxString const& directory, TxString const& pattern,
                                           TxStringArray& names) {
  char expression[detail::kWildcardExpressionBytes];
  detail::TranslateWildcard(pattern, expression);
  FolderScanPD scan;
  if (!scan.SetFilter(expression)) return names.GetSize();
  if (!scan.Open(directory.ToAscii())) return 0;
  bool anyEntry = false;
  while (char const* const name = scan.Next()) {
    anyEntry = true;
    if (scan.Matches(name)) {
      // Added empty, then filled: one allocation per name instead of two.
      names.Add(NULLString);
      names[names.GetSize() - 1] = name;
    }
  }
  return anyEntry ? names.GetSize() : 0;
}

}  // namespace File
}  // namespace Tevrol
