#include "file/File.h"

#include <cerrno>
#include <cstring>

#include "file/ErrorCode.h"
#include "file/FileOperations.h"
#include "file/FilePD.h"

namespace {

// Longest name handed to the system; a longer one is cut, with no error.
constexpr std::size_t kMaxNameBytes = 254;

}  // namespace

// The target's default 0x180: read-only, non-blocking, and created when
// missing; Open then passes the mode 0644, so a default-built File that gets a
// name never creates a file with undefined permissions.
File::File()
    : m_fileDescriptor(-1), m_accessFlags(FilePD::kTargetDefaultAccess), m_creationFlags(0) {
  m_type = kFileEntry;
}

File::File(TxString const& name, Tevrol::Long access, Tevrol::Long /*share*/, Tevrol::Long creation,
           Tevrol::Long /*attributes*/, bool /*unused*/)
    : m_fileDescriptor(-1), m_accessFlags(access), m_creationFlags(creation) {
  m_name = name;
  m_type = kFileEntry;
}

File::File(Tevrol::File::Path const& name, Tevrol::Long access, Tevrol::Long share,
           Tevrol::Long creation, Tevrol::Long attributes, bool unused)
    : File(static_cast<TxString const&>(name), access, share, creation, attributes, unused) {}

File::File(char const* name, Tevrol::Long access, Tevrol::Long share, Tevrol::Long creation,
           Tevrol::Long attributes, bool unused)
    : File(TxString(name), access, share, creation, attributes, unused) {}

File::~File() {
  File::Close();  // this class's own, as in any destructor
}

Tevrol::ULong File::Read(unsigned char* buffer, Tevrol::ULong length, Tevrol::ULong* bytesRead) {
  // Without a place for the count there is no way to report: failure, nothing read.
  if (bytesRead == nullptr) {
    return kStreamFailure;
  }
  std::int64_t const got = FilePD::Read(m_fileDescriptor, buffer, length);
  if (got < 0) {
    *bytesRead = 0;
    return kStreamFailure;
  }
  *bytesRead = static_cast<Tevrol::ULong>(got);
  return got == 0 ? kStreamEndOfData : kStreamSuccess;
}

Tevrol::ULong File::Flush() {
  return kStreamSuccess;
}

Tevrol::ULong File::EnableWait() {
  return kStreamSuccess;
}

Tevrol::ULong File::WaitForData() {
  return kStreamSuccess;
}

Tevrol::ULong File::DisableWait() {
  return kStreamSuccess;
}

void File::Cancel() {}

void File::SetReadTimeout(Tevrol::Long /*milliseconds*/) {}

Tevrol::Long File::GetReadTimeout() {
  return 0;
}

Tevrol::ULong File::Open() {
  if (IsOpen()) {
    return kStreamAlreadyOpen;
  }
  if (m_name.IsEmpty()) {
    return kStreamFailure;
  }
  char name[kMaxNameBytes + 1];
  TxByteArray const bytes = m_name.ToAscii();
  std::strncpy(name, bytes.GetConstData(), kMaxNameBytes);
  name[kMaxNameBytes] = '\0';
  normalizeSlashes(name);

  int const flags = static_cast<int>(m_accessFlags | m_creationFlags);
  // A mode goes with O_CREAT wherever it is, so open64 never reads an
  // undefined one.
  m_fileDescriptor = FilePD::Open(name, flags, (flags & FilePD::kCreate) != 0);
  return m_fileDescriptor == -1 ? kStreamOpenRefused : kStreamSuccess;
}

void File::Close() {
  if (m_fileDescriptor != -1) {
    static_cast<void>(FilePD::Close(m_fileDescriptor));
    m_fileDescriptor = -1;
  }
}

char const* File::GetFriendlyName() const {
  return "unknown";
}

Tevrol::ULong File::Write(unsigned char const* buffer, Tevrol::ULong length,
                          Tevrol::ULong* bytesWritten) {
  // As Read: no place for the count, no write.
  if (bytesWritten == nullptr) {
    return kStreamFailure;
  }
  std::int64_t const written = FilePD::Write(m_fileDescriptor, buffer, length);
  if (written < 0) {
    *bytesWritten = 0;
    return kStreamFailure;
  }
  *bytesWritten = static_cast<Tevrol::ULong>(written);
  return kStreamSuccess;
}

bool File::IsOpen() {
  return m_fileDescriptor != -1;
}

Tevrol::ULong File::DeviceIoControl(Tevrol::ULong /*code*/, void* /*in*/, Tevrol::ULong /*inSize*/,
                                    void* /*out*/, Tevrol::ULong /*outSize*/,
                                    Tevrol::ULong* /*returned*/) {
  return kStreamSuccess;
}

InputStream* File::GetInputStream() {
  return this;
}

OutputStream* File::GetOutputStream() {
  return this;
}

Tevrol::ULong File::SetPosition(unsigned long long position, MoveMethod method) {
  FilePD::Whence const whence = method == Current ? FilePD::FromCurrent
                                : method == End   ? FilePD::FromEnd
                                                  : FilePD::FromStart;
  errno = 0;
  std::int64_t const result =
      FilePD::Seek(m_fileDescriptor, static_cast<std::int64_t>(position), whence);
  return result == -1 && errno != 0 ? kStreamFailure : kStreamSuccess;
}

Tevrol::ULong File::GetPosition(unsigned long long* position) {
  // No place for the position: failure.
  if (position == nullptr) {
    return kStreamFailure;
  }
  errno = 0;
  std::int64_t const result = FilePD::Seek(m_fileDescriptor, 0, FilePD::FromCurrent);
  if (result == -1 && errno != 0) {
    *position = 0;
    return kStreamFailure;
  }
  *position = static_cast<unsigned long long>(result);
  return kStreamSuccess;
}

Tevrol::ULong File::GetSize(unsigned long long* size) {
  FilePD::Status status;
  if (size == nullptr || !FilePD::GetStatus(m_fileDescriptor, &status)) {
    return kStreamFailure;
  }
  *size = status.size;
  return kStreamSuccess;
}

Tevrol::ULong File::SetEndOfFile() {
  std::int64_t const position = FilePD::Seek(m_fileDescriptor, 0, FilePD::FromCurrent);
  if (position == -1 || FilePD::Truncate(m_fileDescriptor, position) != 0) {
    return kStreamFailure;
  }
  return kStreamSuccess;
}

bool File::GetLastChangeTime(Tevrol::Long& time) {
  FilePD::Status status;
  if (!FilePD::GetStatus(m_fileDescriptor, &status)) {
    return false;
  }
  time = static_cast<Tevrol::Long>(status.changeTime);
  return true;
}

bool File::GetLastAccessTime(Tevrol::Long& time) {
  FilePD::Status status;
  if (!FilePD::GetStatus(m_fileDescriptor, &status)) {
    return false;
  }
  time = static_cast<Tevrol::Long>(status.accessTime);
  return true;
}

bool File::GetLastModificationTime(Tevrol::Long& time) {
  FilePD::Status status;
  if (!FilePD::GetStatus(m_fileDescriptor, &status)) {
    return false;
  }
  time = static_cast<Tevrol::Long>(status.modificationTime);
  return true;
}

bool File::GetCreationTime(Tevrol::Long& /*time*/) {
  return false;
}

bool File::Rename(TxString const& newName, bool overwrite) {
  bool const wasOpen = IsOpen();
  unsigned long long position = 0;
  if (wasOpen) {
    if (GetPosition(&position) != kStreamSuccess) {
      return false;
    }
    Close();
  }
  Tevrol::File::ErrorCode error;
  bool const renamed = Tevrol::File::FileOperations::Rename(
      Tevrol::File::Path(m_name), Tevrol::File::Path(newName), overwrite, error);
  if (renamed) {
    m_name = newName;
  }
  bool reopened = true;
  if (wasOpen) {
    // Reopened so that it is neither created nor cut: creation flags 0 for
    // this one call, and O_CREAT, O_EXCL and O_TRUNC kept out of the access
    // flags as well.
    Tevrol::Long const creation = m_creationFlags;
    Tevrol::Long const access = m_accessFlags;
    m_creationFlags = 0;
    m_accessFlags = access & ~static_cast<Tevrol::Long>(FilePD::kCreateOrTruncate);
    reopened = Open() == kStreamSuccess;
    m_creationFlags = creation;
    m_accessFlags = access;
    if (reopened) {
      static_cast<void>(SetPosition(position, Begin));
    }
  }
  return renamed && reopened;
}

void File::SetFileName(TxString const& name) {
  m_name = name;
}

void File::SetFileName(Tevrol::File::Path const& name) {
  m_name = name;
}

void File::GetRemovableDrives(DirEntryArray& /*drives*/) {}

void File::normalizeSlashes(char* path) {
  if (path == nullptr) {
    return;
  }
  char* out = path;
  for (char const* in = path; *in != '\0'; ++in) {
    char const c = *in == '\\' ? '/' : *in;
    if (c == '/' && out != path && out[-1] == '/') {
      continue;
    }
    *out++ = c;
  }
  *out = '\0';
}

bool File::FileExists(TxString const& path) {
  FilePD::Status status;
  TxByteArray const bytes = path.ToAscii();
  if (!FilePD::GetStatus(bytes.GetConstData(), &status)) {
    return false;
  }
  return status.type != FilePD::kSocketType;
}
