#include "file/HelperFunctions.h"

#include <cstdint>

#include "file/HelperFunctionsPD.h"
#include "file/PDEnvInformation.h"

namespace {

constexpr Tevrol::Long kExecutablePathBytes = 1024;

// Whether `part` stands in `text` at `index`; an empty part never does, so
// an empty ESCAPE or SEPARATOR cannot stall a scan.
bool StandsAt(TxString const& text, Tevrol::Long index, TxString const& part) {
  if (part.IsEmpty() || index + part.GetLength() > text.GetLength()) {
    return false;
  }
  for (Tevrol::Long i = 0; i < part.GetLength(); ++i) {
    if (!(text[index + i] == part[i])) {
      return false;
    }
  }
  return true;
}

// The executable's path, or the empty text when it cannot be read.
TxString ReadExecutablePath() {
  Tevrol::Long size = kExecutablePathBytes;
  // Twice at most: once with 1024 bytes, once more with the full length a
  // longer path needs; only a terminated answer is ever read.
  for (int attempt = 0; attempt < 2; ++attempt) {
    char* const bytes = new char[static_cast<std::size_t>(size)];
    const Tevrol::Long length =
        PDEnvInformation::GetExecutablePath(bytes, static_cast<Tevrol::ULong>(size));
    TxString path;
    if (length >= 0 && length < size) {
      path = bytes;
    }
    delete[] bytes;
    if (length < size) {
      return path;  // read, or unreadable (-1): empty
    }
    size = length + 1;
  }
  return TxString();  // longer at the second reading too: the file was renamed meanwhile
}

}  // namespace

char const* HelperFunctions::ESCAPE = "\\";
char const* HelperFunctions::SEPARATOR = "/";

TxString HelperFunctions::GetCurrentWorkingDirectory() {
  char buffer[1024];
  return TxString(HelperFunctionsPD::GetCurrentWorkingDirectory(buffer, sizeof(buffer)));
}

TxString HelperFunctions::GetExecutableNameWithFolder() {
  return TxString(HelperFunctionsPD::GetArgv()[0]);  // null, for an unreadable vector, is empty
}

TxString HelperFunctions::GetExecutableFolder() {
  const TxString path = ReadExecutablePath();
  // Through 16 bits, as the target does: no '/' (-1) keeps 65536, so the whole text.
  const std::uint16_t slash = static_cast<std::uint16_t>(path.LastIndexOf(TxChar('/'), -1));
  return path.Left(Tevrol::Long{slash} + 1);
}

void HelperFunctions::CutFileName(TxString const& text, TxString& folder, TxString& file) {
  const TxString escape(ESCAPE);
  const TxString separator(SEPARATOR);
  Tevrol::Long remembered = -1;  // last character of the last unescaped separator
  bool escaped = false;
  Tevrol::Long i = 0;
  while (i < text.GetLength()) {
    if (escaped) {
      escaped = false;
      ++i;
    } else if (StandsAt(text, i, escape)) {
      escaped = true;
      i += escape.GetLength();
    } else if (StandsAt(text, i, separator)) {
      i += separator.GetLength();
      remembered = i - 1;
    } else {
      ++i;
    }
  }
  // Both parts are cut before either is assigned: folder or file may be text itself.
  if (remembered > 0) {
    TxString head = text.Left(remembered + 1);
    TxString tail = text.Mid(remembered + 1, -1);
    folder = head;
    file = tail;
  } else {
    file = text;  // first: text may be folder itself
    folder.Clear();
  }
}

bool HelperFunctions::IsAbsolutePath(TxString const& text) {
  return !text.IsEmpty() && text.Left(1) == TxString(SEPARATOR);
}

bool HelperFunctions::CreateAbsolutePath(TxString const& path, TxString& result) {
  if (IsAbsolutePath(path)) {
    result = path;
    return true;
  }
  TxString absolute = GetExecutableFolder();
  if (absolute.IsEmpty()) {
    result = path;  // folder unknown: the path stays relative rather than going under "/"
    return true;
  }
  const TxString separator(SEPARATOR);
  if (absolute.Right(separator.GetLength()) != separator) {
    absolute += separator;
  }
  absolute += path;
  result = absolute;
  return true;
}
