#ifndef TEVROL_FILE_ERRORCODE_H
#define TEVROL_FILE_ERRORCODE_H

#include <cstdint>

#include "frame/TevrolExport.h"
#include "frame/text/TxString.h"

namespace Tevrol {
namespace File {

// The report of a file operation besides its bool or count. A new record says
// Unset with an empty text; an operation writes both fields together, and an
// operation documented to leave the record alone does not touch it, so a
// caller who wants to read it afterwards presets it.
struct ErrorCode {
  enum Code : std::int32_t {
    Success = 0,
    Unset = 1,
    AlreadyExists = 2,
    NotFound = 3,
    // 4 is not used.
    NotAbsolute = 5,
    SamePath = 6,
    InvalidRequest = 7,
    AccessDenied = 8,
    InUse = 9,
    ReadOnly = 10,
    TooManyLinks = 11,
    NotSupported = 12,
    OtherError = 13
  };

  ErrorCode() : code(Unset), text(NULLString) {}
  ErrorCode(Code c, TxString const& t) : code(c), text(t) {}

  Code code;
  TxString text;
};

// What stat64 says about an entry. It follows symbolic links, so StatusSymLink
// comes only where the system itself reports the link type. Values above
// StatusNotFound mean that the entry exists.
class FileStatus {
 public:
  enum Value : std::int32_t {
    StatusUnknown = 0,    // not absolute, or a device, pipe or socket
    StatusNotFound = 1,   // stat64 failed, for whatever reason
    StatusFile = 2,       // type bits 0x8000
    StatusDirectory = 3,  // type bits 0x4000
    StatusSymLink = 4     // type bits 0xA000
  };

  constexpr FileStatus() : m_value(StatusUnknown) {}
  constexpr FileStatus(Value value) : m_value(value) {}  // NOLINT(google-explicit-constructor)
  constexpr operator Value() const { return m_value; }   // NOLINT(google-explicit-constructor)
  // The test the operations use: nothing there (or no statement).
  constexpr bool IsMissing() const { return static_cast<std::uint32_t>(m_value) <= 1U; }

 private:
  Value m_value;
};

}  // namespace File
}  // namespace Tevrol

#endif
