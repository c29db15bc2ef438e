#include "file/FileOperations.h"

#include <deque>

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

// Remove and RemoveAll as one walk over a list of levels on the heap rather
// than calling each other once per folder: a library thread has 64 KiB of
// stack, and the depth of a tree is bounded only by the system's path limit.
// Each level is one folder being emptied, with the search made when the walk
// reached it; the walk goes depth first, entries in search order, and a
// folder's own Remove comes once its entries are done.
class RemovalWalk {
 public:
  explicit RemovalWalk(ErrorCode& error) : m_error(error) {}

  // The steps of Remove before a folder's entries: false when path is done
  // (removed says how it went), true when its level was added to the list.
  bool Begin(Path const& path, bool& removed) {
    removed = false;
    if (!path.IsAbsolute()) {
      Report(m_error, ErrorCode::NotAbsolute);
      return false;
    }
    if (PathHelper::IsDotDirectory(path)) return false;
    // A symbolic link to a directory goes as the link alone: emptying its
    // target would destroy data outside the tree the caller named.
    if (FileOperationsImpl::GetFileStatus(path) == FileStatus::StatusDirectory &&
        !FileOperationsImpl::IsSymbolicLink(path)) {
      // As RemoveAll(path + "*"), whose search lists path itself.
      Descend(Path(path, Path(Get_starLeaf())), path, true);
      return true;
    }
    removed = FileOperationsImpl::Remove(path, m_error);
    return false;
  }

  // Adds the level of a search, made now; folder is removed after its
  // entries when removeFolder is set.
  void Descend(Path const& search, Path const& folder, bool removeFolder) {
    m_levels.emplace_back(search, folder, removeFolder, m_error);
  }

  // Works the list off. Gives the count of entries of the first level that
  // went, as RemoveAll counts them; the counts of deeper levels are not
  // looked at. removed gets the result of the first level's own folder.
  std::int32_t Run(bool& removed) {
    std::int32_t count = 0;
    while (!m_levels.empty()) {
      Level& level = m_levels.back();
      Path const entry = *level.entries;
      bool const first = m_levels.size() == 1;
      bool done = false;
      if (!entry.IsEmpty()) {
        ++level.entries;
        // Only results that name an entry of base itself are removed. A name
        // that Path cannot append (":" at index 1, " ", "\\") yields base,
        // which would be walked without end; one with "\\" or ".." parts
        // ("..\\x") would name something elsewhere, even outside the tree.
        if (entry.GetParent() != level.base || Begin(entry, done)) continue;
      } else {
        bool const removeFolder = level.removeFolder;
        Path const folder = level.folder;
        m_levels.pop_back();
        if (!removeFolder) continue;
        done = FileOperationsImpl::Remove(folder, m_error);
        if (first) {
          removed = done;
          continue;
        }
      }
      // The Remove of an entry of the first level, or of a folder listed there.
      if (done && m_levels.size() == 1) ++count;
    }
    return count;
  }

 private:
  struct Level {
    Level(Path const& search, Path const& folder_, bool removeFolder_, ErrorCode& error)
        : entries(FileOperations::FindFiles(search, error)),
          // The folder the search lists, as FindFiles takes it.
          base(HasWildcardLeaf(search) ? search.GetParent() : search),
          folder(folder_),
          removeFolder(removeFolder_) {}
    FindIterator entries;
    Path base;
    Path folder;
    bool removeFolder;
  };

  ErrorCode& m_error;
  // A deque keeps its elements in place as it grows: nothing is copied.
  std::deque<Level> m_levels;
};

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
  RemovalWalk walk(error);
  bool removed = false;
  if (walk.Begin(path, removed)) walk.Run(removed);
  return removed;
}

std::int32_t FileOperations::RemoveAll(Path const& path, ErrorCode& error) {
  if (!path.IsAbsolute()) {
    Report(error, ErrorCode::NotAbsolute);
    return 0;
  }
  RemovalWalk walk(error);
  walk.Descend(path, Path(), false);
  bool unused = false;
  return walk.Run(unused);
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
