// Platform layer of the file subsystem: File, the browser and the file
// operations reach the OS through it.
#include "file/FilePD.h"

#include <dirent.h>
#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

int const FilePD::kCreate = O_CREAT;
int const FilePD::kTargetDefaultAccess = O_CREAT | O_NONBLOCK;
int const FilePD::kCreateOrTruncate = O_CREAT | O_EXCL | O_TRUNC;
int const FilePD::kWriteNew = O_WRONLY | O_CREAT | O_TRUNC;
unsigned int const FilePD::kSocketType = S_IFSOCK;
int const FilePD::kReadOnly = O_RDONLY;
int const FilePD::kReadOnlyNonBlocking = O_RDONLY | O_NONBLOCK;
int const FilePD::kWriteCreate = O_WRONLY | O_CREAT;
int const FilePD::kExclusive = O_EXCL;

static_assert(FilePD::kTypeMask == S_IFMT && FilePD::kTypeFile == S_IFREG &&
                  FilePD::kTypeDirectory == S_IFDIR && FilePD::kTypeSymLink == S_IFLNK,
              "the file type bits are POSIX's");

namespace {

void Fill(struct stat64 const& info, FilePD::Status* status) {
  status->size = static_cast<std::uint64_t>(info.st_size);
  status->type = static_cast<unsigned int>(info.st_mode & S_IFMT);
  status->mode = static_cast<unsigned int>(info.st_mode);
  status->changeTime = static_cast<std::int64_t>(info.st_ctime);
  status->accessTime = static_cast<std::int64_t>(info.st_atime);
  status->modificationTime = static_cast<std::int64_t>(info.st_mtime);
}

}  // namespace

int FilePD::Open(char const* name, int flags, bool withMode) {
  if (withMode) {
    return open64(name, flags, 0644);
  }
  return open64(name, flags);
}

int FilePD::Close(int descriptor) {
  return close(descriptor);
}

std::int64_t FilePD::Read(int descriptor, void* buffer, std::size_t length) {
  return static_cast<std::int64_t>(read(descriptor, buffer, length));
}

std::int64_t FilePD::Write(int descriptor, void const* buffer, std::size_t length) {
  return static_cast<std::int64_t>(write(descriptor, buffer, length));
}

std::int64_t FilePD::Seek(int descriptor, std::int64_t offset, Whence whence) {
  int const how = whence == FromCurrent ? SEEK_CUR : (whence == FromEnd ? SEEK_END : SEEK_SET);
  return static_cast<std::int64_t>(lseek64(descriptor, static_cast<off64_t>(offset), how));
}

int FilePD::Truncate(int descriptor, std::int64_t length) {
  return ftruncate64(descriptor, static_cast<off64_t>(length));
}

bool FilePD::GetStatus(int descriptor, Status* status) {
  struct stat64 info;
  if (fstat64(descriptor, &info) != 0) {
    return false;
  }
  Fill(info, status);
  return true;
}

bool FilePD::GetStatus(char const* path, Status* status) {
  struct stat64 info;
  if (stat64(path, &info) != 0) {
    return false;
  }
  Fill(info, status);
  return true;
}

bool FilePD::GetLinkStatus(char const* path, Status* status) {
  struct stat64 info;
  if (lstat64(path, &info) != 0) {
    return false;
  }
  Fill(info, status);
  return true;
}

int FilePD::OpenWithMode(char const* name, int flags, unsigned int mode) {
  return open64(name, flags, static_cast<mode_t>(mode));
}

bool FilePD::WriteAll(int descriptor, char const* data, std::size_t length) {
  while (length > 0) {
    ssize_t const written = write(descriptor, data, length);
    if (written < 0) return false;
    if (written == 0) {
      errno = EIO;
      return false;
    }
    data += written;
    length -= static_cast<std::size_t>(written);
  }
  return true;
}

bool FilePD::CopyBlocks(int in, int out, char* block, std::size_t blockSize, std::int64_t& copied) {
  copied = 0;
  for (;;) {
    ssize_t const got = read(in, block, blockSize);
    if (got == 0) return true;
    if (got < 0) return false;
    if (!WriteAll(out, block, static_cast<std::size_t>(got))) return false;
    copied += got;
  }
}

bool FilePD::MakeDirectory(char const* path, unsigned int mode) {
  return mkdir(path, static_cast<mode_t>(mode)) == 0;
}

bool FilePD::Rename(char const* from, char const* to) {
  return std::rename(from, to) == 0;
}

bool FilePD::Remove(char const* path) {
  return std::remove(path) == 0;
}

bool FilePD::GetWorkingDirectory(char* buffer, std::size_t size) {
  return getcwd(buffer, size) != nullptr;
}

bool FilePD::CanOpenFolder(char const* path) {
  DIR* const folder = opendir(path);
  if (folder == nullptr) return false;
  closedir(folder);
  return true;
}

bool FilePD::GlobFirst(char const* pattern, char (&path)[kGlobPathBytes]) {
  glob_t found;
  std::memset(&found, 0, sizeof found);
  int const result = glob(pattern, GLOB_NOSORT | GLOB_NOESCAPE | GLOB_NOMAGIC, nullptr, &found);
  std::size_t const length =
      result == 0 && found.gl_pathc != 0 ? std::strlen(found.gl_pathv[0]) : sizeof path;
  bool const any = length < sizeof path;
  if (any) std::memcpy(path, found.gl_pathv[0], length + 1);
  // glob may have allocated before it failed.
  globfree(&found);
  return any;
}
