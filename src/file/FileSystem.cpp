#include "file/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <glob.h>
#include <regex.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>

#include "file/DirEntryArray.h"
#include "file/File.h"
#include "file/HelperFunctions.h"
#include "file/PDEnvInformation.h"
#include "file/WildcardExpression.h"
#include "timetext/TimeDate.h"

struct FileSystem::Search {
  DIR* dir = nullptr;                // the open search, null when there is none
  struct dirent64* entry = nullptr;  // the record last read
  regex_t regex;                     // the filter, compiled when regexValid
  bool regexValid = false;
};

namespace {

// Most paths keep their first 254 bytes, not 255.
constexpr std::size_t kCutBytes = 254;
// The joined directory and name of a listing must fit 255 bytes.
constexpr std::size_t kEntryPathBytes = 255;
// The absolute path of CreateDir must fit 1023 bytes.
constexpr std::size_t kCreateDirBytes = 1023;
// QNX Neutrino's named special file; Linux never reports it.
constexpr mode_t kIfNam = 0x5000;
constexpr mode_t kCopyFileMode = 0660;
constexpr mode_t kCopyEntryMode = 0644;
constexpr mode_t kCreateDirMode = 0700;
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

// Writes all of buffer, going on after a short write; false when write fails
// or makes no progress.
bool WriteAll(int fd, char const* buffer, std::size_t length) {
  while (length > 0) {
    ssize_t const written = write(fd, buffer, length);
    if (written <= 0) return false;
    buffer += written;
    length -= static_cast<std::size_t>(written);
  }
  return true;
}

// Copies in blocks until the end of in; false when a read or a write fails.
// copied counts the bytes written.
bool CopyBlocks(int in, int out, char* block, std::size_t blockSize, std::int64_t& copied) {
  copied = 0;
  for (;;) {
    ssize_t const got = read(in, block, blockSize);
    if (got == 0) return true;
    if (got < 0) return false;
    if (!WriteAll(out, block, static_cast<std::size_t>(got))) return false;
    copied += got;
  }
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
  if (m_search != nullptr) {
    if (m_search->regexValid) regfree(&m_search->regex);
    delete m_search;
  }
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
  m_search->dir = opendir(dir);
  if (m_search->dir == nullptr) return nullptr;
  m_search->entry = nullptr;

  char expression[Tevrol::File::detail::kWildcardExpressionBytes];
  Tevrol::File::detail::TranslateWildcard(leaf, expression);
  if (m_search->regexValid) {
    regfree(&m_search->regex);
    m_search->regexValid = false;
  }
  m_useFilter = true;
  if (Tevrol::File::detail::CompileWildcard(m_search->regex, expression) != 0) return nullptr;
  m_search->regexValid = true;
  return GetNextEntry();
}

DirEntry* FileSystem::GetNextEntry() {
  if (m_search == nullptr || m_search->dir == nullptr) return nullptr;
  // A pattern that did not compile matches nothing: no regexec on an invalid filter.
  if (m_useFilter && !m_search->regexValid) return nullptr;

  TxByteArray const dirBytes = m_currentDir.ToAscii();
  std::size_t const dirLength = std::strlen(dirBytes);
  // A current directory from getcwd has no "/" at the end: put one in between.
  std::size_t const separatorLength = (dirLength > 0 && !EndsWithSlash(m_currentDir)) ? 1 : 0;
  char path[kEntryPathBytes + 1];
  for (;;) {
    m_search->entry = readdir64(m_search->dir);
    struct dirent64 const* const record = m_search->entry;
    if (record == nullptr) return nullptr;
    std::size_t const nameLength = std::strlen(record->d_name);
    // A path too long for the 255-byte buffer cannot be examined, as a failing stat64.
    if (dirLength + separatorLength + nameLength > kEntryPathBytes) return nullptr;
    std::memcpy(path, dirBytes.GetConstData(), dirLength);
    if (separatorLength != 0) path[dirLength] = '/';
    std::memcpy(path + dirLength + separatorLength, record->d_name, nameLength + 1);
    normalizeSlashes(path);

    struct stat64 status;
    if (stat64(path, &status) != 0) return nullptr;
    if (m_useFilter && regexec(&m_search->regex, record->d_name, 0, nullptr, 0) != 0) continue;

    mode_t const kind = status.st_mode & S_IFMT;
    bool directory = false;
    if (kind == S_IFDIR) {
      directory = true;
    } else if (kind != S_IFREG && kind != S_IFLNK && kind != kIfNam) {
      continue;
    }
    // An entry that cannot be allocated is passed over as a failing stat64 is.
    return NewEntry(directory, record->d_name, static_cast<std::uint64_t>(status.st_size));
  }
}

void FileSystem::EndFind() {
  if (m_search == nullptr || m_search->dir == nullptr) return;
  closedir(m_search->dir);
  m_search->dir = nullptr;
  m_search->entry = nullptr;
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
  DIR* const dir = opendir(test);
  if (dir == nullptr) return false;
  closedir(dir);
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
    m_currentDir = getcwd(buffer, sizeof buffer) != nullptr ? TxString(buffer) : TxString();
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
  int result = -1;
  for (std::size_t i = 0; i < length; ++i) {
    if (buffer[i] == '/') {
      buffer[i] = '\0';
      result = mkdir(buffer, kCreateDirMode);
      buffer[i] = '/';
    } else if (i + 1 == length) {
      result = mkdir(buffer, kCreateDirMode);
    }
  }
  return result == 0;
}

bool FileSystem::DeleteFile(TxString path) {
  CutPath bytes;
  Cut(ToAbsolutePath(path).ToAscii(), bytes);
  normalizeSlashes(bytes);
  return std::remove(bytes) == 0;
}

bool FileSystem::CopyEntry(TxString source, TxString destination) {
  CutPath from;
  CutPath to;
  Cut(ToAbsolutePath(source).ToLatin1(), from);
  Cut(ToAbsolutePath(destination).ToLatin1(), to);
  normalizeSlashes(from);
  normalizeSlashes(to);
  int const in = open64(from, O_RDONLY);
  if (in < 0) return false;
  int const out = open64(to, O_WRONLY | O_CREAT | O_EXCL, kCopyEntryMode);
  if (out < 0) {
    close(in);
    return false;
  }
  char* const block = new (std::nothrow) char[kCopyEntryBlock];
  std::int64_t copied = 0;
  bool ok = block != nullptr && CopyBlocks(in, out, block, kCopyEntryBlock, copied);
  close(in);
  // close can report a write the file system deferred.
  if (close(out) != 0) ok = false;
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
  return std::rename(fromBytes, toBytes) == 0;
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
  glob_t found;
  std::memset(&found, 0, sizeof found);
  int const result =
      glob(pattern.ToAscii(), GLOB_NOSORT | GLOB_NOESCAPE | GLOB_NOMAGIC, nullptr, &found);
  if (result != 0 || found.gl_pathc == 0) {
    // glob may have allocated before it failed.
    globfree(&found);
    return nullptr;
  }
  struct stat64 status;
  if (stat64(found.gl_pathv[0], &status) != 0) {
    globfree(&found);
    return nullptr;
  }
  DirEntry* const entry = NewEntry((status.st_mode & S_IFMT) == S_IFDIR, found.gl_pathv[0],
                                   static_cast<std::uint64_t>(status.st_size));
  globfree(&found);
  return entry;
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
  int const in = open64(source.ToAscii(), O_RDONLY);
  if (in < 0) return false;
  int const out = open64(destination.ToAscii(), O_WRONLY | O_CREAT, kCopyFileMode);
  if (out < 0) {
    close(in);
    return false;
  }
  char block[kCopyFileBlock];
  std::int64_t copied = 0;
  // A failing read or write is reported: the destination is then no whole copy.
  bool ok = CopyBlocks(in, out, block, sizeof block, copied);
  // A longer plain file is cut behind the copy, so no old bytes look like
  // part of it; cut at the end, not opened with O_TRUNC, so that copying a
  // file onto itself keeps it whole.
  struct stat64 status;
  if (ok && fstat64(out, &status) == 0 && S_ISREG(status.st_mode) &&
      ftruncate64(out, copied) != 0) {
    ok = false;
  }
  close(in);
  if (close(out) != 0) ok = false;
  return ok;
}

bool FileSystem::IsAbsolutePath(TxString const& path) {
  return !path.IsEmpty() && path.GetAt(0) == TxChar('/');
}

bool FileSystem::GetFileTime(TxString const& path, TimeDate& time) {
  struct stat64 status;
  if (stat64(path.ToLatin1(), &status) != 0) {
    time.SetCalendarTime(0);
    return false;
  }
  time.SetCalendarTime(static_cast<Tevrol::ULong>(status.st_mtime));
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
  int const fd = open64(bytes, O_RDONLY | O_NONBLOCK);
  if (fd >= 0) {
    close(fd);
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
  struct stat64 status;
  if (path[0] == '/') return stat64(path, &status) != -1;
  FileSystem base;
  CutPath bytes;
  Cut(base.ToAbsolutePath(TxString(path)).ToLatin1(), bytes);
  return stat64(bytes, &status) != -1;
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
