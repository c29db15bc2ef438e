#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "FileTestSupport.h"
#include "file/FileOperationsImpl.h"

using Tevrol::File::ErrorCode;
using Tevrol::File::FileOperationsImpl_HandleLastError;

namespace {

// Every number the translation knows, and two it does not. The code goes by
// the symbolic name; the text carries this platform's own number.
TEST(ErrnoTranslationTest, SymbolicNamesGiveTheirCodeAndThePlatformNumber) {
  struct Row {
    ErrorCode::Code code;
    std::vector<int> numbers;
  } const rows[] = {
      {ErrorCode::Success, {0}},
      {ErrorCode::AccessDenied, {EPERM, EACCES, EFAULT}},
      {ErrorCode::NotFound, {ENOENT, ENOTDIR}},
      {ErrorCode::InUse, {EBUSY, ENOTEMPTY}},
      {ErrorCode::AlreadyExists, {EEXIST}},
      {ErrorCode::InvalidRequest, {EXDEV, EISDIR, EINVAL, ENOSPC, ENAMETOOLONG}},
      {ErrorCode::ReadOnly, {EROFS}},
      {ErrorCode::TooManyLinks, {ELOOP}},
      {ErrorCode::OtherError, {EIO, EAGAIN}},
  };
  for (auto const& row : rows) {
    for (int const number : row.numbers) {
      ErrorCode error;
      errno = number;
      EXPECT_EQ(FileOperationsImpl_HandleLastError(error), number == 0) << "errno " << number;
      EXPECT_EQ(error.code, row.code) << "errno " << number;
      EXPECT_EQ(Str(error.text), "POSIX error " + std::to_string(number) + " from ");
    }
  }
}

}  // namespace
