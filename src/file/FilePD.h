#ifndef TEVROL_FILE_FILEPD_H
#define TEVROL_FILE_FILEPD_H

#include <cstddef>
#include <cstdint>

// Platform layer of the file subsystem (File, the browser FileSystem and
// FileOperations): thin wrappers of the descriptor and entry calls with
// 64-bit offsets and sizes, the open flags by name, and the loops they all
// share. Internal, not installed. Each call sets errno as the system call
// does. FolderScanPD.h has the folder listing.
class FilePD {
 public:
  // The file type bits of a status, as POSIX numbers them.
  static constexpr unsigned int kTypeMask = 0xF000U;
  static constexpr unsigned int kTypeFile = 0x8000U;
  static constexpr unsigned int kTypeDirectory = 0x4000U;
  static constexpr unsigned int kTypeSymLink = 0xA000U;
  // QNX Neutrino's named special file; Linux never reports it.
  static constexpr unsigned int kTypeNamedSpecial = 0x5000U;

  // O_RDONLY.
  static int const kReadOnly;
  // O_RDONLY | O_NONBLOCK: opening a FIFO does not wait for a writer.
  static int const kReadOnlyNonBlocking;
  // O_WRONLY | O_CREAT.
  static int const kWriteCreate;
  // O_EXCL: fails when the name exists.
  static int const kExclusive;
  // The platform's O_CREAT.
  static int const kCreate;
  // What the target's default access flags 0x180 mean here: O_CREAT | O_NONBLOCK.
  static int const kTargetDefaultAccess;
  // Flags that create or cut a file on open: O_CREAT, O_EXCL, O_TRUNC.
  static int const kCreateOrTruncate;
  // A new file to write, replacing one of the name: O_WRONLY, O_CREAT, O_TRUNC.
  static int const kWriteNew;
  // File type bits of a socket (S_IFSOCK, 0xC000).
  static unsigned int const kSocketType;

  enum Whence { FromStart = 0, FromCurrent = 1, FromEnd = 2 };

  struct Status {
    std::uint64_t size;
    unsigned int type;  // the file type bits of st_mode
    unsigned int mode;  // all of st_mode
    std::int64_t changeTime;
    std::int64_t accessTime;
    std::int64_t modificationTime;
  };

  // open64; with withMode the mode 0644 is passed as well. The descriptor or -1.
  static int Open(char const* name, int flags, bool withMode);
  static int Close(int descriptor);
  // read / write: the count, or -1.
  static std::int64_t Read(int descriptor, void* buffer, std::size_t length);
  static std::int64_t Write(int descriptor, void const* buffer, std::size_t length);
  // lseek64: the new offset, or -1.
  static std::int64_t Seek(int descriptor, std::int64_t offset, Whence whence);
  // ftruncate64: 0, or -1.
  static int Truncate(int descriptor, std::int64_t length);
  // open64 with the given mode.
  static int OpenWithMode(char const* name, int flags, unsigned int mode);
  // fstat64 / stat64 / lstat64: false when the call fails (status untouched then).
  static bool GetStatus(int descriptor, Status* status);
  static bool GetStatus(char const* path, Status* status);
  static bool GetLinkStatus(char const* path, Status* status);

  // Writes all `length` bytes, going on after a short write. False when a
  // write fails, or makes no progress (errno is EIO then: it would loop for ever).
  static bool WriteAll(int descriptor, char const* data, std::size_t length);
  // Copies `in` to `out` through `block` until `in` ends; `copied` counts the
  // bytes written. False when a read or a write fails, errno set by it.
  static bool CopyBlocks(int in, int out, char* block, std::size_t blockSize, std::int64_t& copied);

  // mkdir / rename / remove (a file, an empty folder, a link itself, never
  // its target): false when the call fails.
  static bool MakeDirectory(char const* path, unsigned int mode);
  static bool Rename(char const* from, char const* to);
  static bool Remove(char const* path);
  // getcwd into buffer; false when it does not fit or fails.
  static bool GetWorkingDirectory(char* buffer, std::size_t size);
  // The folder opens for listing (it is closed again at once).
  static bool CanOpenFolder(char const* path);
  // The first path that glob finds for pattern (GLOB_NOSORT | GLOB_NOESCAPE
  // | GLOB_NOMAGIC, so a pattern without wildcards is its own result), into
  // path; false when there is none or it does not fit, which no status call
  // could take anyway.
  static constexpr std::size_t kGlobPathBytes = 4096;
  static bool GlobFirst(char const* pattern, char (&path)[kGlobPathBytes]);
};

#endif
