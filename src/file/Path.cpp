#include "file/Path.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "frame/text/TxStringBuffer.h"

namespace Tevrol {
namespace File {

namespace {
constexpr Tevrol::Long kMaxLocalLength = 1024;
constexpr Tevrol::Long kFileUriLength = 7;  // "file://"

// The loops below compare every unit, so they use the values of the shared
// separators directly.
constexpr char16_t kSlash = u'/';
constexpr char16_t kBackslash = u'\\';
constexpr char16_t kColon = u':';

// The white space that Trimmed removes.
bool IsBlank(char16_t unit) {
  return unit == u' ' || (unit >= 9 && unit <= 13);
}

char16_t WithSlash(char16_t unit) {
  return unit == kBackslash ? kSlash : unit;
}

// "file://" in any letter case, backslashes read as '/'; units holds 7 or more.
bool IsFileUri(char16_t const* units) {
  // Only 'F' and 'f' give 'f' here, and so on: the other letters that
  // case folding lowers lie above 0xBF.
  return (units[0] | 0x20) == u'f' && (units[1] | 0x20) == u'i' && (units[2] | 0x20) == u'l' &&
         (units[3] | 0x20) == u'e' && units[4] == kColon && WithSlash(units[5]) == kSlash &&
         WithSlash(units[6]) == kSlash;
}

// Eight units at a time through the compilers' vector extension. Only where
// the target has a vector unit: elsewhere the compiler would emulate it unit
// by unit, slower than the plain loop.
using Units8 = std::int16_t __attribute__((vector_size(16)));
#if defined(__SSE2__) || defined(__ARM_NEON)
constexpr bool kVectorUnit = true;
#else
constexpr bool kVectorUnit = false;
#endif

Units8 Load8(char16_t const* units) {
  Units8 lanes;
  std::memcpy(&lanes, units, sizeof lanes);
  return lanes;
}

bool AnyLane(Units8 lanes) {
  std::uint64_t halves[2];
  std::memcpy(halves, &lanes, sizeof halves);
  return (halves[0] | halves[1]) != 0;
}

bool HasColon(char16_t const* units, Tevrol::Long count) {
  const std::int16_t colon = kColon;
  Units8 found{};
  Tevrol::Long i = 0;
  for (; i + 8 <= count; i += 8) found |= Load8(units + i) == colon;
  bool any = AnyLane(found);
  for (; i < count; ++i) any = any || units[i] == kColon;
  return any;
}

// Init's steps in one pass over the text and a second one only when ':' must
// go: runs of '/' collapse to one, then the ':' rule, the trailing '/', the
// cut. out may be in itself. Returns the length written.
Tevrol::Long NormaliseLocal(char16_t const* in, Tevrol::Long count, char16_t* out,
                            bool backslashes) {
  Tevrol::Long length = 0;
  Tevrol::Long colons = 0;
  char16_t previous = 0;
  // Without branches on the units, which a mixed notation would mispredict:
  // a '\\' is flipped to '/' by arithmetic, every unit is written, and a
  // second '/' in a row is overwritten by the next one.
  const int flip = backslashes ? (kBackslash ^ kSlash) : 0;
  auto step = [&](Tevrol::Long i) {
    const int raw = in[i];
    const char16_t unit =
        static_cast<char16_t>(raw ^ (flip & -static_cast<int>(raw == kBackslash)));
    out[length] = unit;
    length += (unit == kSlash && previous == kSlash) ? 0 : 1;
    colons += unit == kColon ? 1 : 0;
    previous = unit;
  };
  Tevrol::Long i = 0;
  // Blocks without "//" (the unit before included) are copied whole, and
  // their ':' counted; the others go unit by unit. In place, where a block's
  // store could reach units not yet read, only unit by unit.
  if (kVectorUnit && out != in && count > 8) {
    const Units8 flip8 = Units8{} + static_cast<std::int16_t>(flip);
    const std::int16_t slash = kSlash, backslash = kBackslash, colon = kColon;
    auto block = [&](Tevrol::Long at) {
      const Units8 units = Load8(in + at);
      return units ^ ((units == backslash) & flip8);
    };
    step(i++);
    for (; i + 8 <= count; i += 8) {
      const Units8 units = block(i);
      const Units8 before = block(i - 1);
      const Units8 doubled = (units == slash) & (before == slash);
      const Units8 colons8 = units == colon;
      if (AnyLane(doubled | colons8)) {
        if (AnyLane(doubled)) {
          for (Tevrol::Long k = i; k < i + 8; ++k) step(k);
          continue;
        }
        for (int k = 0; k < 8; ++k) colons += colons8[k] != 0 ? 1 : 0;
      }
      std::memcpy(out + length, &units, sizeof units);
      length += 8;
      previous = static_cast<char16_t>(units[7]);
    }
    // The last units as the new lanes of a block that ends with the text.
    // Without "//" in it, its old lanes were copied unchanged, so the whole
    // block can be written over them.
    const Tevrol::Long rest = count - i;
    if (rest > 0) {
      const Units8 units = block(count - 8);
      const Units8 before = block(count - 9);
      const Units8 lane = {0, 1, 2, 3, 4, 5, 6, 7};
      const Units8 colons8 = (units == colon) & (lane >= static_cast<std::int16_t>(8 - rest));
      if (!AnyLane((units == slash) & (before == slash))) {
        for (int k = 0; k < 8; ++k) colons += colons8[k] != 0 ? 1 : 0;
        std::memcpy(out + length - (8 - rest), &units, sizeof units);
        length += rest;
        previous = static_cast<char16_t>(units[7]);
        i = count;
      }
    }
  }
  for (; i < count; ++i) step(i);
  // Decided before any ':' goes: ":/" loses its ':' and then its '/'.
  bool chop = length > 1;
  if (colons == 1 && length > 1 && out[1] == kColon) {
    chop = length > 3;  // keeps the '/' of a drive root "C:/"
  } else if (colons > 0) {
    // What the ':' leave behind is not collapsed again: "a/:/b" gives "a//b".
    length = static_cast<Tevrol::Long>(std::remove(out, out + length, kColon) - out);
  }
  if (chop && length > 0 && out[length - 1] == kSlash) {
    --length;
  }
  return length > kMaxLocalLength ? kMaxLocalLength : length;
}
}  // namespace

Path::Path() : m_networkPart(-1) {}

// One buffer, written once: trimming, "\\\\" as "file://", backslashes as
// '/' and the local normal form are done while copying the units.
Path::Path(TxString const& text) : m_networkPart(-1) {
  char16_t const* units = TxStringBuffer::Units(text);
  Tevrol::Long first = 0;
  Tevrol::Long end = text.GetLength();
  while (first < end && IsBlank(units[first])) ++first;
  while (end > first && IsBlank(units[end - 1])) --end;
  if (first == end) {
    return;
  }
  const bool unc = end - first >= 3 && units[first] == kBackslash && units[first + 1] == kBackslash;
  const bool network = unc || (end - first >= kFileUriLength && IsFileUri(units + first));
  char16_t* out = TxStringBuffer::Prepare(*this, end - first + (unc ? 5 : 0));
  if (!network) {
    TxStringBuffer::SetLength(*this, NormaliseLocal(units + first, end - first, out, true));
    return;
  }

  // What follows "file://", or the "\\\\" that stands for it.
  char16_t const* tail = units + first + (unc ? 2 : kFileUriLength);
  const Tevrol::Long tailLength = end - first - (unc ? 2 : kFileUriLength);
  Tevrol::Long slash = 0;
  while (slash < tailLength && WithSlash(tail[slash]) != kSlash) ++slash;
  if (slash == tailLength) slash = -1;
  static constexpr char16_t kFileUri[] = u"file://";
  for (Tevrol::Long i = 0; i < kFileUriLength; ++i) {
    out[i] = unc ? kFileUri[i] : WithSlash(units[first + i]);
  }

  if (slash < 0) {
    // No '/' after "file://" ("file://srv", "file://"): no share is named,
    // so there is no network part and the whole text is a local one, in the
    // local normal form. Trimmed again, and repeated until nothing changes,
    // so that the result builds the same path again ("file://a :" loses its
    // ':' and then its blank). Each round only shortens the text.
    for (Tevrol::Long i = 0; i < tailLength; ++i) {
      out[kFileUriLength + i] = WithSlash(tail[i]);
    }
    Tevrol::Long length = kFileUriLength + tailLength;
    for (Tevrol::Long before = -1; before != length;) {
      before = length;
      length = NormaliseLocal(out, length, out, false);
      Tevrol::Long start = 0;
      while (start < length && IsBlank(out[start])) ++start;
      while (length > start && IsBlank(out[length - 1])) --length;
      std::memmove(out, out + start, static_cast<std::size_t>(length - start) * sizeof(char16_t));
      length -= start;
    }
    TxStringBuffer::SetLength(*this, length);
    return;
  }

  // A ':' behind "file://" makes two with the one of "file:".
  const bool colon = HasColon(tail, tailLength);
  const Tevrol::Long networkPart = kFileUriLength + slash + (colon ? 1 : 0);
  for (Tevrol::Long i = kFileUriLength; i < networkPart; ++i) {
    out[i] = WithSlash(tail[i - kFileUriLength]);
  }
  const Tevrol::Long local = networkPart - kFileUriLength;
  TxStringBuffer::SetLength(*this, networkPart + NormaliseLocal(tail + local, tailLength - local,
                                                                out + networkPart, true));
  m_networkPart = networkPart;
}

Path::Path(Path const& base, Path const& leaf) : Path(base) {
  Append(leaf);
}

void Path::Init() {
  char16_t* units = TxStringBuffer::Units(*this);
  TxStringBuffer::SetLength(*this, NormaliseLocal(units, GetLength(), units, false));
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
