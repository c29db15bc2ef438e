#include "file/FileOperationsImpl.h"

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <regex.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "file/WildcardExpression.h"
#include "frame/text/TxByteArray.h"
#include "frame/text/TxChar.h"

namespace Tevrol {
namespace File {

namespace {

// The file type bits of st_mode, as the status table names them.
constexpr unsigned kTypeMask = 0xF000U;
constexpr unsigned kTypeFile = 0x8000U;
constexpr unsigned kTypeDirectory = 0x4000U;
constexpr unsigned kTypeSymLink = 0xA000U;
constexpr mode_t kCreateDirMode = 0700;
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
  if (close(fd) == 0) return true;
  FileOperationsImpl_HandleLastError(error);
  return false;
}

// Writes all count bytes, repeating on the rest.
bool WriteAll(int fd, char const* data, ssize_t count, ErrorCode& error) {
  while (count > 0) {
    ssize_t const written = write(fd, data, static_cast<std::size_t>(count));
    if (written < 0) {
      FileOperationsImpl_HandleLastError(error);
      return false;
    }
    if (written == 0) {
      // A write that makes no progress would loop for ever: report it as EIO.
      errno = EIO;
      FileOperationsImpl_HandleLastError(error);
      return false;
    }
    data += written;
    count -= written;
  }
  return true;
}

}  // namespace

namespace detail {

namespace {

// Up to here regcomp stays within a few KiB of stack (measured on glibc).
constexpr int kInlineStars = 16;
constexpr std::size_t kCompileStackBytes = std::size_t{8} << 20;

bool CompilesInline(char const* expression) {
  int stars = 0;
  for (char const* at = expression; *at != '\0'; ++at) {
    if (*at == '*' && ++stars > kInlineStars) return false;
    if (*at == '\\') {
      if (at[1] != '.') return false;
      ++at;
    }
  }
  return true;
}

struct CompileJob {
  regex_t* compiled;
  char const* expression;
  int result;
};

void* CompileOnThread(void* argument) {
  auto* const job = static_cast<CompileJob*>(argument);
  job->result = regcomp(job->compiled, job->expression, REG_ICASE);
  return nullptr;
}

}  // namespace

int CompileWildcard(regex_t& compiled, char const* expression) {
  if (CompilesInline(expression)) return regcomp(&compiled, expression, REG_ICASE);
  CompileJob job{&compiled, expression, REG_ESPACE};
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return job.result;
  pthread_t thread;
  if (pthread_attr_setstacksize(&attributes, kCompileStackBytes) == 0 &&
      pthread_create(&thread, &attributes, &CompileOnThread, &job) == 0) {
    pthread_join(thread, nullptr);
  }
  pthread_attr_destroy(&attributes);
  return job.result;
}

}  // namespace detail

bool FileOperationsImpl_HandleLastError(ErrorCode& error) {
  int const number = errno;
  error.code = CodeOf(number);
  error.text = TxString("POSIX error %1 from ").Argument(number, 0, 10, TxChar(' '));
  return number == 0;
}

FileStatus FileOperationsImpl::GetFileStatus(TxString const& path) {
  struct stat64 info;
  if (stat64(path.ToAscii(), &info) != 0) return FileStatus::StatusNotFound;
  switch (static_cast<unsigned>(info.st_mode) & kTypeMask) {
    case kTypeFile:
      return FileStatus::StatusFile;
    case kTypeDirectory:
      return FileStatus::StatusDirectory;
    case kTypeSymLink:
      return FileStatus::StatusSymLink;
    default:
      return FileStatus::StatusUnknown;
  }
}

std::uint64_t FileOperationsImpl::GetFileSize(TxString const& path, ErrorCode& error) {
  struct stat64 info;
  if (stat64(path.ToAscii(), &info) != 0) {
    FileOperationsImpl_HandleLastError(error);
    return 0;
  }
  SetSuccess(error);
  return static_cast<std::uint64_t>(info.st_size);
}

bool FileOperationsImpl::CopyFileEntry(TxString const& source, TxString const& destination,
                                       bool overwrite, ErrorCode& error) {
  SetSuccess(error);
  int const in = open64(source.ToAscii(), O_RDONLY);
  if (in < 0) {
    FileOperationsImpl_HandleLastError(error);
    return false;
  }
  struct stat64 info;
  if (stat64(source.ToAscii(), &info) != 0) {
    FileOperationsImpl_HandleLastError(error);
    close(in);
    return false;
  }
  int const flags = O_WRONLY | O_CREAT | O_TRUNC | (overwrite ? 0 : O_EXCL);
  int const out = open64(destination.ToAscii(), flags, info.st_mode);
  if (out < 0) {
    FileOperationsImpl_HandleLastError(error);
    close(in);
    return false;
  }
  bool ok = true;
  char buffer[kCopyChunk];
  for (;;) {
    ssize_t const got = read(in, buffer, sizeof buffer);
    if (got == 0) break;
    if (got < 0) {
      FileOperationsImpl_HandleLastError(error);
      ok = false;
      break;
    }
    if (!WriteAll(out, buffer, got, error)) {
      ok = false;
      break;
    }
  }
  // Both are closed whatever happened; a later report overwrites an earlier one.
  ok = CloseReporting(in, error) && ok;
  ok = CloseReporting(out, error) && ok;
  return ok;
}

bool FileOperationsImpl::CopyDirectoryEntry(TxString const& source, TxString const& destination,
                                            bool overwrite, ErrorCode& error) {
  struct stat64 info;
  if (stat64(source.ToAscii(), &info) != 0) {
    FileOperationsImpl_HandleLastError(error);
    return false;
  }
  if (!overwrite && stat64(destination.ToAscii(), &info) == 0) {
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
  if (rename(source.ToAscii(), destination.ToAscii()) != 0) {
    FileOperationsImpl_HandleLastError(error);
    return false;
  }
  SetSuccess(error);
  return true;
}

bool FileOperationsImpl::Remove(TxString const& path, ErrorCode& error) {
  // remove() unlinks a symbolic link itself, never its target.
  if (remove(path.ToAscii()) != 0) {
    FileOperationsImpl_HandleLastError(error);
    return false;
  }
  SetSuccess(error);
  return true;
}

bool FileOperationsImpl::CreateDir(TxString const& path, ErrorCode& error) {
  if (mkdir(path.ToAscii(), kCreateDirMode) != 0) {
    FileOperationsImpl_HandleLastError(error);
    return false;
  }
  SetSuccess(error);
  return true;
}

bool FileOperationsImpl::IsSymbolicLink(TxString const& path) {
  struct stat64 info;
  return lstat64(path.ToAscii(), &info) == 0 &&
         (static_cast<unsigned>(info.st_mode) & kTypeMask) == kTypeSymLink;
}

Tevrol::Long FileOperationsImpl::FindFiles(TxString const& directory, TxString const& pattern,
                                           TxStringArray& names) {
  char expression[detail::kWildcardExpressionBytes];
  detail::TranslateWildcard(pattern, expression);
  regex_t compiled;
  if (detail::CompileWildcard(compiled, expression) != 0) return names.GetSize();
  DIR* const folder = opendir(directory.ToAscii());
  if (folder == nullptr) {
    regfree(&compiled);
    return 0;
  }
  bool anyEntry = false;
  while (struct dirent64 const* entry = readdir64(folder)) {
    anyEntry = true;
    if (regexec(&compiled, entry->d_name, 0, nullptr, 0) == 0) {
      // Added empty, then filled: one allocation per name instead of two.
      names.Add(NULLString);
      names[names.GetSize() - 1] = entry->d_name;
    }
  }
  closedir(folder);
  regfree(&compiled);
  return anyEntry ? names.GetSize() : 0;
}

}  // namespace File
}  // namespace Tevrol
