#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "FileTestSupport.h"
#include "file/FileOperationsImpl.h"

using Tevrol::File::ErrorCode;
using Tevrol::File::FileOperationsImpl_HandleLastError;

namespace {

// Every name the translation knows, and two it does not. The code goes by the
// name; the text carries this platform's own number.
TEST(ErrnoTranslationTest, SymbolicNamesGiveTheirCodeAndThePlatformNumber) {
  struct Row {
    char const* name;
    int number;
    ErrorCode::Code code;
  } const rows[] = {
      {"0", 0, ErrorCode::Success},
      {"EPERM", EPERM, ErrorCode::AccessDenied},
      {"EACCES", EACCES, ErrorCode::AccessDenied},
      {"EFAULT", EFAULT, ErrorCode::AccessDenied},
      {"ENOENT", ENOENT, ErrorCode::NotFound},
      {"ENOTDIR", ENOTDIR, ErrorCode::NotFound},
      {"EBUSY", EBUSY, ErrorCode::InUse},
      {"ENOTEMPTY", ENOTEMPTY, ErrorCode::InUse},
      {"EEXIST", EEXIST, ErrorCode::AlreadyExists},
      {"EXDEV", EXDEV, ErrorCode::InvalidRequest},
      {"EISDIR", EISDIR, ErrorCode::InvalidRequest},
      {"EINVAL", EINVAL, ErrorCode::InvalidRequest},
      {"ENOSPC", ENOSPC, ErrorCode::InvalidRequest},
      {"ENAMETOOLONG", ENAMETOOLONG, ErrorCode::InvalidRequest},
      {"EROFS", EROFS, ErrorCode::ReadOnly},
      {"ELOOP", ELOOP, ErrorCode::TooManyLinks},
      {"EIO", EIO, ErrorCode::OtherError},
      {"EAGAIN", EAGAIN, ErrorCode::OtherError},
  };
  for (auto const& row : rows) {
    ErrorCode error;
    errno = row.number;
    EXPECT_EQ(FileOperationsImpl_HandleLastError(error), row.number == 0) << row.name;
    EXPECT_EQ(error.code, row.code) << row.name;
    EXPECT_EQ(Str(error.text), "POSIX error " + std::to_string(row.number) + " from ") << row.name;
  }
}

}  // namespace
