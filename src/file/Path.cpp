#include "file/Path.h"

namespace Tevrol {
namespace File {

namespace {
constexpr Tevrol::Long kMaxLocalLength = 1024;
constexpr Tevrol::Long kFileUriLength = 7;  // "file://"
}  // namespace

Path::Path() : m_networkPart(-1) {}

Path::Path(TxString const& text) : TxString(text.Trimmed()), m_networkPart(-1) {
  TxChar const& backslash = Get_win32pathSep();
  if (GetLength() >= 3 && GetAt(0) == backslash && GetAt(1) == backslash) {
    TxString::operator=(Get_fileURI() + Mid(2, -1));
  }
  Replace(backslash, Get_pathSep());
  if (!isNetworkPath(*this)) {
    Init();
    return;
  }
  const Tevrol::Long networkPart = findNetWorkPart(*this);
  if (networkPart < 0) {
    // No '/' after "file://" ("file://srv", "file://"): no share is named,
    // so there is no network part and the whole text is a local one, in the
    // local normal form. Trimmed again, and repeated until nothing changes,
    // so that the result builds the same path again ("file://a :" loses its
    // ':' and then its blank). Each round only shortens the text.
    for (Tevrol::Long length = -1; length != GetLength();) {
      length = GetLength();
      Init();
      TxString::operator=(Trimmed());
    }
    return;
  }
  const TxString prefix = Left(networkPart);
  TxString::operator=(Mid(networkPart, -1));
  Init();
  Prepend(prefix);
  m_networkPart = networkPart;
}

Path::Path(Path const& base, Path const& leaf) : Path(base) {
  Append(leaf);
}

void Path::Init() {
  while (Contains(Get_doubleSlash())) {
    Replace(Get_doubleSlash(), Get_singleSlash());
  }
  // Decided before any ':' goes: ":/" loses its ':' and then its '/'.
  bool chop = GetLength() > 1;
  TxChar const& drvSep = Get_drvSep();
  const Tevrol::Long colons = Count(drvSep);
  if (colons == 1 && IndexOf(drvSep, 0) == 1) {
    chop = GetLength() > 3;  // keeps the '/' of a drive root "C:/"
  } else if (colons > 0) {
    Remove(drvSep);
  }
  if (chop && EndsWith(Get_pathSep())) {
    Chop(1);
  }
  if (GetSize() > kMaxLocalLength) {
    Truncate(kMaxLocalLength);
  }
}

Path& Path::Append(Path const& other) {
  if (IsEmpty()) {
    TxString::operator=(other);
    m_networkPart = other.m_networkPart;
    return *this;
  }
  TxChar const& pathSep = Get_pathSep();
  if (other.IsEmpty() || other.Contains(Get_drvSep()) || other.EndsWith(pathSep)) {
    return *this;
  }
  if (!other.StartsWith(pathSep) && !EndsWith(pathSep)) {
    TxString::Append(pathSep);
  }
  TxString::Append(other);
  return *this;
}

Path& Path::Append(TxString const& text) {
  return Append(Path(text));
}

TxString Path::GetLeaf() const {
  const Tevrol::Long slash = LastIndexOf(Get_pathSep(), -1);
  if (slash >= 0 && !(m_networkPart >= 0 && slash < m_networkPart)) {
    return Mid(slash + 1, -1);
  }
  if (m_networkPart < 0) {
    // Only the drive-only "C:" has an empty leaf; "C:dir", like "a", is its
    // own leaf, so that cutting it into folder and file loses nothing.
    return GetLength() == 2 && GetAt(1) == Get_drvSep() ? TxString() : TxString(*this);
  }
  if (IndexOf(Get_drvSep(), m_networkPart) == m_networkPart + 2) {
    return TxString();
  }
  return *this;
}

bool Path::HasParent() const {
  if (IsEmpty()) {
    return false;
  }
  const Tevrol::Long slash = LastIndexOf(Get_pathSep(), -1);
  if (slash < 0 || (m_networkPart >= 0 && slash < m_networkPart)) {
    return false;
  }
  return !EndsWith(Get_pathSep());
}

Path& Path::ToParent() {
  if (!HasParent()) {
    Clear();
    return *this;
  }
  TxString prefix;
  TxString local(*this);
  if (m_networkPart >= 0) {
    prefix = Left(m_networkPart);
    local = Mid(m_networkPart, -1);
  }
  Tevrol::Long keep = local.LastIndexOf(Get_pathSep(), -1);
  const Tevrol::Long colon = local.IndexOf(Get_drvSep(), 0);
  if (keep == 0 || (keep == 2 && colon == 1)) {
    ++keep;  // the root stays
  }
  local.Truncate(keep);
  TxString::operator=(prefix + local);
  return *this;
}

Path Path::GetParent() const {
  Path parent(*this);
  parent.ToParent();
  return parent;
}

bool Path::IsAbsolute() const {
  if (IsEmpty()) {
    return false;
  }
  return m_networkPart >= 0 || StartsWith(Get_pathSep()) || Contains(Get_drvSep());
}

void Path::StartUp() {
  // Copies taken and dropped: only the construction of the statics matters.
  static_cast<void>(TxChar(Get_win32pathSep()));
  static_cast<void>(TxChar(Get_pathSep()));
  static_cast<void>(TxChar(Get_drvSep()));
  static_cast<void>(TxString(Get_doubleSlash()));
  static_cast<void>(TxString(Get_singleSlash()));
  static_cast<void>(TxString(Get_fileURI()));
}

bool isNetworkPath(TxString const& text) {
  return text.StartsWith(Get_fileURI(), TxString::CaseInsensitive);
}

Tevrol::Long findNetWorkPart(TxString const& text) {
  const Tevrol::Long slash = text.IndexOf(Get_pathSep(), kFileUriLength);
  if (slash < 0 || text.Count(Get_drvSep()) < 2) {
    return slash;
  }
  return slash + 1;  // "file://C:/dir": the drive's '/' belongs to the network part
}

bool CheckIllegalChars(TxString& text) {
  const TxChar lowestPlain(std::uint16_t{31});
  for (Tevrol::Long i = 0; i < text.GetSize(); ++i) {
    const TxChar c = text[i];
    bool listed = false;
    for (TxChar const& entry : illegalSpecialChars) {
      listed = listed || c == entry;
    }
    if (!listed && !(c >= lowestPlain)) {
      return false;
    }
  }
  return true;
}

}  // namespace File
}  // namespace Tevrol
