#ifndef TEVROL_FILE_FILEPD_H
#define TEVROL_FILE_FILEPD_H

#include <cstddef>
#include <cstdint>

// Platform layer of File: thin wrappers of the descriptor calls with 64-bit
// offsets, and the open flags File needs by name. Internal, not installed.
// Each call sets errno as the system call does.
class FilePD {
 public:
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
  // fstat64 / stat64: false when the call fails (status untouched then).
  static bool GetStatus(int descriptor, Status* status);
  static bool GetStatus(char const* path, Status* status);
};

#endif
