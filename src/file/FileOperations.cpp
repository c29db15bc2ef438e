#include "file/FileOperations.h"

#include "file/FileOperationsImpl.h"
#include "file/PathConstants.h"
#include "file/PathHelper.h"
#include "frame/text/TxStringArray.h"

namespace Tevrol {
namespace File {

namespace {

void Report(ErrorCode& error, ErrorCode::Code code) {
  error.code = code;
  error.text = NULLString;
}

bool HasWildcardLeaf(Path const& path) {
  TxString const leaf = path.GetLeaf();
  return leaf.Contains(Get_starLeaf()) || leaf.Contains(Get_questionmarkLeaf());
}

// What copy and rename refuse before any system call: a relative path, and
// the same text twice.
bool RefusedPair(Path const& source, Path const& destination, ErrorCode& error) {
  if (!source.IsAbsolute() || !destination.IsAbsolute()) {
    Report(error, ErrorCode::NotAbsolute);
    return true;
  }
  if (destination == source) {
    Report(error, ErrorCode::SamePath);
    return true;
  }
  return false;
}

}  // namespace

void FileOperations::StartUp() {
  Path::StartUp();
  PathHelper::StartUp();
  // Copies taken and dropped: only the construction of the statics matters.
  static_cast<void>(TxString(Get_starLeaf()));
  static_cast<void>(TxString(Get_questionmarkLeaf()));
}

FileStatus FileOperations::GetFileStatus(Path const& path, ErrorCode& error) {
  if (!path.IsAbsolute()) {
    Report(error, ErrorCode::NotAbsolute);
    return FileStatus::StatusUnknown;
  }
  return FileOperationsImpl::GetFileStatus(path);
}

std::uint64_t FileOperations::GetFileSize(Path const& path, ErrorCode& error) {
  if (!path.IsAbsolute()) {
    Report(error, ErrorCode::NotAbsolute);
    return 0;
  }
  if (FileOperationsImpl::GetFileStatus(path).IsMissing()) {
    Report(error, ErrorCode::NotFound);
    return 0;
  }
  return FileOperationsImpl::GetFileSize(path, error);
}

bool FileOperations::CopyFileEntry(Path const& source, Path const& destination, bool overwrite,
                                   ErrorCode& error) {
  if (RefusedPair(source, destination, error)) return false;
  ErrorCode local;
  switch (GetFileStatus(source, local)) {
    case FileStatus::StatusFile:
      return FileOperationsImpl::CopyFileEntry(source, destination, overwrite, error);
    case FileStatus::StatusDirectory:
      return FileOperationsImpl::CopyDirectoryEntry(source, destination, overwrite, error);
    case FileStatus::StatusSymLink:
      return FileOperationsImpl::CopySymLinkEntry(source, destination, overwrite, error);
    default:
      Report(error, ErrorCode::NotFound);
      return false;
  }
}

bool FileOperations::Rename(Path const& source, Path const& destination, bool overwrite,
                            ErrorCode& error) {
  if (RefusedPair(source, destination, error)) return false;
  if (FileOperationsImpl::GetFileStatus(source).IsMissing()) {
    Report(error, ErrorCode::NotFound);
    return false;
  }
  if (!FileOperationsImpl::GetFileStatus(destination).IsMissing()) {
    if (!overwrite) {
      // Reported like the copy does, so a caller reading the record after
      // false does not see a stale report.
      Report(error, ErrorCode::AlreadyExists);
      return false;
    }
    if (!Remove(destination, error)) return false;
  }
  return FileOperationsImpl::Rename(source, destination, error);
}

bool FileOperations::Remove(Path const& path, ErrorCode& error) {
  if (!path.IsAbsolute()) {
    Report(error, ErrorCode::NotAbsolute);
    return false;
  }
  if (PathHelper::IsDotDirectory(path)) return false;
  // A symbolic link to a directory goes as the link alone: emptying its
  // target would destroy data outside the tree the caller named.
  if (FileOperationsImpl::GetFileStatus(path) == FileStatus::StatusDirectory &&
      !FileOperationsImpl::IsSymbolicLink(path)) {
    RemoveAll(Path(path, Path(Get_starLeaf())), error);
  }
  return FileOperationsImpl::Remove(path, error);
}

std::int32_t FileOperations::RemoveAll(Path const& path, ErrorCode& error) {
  if (!path.IsAbsolute()) {
    Report(error, ErrorCode::NotAbsolute);
    return 0;
  }
  std::int32_t removed = 0;
  for (FindIterator it = FindFiles(path, error); !(*it).IsEmpty(); ++it) {
    Path const entry = *it;
    Path const& base = it.m_base;
    // Only results that name an entry of base itself are removed. A name that
    // Path cannot append (":" at index 1, " ", "\\") yields base, which would
    // recurse without end; one with "\\" or ".." parts ("..\\x") would name
    // something elsewhere, even outside the tree.
    if (entry.GetParent() != base) continue;
    if (Remove(entry, error)) ++removed;
  }
  return removed;
}

bool FileOperations::CreateDir(Path const& path, ErrorCode& error) {
  if (!path.IsAbsolute()) {
    Report(error, ErrorCode::NotAbsolute);
    return false;
  }
  error.code = ErrorCode::AlreadyExists;
  error.text = TxString("FileOperations::CreateDir");
  TxStringArray leaves;
  Path level(path);
  while (level.HasParent()) {
    leaves.Add(level.GetLeaf());
    level.ToParent();
  }
  for (Tevrol::Long i = leaves.GetSize() - 1; i >= 0; --i) {
    level /= Path(leaves[i]);
    ErrorCode local;
    if (FileOperationsImpl::CreateDir(level, local)) {
      Report(error, ErrorCode::Success);
    } else if (local.code != ErrorCode::AlreadyExists) {
      error = local;
      return false;
    }
  }
  return true;
}

FindIterator FileOperations::FindFiles(Path const& path, ErrorCode& error) {
  if (!path.IsAbsolute()) {
    Report(error, ErrorCode::NotAbsolute);
    return FindIterator();
  }
  Report(error, ErrorCode::Success);
  bool const wildcard = HasWildcardLeaf(path);
  FindIterator result(wildcard ? path.GetParent() : path, TxStringArray());
  FileOperationsImpl::FindFiles(result.m_base, wildcard ? path.GetLeaf() : Get_starLeaf(),
                                result.m_names);
  result.m_index = result.m_names.GetSize() > 0 ? 0 : -1;
  return result;
}

}  // namespace File
}  // namespace Tevrol
