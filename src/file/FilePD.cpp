// Platform layer of File: the only code of File that calls the OS.
#include "file/FilePD.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

int const FilePD::kCreate = O_CREAT;
int const FilePD::kTargetDefaultAccess = O_CREAT | O_NONBLOCK;
int const FilePD::kCreateOrTruncate = O_CREAT | O_EXCL | O_TRUNC;
int const FilePD::kWriteNew = O_WRONLY | O_CREAT | O_TRUNC;
unsigned int const FilePD::kSocketType = S_IFSOCK;

namespace {

void Fill(struct stat64 const& info, FilePD::Status* status) {
  status->size = static_cast<std::uint64_t>(info.st_size);
  status->type = static_cast<unsigned int>(info.st_mode & S_IFMT);
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
