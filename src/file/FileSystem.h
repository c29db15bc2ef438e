#ifndef TEVROL_FILE_FILESYSTEM_H
#define TEVROL_FILE_FILESYSTEM_H

#include "file/DirEntry.h"
#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "frame/text/TxString.h"

class DirEntryArray;
class TimeDate;

// A small file system browser with a current directory of its own. The
// current directory starts as the folder of the executable (with its "/"),
// never the working directory of the process, and relative paths of most
// operations resolve against it. Results are bool or null only.
//
// Paths reach the operating system through fixed byte buffers: most
// operations keep only the first 254 bytes of a path (a longer one is cut
// without a sign and the operation goes on with the cut text). Texts leave
// through ToAscii or ToLatin1, which give the same bytes, so names with bytes
// above 0x7F (UTF-8 among them) pass unchanged.
//
// No lock: an object belongs to one thread at a time. The static operations
// keep no shared state and may run on any thread.
class TEVROL_EXPORT FileSystem {
 public:
  // No operation looks at these; they exist for callers of
  // SetEntryAttribute, which changes nothing on this platform.
  enum EntryAttribute : Tevrol::Long {
    AttributeNormal = 0,
    AttributeReadOnly = 1,
    AttributeHidden = 2,
    AttributeSystem = 4,
    AttributeArchive = 8
  };

  // Current directory: the executable's folder.
  FileSystem();
  // Ends an open search and frees the filter.
  virtual ~FileSystem();

  FileSystem(FileSystem const&) = delete;
  FileSystem& operator=(FileSystem const&) = delete;

  // Starts a listing and returns its first entry, or null. A null pattern
  // means "*". A folder in the pattern ("sub/*.txt") becomes the current
  // directory for good, as it stands, even when the call then fails; a
  // relative folder given this way is read relative to the working
  // directory of the process. The leaf is a wildcard ('*', '?', brackets),
  // matched without regard to case. A search still open is ended first.
  DirEntry* GetFirstEntry(TxString const* pattern);
  // The next matching entry, or null. Links are followed: a plain file comes
  // as a File entry (m_type 0), a directory as a DirEntry (m_type 1, "." and
  // ".." included), other kinds are passed over. m_name is the leaf name,
  // m_size st_size. Null also for a name that cannot be examined (stat64
  // fails, as for a dangling link, or directory and name together exceed 255
  // bytes), matching or not; the search stays open and the next call goes on
  // behind it.
  // The end of the directory keeps giving null until EndFind.
  DirEntry* GetNextEntry();
  // Closes the open search, if any. The filter stays until the next
  // GetFirstEntry or the destructor.
  void EndFind();

  // "" makes the next use take the working directory of the process (then
  // without a "/" at the end). Otherwise the directory, made absolute and
  // given a "/", must open; else false and nothing changes.
  bool ChangeDir(TxString path);
  // Works on the text alone: "/a/b/" becomes "/a/", "/a/" becomes "/";
  // "/" and "a/" give false and stay.
  bool ChangeToParentDir();
  // The current directory, taken from getcwd (255 bytes) when it is empty;
  // empty when getcwd fails.
  TxString GetCurrentDir();
  // path when it starts with "/", else the current directory, "/" unless it
  // ends with one, and path. "." and ".." stay. May fill an empty current
  // directory, as GetCurrentDir does; should getcwd fail, path goes under "/".
  TxString ToAbsolutePath(TxString const& path);
  // Makes the whole chain of folders (mode 0700). True only when the last
  // level was made now: an existing directory gives false. An absolute path
  // of more than 1023 bytes makes nothing and gives false.
  bool CreateDir(TxString path);
  // remove on the absolute path: a file, or an empty directory.
  bool DeleteFile(TxString path);
  // Copies a file to a new one (mode 0644), both relative to the current
  // directory. An existing destination gives false and stays untouched.
  // False when a read or write fails; the part copied so far stays.
  bool CopyEntry(TxString source, TxString destination);
  // rename, both relative to the current directory. With overwrite an
  // existing destination is removed first, even when the rename then fails;
  // without it nothing is tested and rename decides (it replaces a file).
  bool MoveEntry(TxString source, TxString destination, bool overwrite);
  // Whether the current directory followed by name exists (see FileExists).
  // A current directory without a "/" at the end gets one in between.
  bool ExistsEntry(char const* name);

  // The first match of a glob pattern, relative to the working directory of
  // the process; m_name is the whole path glob gave. Null without a match.
  static DirEntry* FindEntry(TxString pattern);
  // Destroys an entry that this class returned; null is ignored. Entries
  // must go back this way and no other.
  static void ReleaseEntry(DirEntry* entry);
  // Copies in blocks of 512 bytes, paths as the process sees them. An
  // existing destination is overwritten and cut to the copied length when
  // it is a plain file. False when a read or write fails (what was written
  // stays, and is not a whole copy).
  static bool CopyFile(TxString source, TxString destination);
  // Whether the first character is "/"; false for "".
  static bool IsAbsolutePath(TxString const& path);
  // Sets time to the modification time and gives true; on failure time holds
  // no date (the count 0) and the result is false. path as the process sees
  // it.
  static bool GetFileTime(TxString const& path, TimeDate& time);
  // Whether the path can be opened for reading, relative to the executable's
  // folder (not to any object's current directory): a directory counts, a
  // file that may not be read does not. "" tests the executable's folder. A
  // FIFO is opened without waiting for a writer.
  static bool FileExists(TxString path);
  static bool FileExists(char const* path);
  // Whether stat64 succeeds, of any kind of entry, a plain file too. Relative
  // to the executable's folder; "/" tests that folder too.
  static bool DirectoryExists(TxString path);
  static bool DirectoryExists(char const* path);
  // Always leaves the array empty.
  static void GetDrives(DirEntryArray& drives);
  // Exactly one entry: the path of the executable (its first 255 bytes), or
  // empty when it cannot be read.
  static void GetRemovableDrives(DirEntryArray& drives);
  // As File::normalizeSlashes.
  static void normalizeSlashes(char* path);

  // Nothing of these has an effect on this platform.
  bool DeleteEntry(TxString path);                                  // false
  bool SetEntryAttribute(TxString path, EntryAttribute attribute);  // false
  Tevrol::Long GetEntryAttribute(TxString path);                    // 0
  void AddPersistentStorageDrive(TxString const& drive);
  void GetPersistentStorageDrives(DirEntryArray& drives);  // drives untouched

 private:
  struct Search;  // the directory handle, the last record and the filter

  TxString m_currentDir;  // ends with "/" unless it came from getcwd; "" = take getcwd
  Search* m_search;       // allocated at the first GetFirstEntry
  bool m_useFilter;
  TxString m_separator;      // "/"
  TxString m_rootSeparator;  // "/", read by no operation
};

#endif
