#include "file/FileSystem.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>

#include "file/DirEntryArray.h"
#include "file/File.h"
#include "file/FilePD.h"
#include "file/FolderScanPD.h"
#include "file/HelperFunctions.h"
#include "file/PDEnvInformation.h"
#include "file/WildcardExpression.h"
#include "timetext/TimeDate.h"

struct FileSystem::Search {
  FolderScanPD scan;  // the open listing and its filter
};

namespace {

// Most paths keep their first 254 bytes, not 255.
constexpr std::size_t kCutBytes = 254;
// The joined directory and name of a listing must fit 255 bytes.
constexpr std::size_t kEntryPathBytes = 255;
// The absolute path of CreateDir must fit 1023 bytes.
constexpr std::size_t kCreateDirBytes = 1023;
constexpr unsigned int kCopyFileMode = 0660;
constexpr unsigned int kCopyEntryMode = 0644;
constexpr unsigned int kCreateDirMode = 0700;
constexpr std::size_t kCopyFileBlock = 512;
constexpr std::size_t kCopyEntryBlock = 1024;

using CutPath = char[kCutBytes + 1];

// The first 254 bytes of text, terminated.
void Cut(char const* text, CutPath& out) {
  std::size_t const length = strnlen(text, kCutBytes);
  std::memcpy(out, text, length);
  out[length] = '\0';
}

bool EndsWithSlash(TxString const& text) {
  return !text.IsEmpty() && text.GetAt(text.GetLength() - 1) == TxChar('/');
}

DirEntry* NewEntry(bool directory, char const* name, std::uint64_t size) {
  DirEntry* entry = nullptr;
  if (directory) {
    entry = new (std::nothrow) DirEntry();
  } else {
    entry = new (std::nothrow) File();
  }
  if (entry == nullptr) return nullptr;
  entry->m_name = name;
  entry->m_type = directory ? DirEntry::kDirectoryEntry : DirEntry::kFileEntry;
  entry->m_size = size;
  return entry;
}

}  // namespace

FileSystem::FileSystem()
    : m_currentDir(HelperFunctions::GetExecutableFolder()),
      m_search(nullptr),
      m_useFilter(false),
      m_separator("/"),
      m_rootSeparator("/") {}

FileSystem::~FileSystem() {
  EndFind();
  delete m_search;
}

DirEntry* FileSystem::GetFirstEntry(TxString const* pattern) {
  // A new search ends one still open, so its directory handle never leaks.
  EndFind();
  TxString const text = pattern != nullptr ? *pattern : TxString("*");
  TxString leaf = text;
  Tevrol::Long const slash = text.LastIndexOf(TxChar('/'), -1);
  if (slash > 0) {
    m_currentDir = text.Left(slash + 1);
    leaf = text.Mid(slash + 1, -1);
  }
  if (leaf.IsEmpty()) return nullptr;
  // After ChangeDir("") the listing, as every other use, takes the working directory.
  if (m_currentDir.IsEmpty()) GetCurrentDir();
  if (m_search == nullptr) {
    m_search = new (std::nothrow) Search();
    if (m_search == nullptr) return nullptr;
  }
  CutPath dir;
  Cut(m_currentDir.ToAscii(), dir);
  normalizeSlashes(dir);
  if (!m_search->scan.Open(dir)) return nullptr;

  char expression[Tevrol::File::detail::kWildcardExpressionBytes];
  Tevrol::File::detail::TranslateWildcard(leaf, expression);
  m_useFilter = true;
  if (!m_search->scan.SetFilter(expression)) return nullptr;
  return GetNextEntry();
}

DirEntry* FileSystem::GetNextEntry() {
  if (m_search == nullptr || !m_search->scan.IsOpen()) return nullptr;
  // A pattern that did not compile matches nothing: no match on an invalid filter.
  if (m_useFilter && !m_search->scan.HasFilter()) return nullptr;

  TxByteArray const dirBytes = m_currentDir.ToAscii();
  std::size_t const dirLength = std::strlen(dirBytes);
  // A current directory from getcwd has no "/" at the end: put one in between.
  std::size_t const separatorLength = (dirLength > 0 && !EndsWithSlash(m_currentDir)) ? 1 : 0;
  char path[kEntryPathBytes + 1];
  for (;;) {
    char const* const name = m_search->scan.Next();
    if (name == nullptr) return nullptr;
    std::size_t const nameLength = std::strlen(name);
    // A path too long for the 255-byte buffer cannot be examined, as a failing stat64.
    if (dirLength + separatorLength + nameLength > kEntryPathBytes) return nullptr;
    std::memcpy(path, dirBytes.GetConstData(), dirLength);
    if (separatorLength != 0) path[dirLength] = '/';
    std::memcpy(path + dirLength + separatorLength, name, nameLength + 1);
    normalizeSlashes(path);

    FilePD::Status status;
    if (!FilePD::GetStatus(path, &status)) return nullptr;
    if (m_useFilter && !m_search->scan.Matches(name)) continue;

    bool directory = false;
    if (status.type == FilePD::kTypeDirectory) {
      directory = true;
    } else if (status.type != FilePD::kTypeFile && status.type != FilePD::kTypeSymLink &&
               status.type != FilePD::kTypeNamedSpecial) {
      continue;
    }
    // An entry that cannot be allocated is passed over as a failing stat64 is.
    return NewEntry(directory, name, status.size);
  }
}

void FileSystem::EndFind() {
  if (m_search != nullptr) m_search->scan.Close();
}

// The interface takes its texts by value.
// NOLINTBEGIN(performance-unnecessary-value-param)
bool FileSystem::ChangeDir(TxString path) {
  if (path.IsEmpty()) {
    m_currentDir.Clear();
    return true;
  }
  TxString absolute = ToAbsolutePath(path);
  if (!EndsWithSlash(absolute)) absolute += m_separator;
  CutPath test;
  Cut(absolute.ToAscii(), test);
  normalizeSlashes(test);
  if (!FilePD::CanOpenFolder(test)) return false;
  m_currentDir = absolute;
  return true;
}

bool FileSystem::ChangeToParentDir() {
  Tevrol::Long const length = m_currentDir.GetLength();
  if (length < 2 || !EndsWithSlash(m_currentDir)) return false;
  Tevrol::Long index = length - 2;
  while (index > 0 && !(m_currentDir.GetAt(index) == TxChar('/'))) --index;
  if (index == 0 && !(m_currentDir.GetAt(0) == TxChar('/'))) return false;
  m_currentDir.Truncate(index + 1);
  return true;
}

TxString FileSystem::GetCurrentDir() {
  if (m_currentDir.IsEmpty()) {
    char buffer[255];
    m_currentDir =
        FilePD::GetWorkingDirectory(buffer, sizeof buffer) ? TxString(buffer) : TxString();
  }
  return m_currentDir;
}

TxString FileSystem::ToAbsolutePath(TxString const& path) {
  if (path.StartsWith(m_separator)) return path;
  if (m_currentDir.IsEmpty()) GetCurrentDir();
  TxString result = m_currentDir;
  if (!EndsWithSlash(result)) result += m_separator;
  result += path;
  return result;
}

bool FileSystem::CreateDir(TxString path) {
  TxByteArray const bytes = ToAbsolutePath(path).ToLatin1();
  std::size_t const length = std::strlen(bytes);
  // Too long for the 1023-byte buffer: nothing is made, rather than a cut chain.
  if (length > kCreateDirBytes) return false;
  char buffer[kCreateDirBytes + 1];
  std::memcpy(buffer, bytes.GetConstData(), length + 1);
  bool made = false;
  for (std::size_t i = 0; i < length; ++i) {
    if (buffer[i] == '/') {
      buffer[i] = '\0';
      made = FilePD::MakeDirectory(buffer, kCreateDirMode);
      buffer[i] = '/';
    } else if (i + 1 == length) {
      made = FilePD::MakeDirectory(buffer, kCreateDirMode);
    }
  }
  return made;
}

bool FileSystem::DeleteFile(TxString path) {
  CutPath bytes;
  Cut(ToAbsolutePath(path).ToAscii(), bytes);
  normalizeSlashes(bytes);
  return FilePD::Remove(bytes);
}

bool FileSystem::CopyEntry(TxString source, TxString destination) {
  CutPath from;
  CutPath to;
  Cut(ToAbsolutePath(source).ToLatin1(), from);
  Cut(ToAbsolutePath(destination).ToLatin1(), to);
  normalizeSlashes(from);
  normalizeSlashes(to);
  int const in = FilePD::Open(from, FilePD::kReadOnly, false);
  if (in < 0) return false;
  int const out =
      FilePD::OpenWithMode(to, FilePD::kWriteCreate | FilePD::kExclusive, kCopyEntryMode);
  if (out < 0) {
    FilePD::Close(in);
    return false;
  }
  char* const block = new (std::nothrow) char[kCopyEntryBlock];
  std::int64_t copied = 0;
  bool ok = block != nullptr && FilePD::CopyBlocks(in, out, block, kCopyEntryBlock, copied);
  FilePD::Close(in);
  // close can report a write the file system deferred.
  if (FilePD::Close(out) != 0) ok = false;
  delete[] block;
  return ok;
}

bool FileSystem::MoveEntry(TxString source, TxString destination, bool overwrite) {
  TxString const from = ToAbsolutePath(source);
  TxString const to = ToAbsolutePath(destination);
  if (overwrite && File::FileExists(to)) DeleteFile(to);
  CutPath fromBytes;
  CutPath toBytes;
  Cut(from.ToLatin1(), fromBytes);
  Cut(to.ToLatin1(), toBytes);
  return FilePD::Rename(fromBytes, toBytes);
}

bool FileSystem::ExistsEntry(char const* name) {
  // As every use, an empty current directory (after ChangeDir("")) is taken from getcwd.
  if (m_currentDir.IsEmpty()) GetCurrentDir();
  TxString path = m_currentDir;
  // A current directory from getcwd has no "/" at the end: put one in between.
  if (!path.IsEmpty() && !EndsWithSlash(path)) path += m_separator;
  path += TxString(name);
  return FileExists(path);
}

DirEntry* FileSystem::FindEntry(TxString pattern) {
  char path[FilePD::kGlobPathBytes];
  if (!FilePD::GlobFirst(pattern.ToAscii(), path)) return nullptr;
  FilePD::Status status;
  if (!FilePD::GetStatus(path, &status)) return nullptr;
  return NewEntry(status.type == FilePD::kTypeDirectory, path, status.size);
}

void FileSystem::ReleaseEntry(DirEntry* entry) {
  if (entry == nullptr) return;
  if (entry->m_type == DirEntry::kFileEntry) {
    delete static_cast<File*>(entry);
  } else if (entry->m_type == DirEntry::kDirectoryEntry) {
    delete entry;
  }
}

bool FileSystem::CopyFile(TxString source, TxString destination) {
  int const in = FilePD::Open(source.ToAscii(), FilePD::kReadOnly, false);
  if (in < 0) return false;
  int const out = FilePD::OpenWithMode(destination.ToAscii(), FilePD::kWriteCreate, kCopyFileMode);
  if (out < 0) {
    FilePD::Close(in);
    return false;
  }
  char block[kCopyFileBlock];
  std::int64_t copied = 0;
  // A failing read or write is reported: the destination is then no whole copy.
  bool ok = FilePD::CopyBlocks(in, out, block, sizeof block, copied);
  // A longer plain file is cut behind the copy, so no old bytes look like
  // part of it; cut at the end, not opened with O_TRUNC, so that copying a
  // file onto itself keeps it whole.
  FilePD::Status status;
  if (ok && FilePD::GetStatus(out, &status) && status.type == FilePD::kTypeFile &&
      FilePD::Truncate(out, copied) != 0) {
    ok = false;
  }
  FilePD::Close(in);
  if (FilePD::Close(out) != 0) ok = false;
  return ok;
}

bool FileSystem::IsAbsolutePath(TxString const& path) {
  return !path.IsEmpty() && path.GetAt(0) == TxChar('/');
}

bool FileSystem::GetFileTime(TxString const& path, TimeDate& time) {
  FilePD::Status status;
  if (!FilePD::GetStatus(path.ToLatin1(), &status)) {
    time.SetCalendarTime(0);
    return false;
  }
  time.SetCalendarTime(static_cast<Tevrol::ULong>(status.modificationTime));
  return true;
}

bool FileSystem::FileExists(TxString path) {
  CutPath bytes;
  Cut(path.ToLatin1(), bytes);
  normalizeSlashes(bytes);
  if (bytes[0] != '/') {
    FileSystem base;
    Cut(base.ToAbsolutePath(TxString(bytes)).ToLatin1(), bytes);
  }
  // O_NONBLOCK: a FIFO must not hold the test until a writer comes.
  int const fd = FilePD::Open(bytes, FilePD::kReadOnlyNonBlocking, false);
  if (fd >= 0) {
    FilePD::Close(fd);
    return true;
  }
  return errno == EEXIST;
}

bool FileSystem::FileExists(char const* path) {
  return FileExists(TxString(path));
}

bool FileSystem::DirectoryExists(TxString path) {
  if (EndsWithSlash(path)) path.Chop(1);
  CutPath bytes;
  Cut(path.ToLatin1(), bytes);
  return DirectoryExists(static_cast<char const*>(bytes));
}

bool FileSystem::DirectoryExists(char const* path) {
  // A null pointer reads as the empty text: the executable's folder.
  if (path == nullptr) path = "";
  FilePD::Status status;
  if (path[0] == '/') return FilePD::GetStatus(path, &status);
  FileSystem base;
  CutPath bytes;
  Cut(base.ToAbsolutePath(TxString(path)).ToLatin1(), bytes);
  return FilePD::GetStatus(bytes, &status);
}

void FileSystem::GetDrives(DirEntryArray& drives) {
  drives.RemoveAll();
}

void FileSystem::GetRemovableDrives(DirEntryArray& drives) {
  drives.RemoveAll();
  DirEntry entry;
  // One byte more than the 255 handed over, so a longer path still ends in a zero.
  char buffer[256] = {};
  if (PDEnvInformation::GetExecutablePath(buffer, 255) > 0) entry.m_name = TxString(buffer);
  drives.Add(entry);
}

void FileSystem::normalizeSlashes(char* path) {
  File::normalizeSlashes(path);
}

bool FileSystem::DeleteEntry(TxString) {
  return false;
}

bool FileSystem::SetEntryAttribute(TxString, EntryAttribute) {
  return false;
}

Tevrol::Long FileSystem::GetEntryAttribute(TxString) {
  return 0;
}

void FileSystem::AddPersistentStorageDrive(TxString const&) {}
// NOLINTEND(performance-unnecessary-value-param)

void FileSystem::GetPersistentStorageDrives(DirEntryArray&) {}
