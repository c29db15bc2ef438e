#include "frame/text/TxString.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

namespace {

constexpr Tevrol::Long kMaxLength = std::numeric_limits<Tevrol::Long>::max();

constexpr char16_t Fold(char16_t u) {
  const bool upper = (u >= u'A' && u <= u'Z') || (u >= 0xC0 && u <= 0xDE && u != 0xD7);
  return upper ? static_cast<char16_t>(u + 0x20) : u;
}

bool Same(char16_t a, char16_t b, TxString::CaseSensitivity cs) {
  return cs == TxString::CaseInsensitive ? Fold(a) == Fold(b) : a == b;
}

bool IsSpace(char16_t u) {
  return u == u' ' || (u >= 9 && u <= 13);
}

}  // namespace

// No dynamic initialiser: the constexpr default constructor makes this a
// constant initialisation, done before any code of the process runs.
const TxString NULLString{};

TxString::TxString(char const* bytes) : TxString() {
  AppendBytes(bytes);
}

TxString::TxString(TxString const& other) : TxString(other.m_data, other.m_length) {}

TxString::TxString(char16_t const* units, Tevrol::Long count) : TxString() {
  AppendUnits(units, count);
}

TxString& TxString::operator=(TxString const& other) {
  if (this != &other) {
    m_length = 0;
    Append(other);
  }
  return *this;
}

TxString& TxString::operator=(char const* bytes) {
  m_length = 0;
  AppendBytes(bytes);
  return *this;
}

TxString::~TxString() {
  delete[] m_data;
}

TxChar TxString::GetAt(Tevrol::Long index) const {
  // Outside the text: the value 0, which no text built from bytes contains.
  if (index < 0 || index >= m_length) return TxChar();
  return TxChar(static_cast<std::uint16_t>(m_data[index]));
}

Tevrol::Long TxString::Compare(TxString const& other) const {
  const Tevrol::Long common = m_length < other.m_length ? m_length : other.m_length;
  for (Tevrol::Long i = 0; i < common; ++i) {
    if (m_data[i] != other.m_data[i]) return m_data[i] < other.m_data[i] ? -1 : 1;
  }
  if (m_length == other.m_length) return 0;
  return m_length < other.m_length ? -1 : 1;
}

bool TxString::operator==(char const* bytes) const {
  if (bytes == nullptr) return m_length == 0;  // null reads as the empty text
  Tevrol::Long i = 0;
  for (; i < m_length && bytes[i] != '\0'; ++i) {
    if (m_data[i] != static_cast<unsigned char>(bytes[i])) return false;
  }
  return i == m_length && bytes[i] == '\0';
}

bool TxString::StartsWith(TxString const& prefix, CaseSensitivity cs) const {
  return prefix.m_length <= m_length && MatchesAt(0, prefix, cs);
}

bool TxString::StartsWith(TxChar const& c, CaseSensitivity cs) const {
  return m_length > 0 && Same(m_data[0], c.m_value, cs);
}

bool TxString::EndsWith(TxChar const& c, CaseSensitivity cs) const {
  return m_length > 0 && Same(m_data[m_length - 1], c.m_value, cs);
}

bool TxString::Contains(TxChar c, CaseSensitivity cs) const {
  return IndexOf(c, 0, cs) >= 0;
}

bool TxString::Contains(TxString const& text, CaseSensitivity cs) const {
  for (Tevrol::Long i = 0; i <= m_length - text.m_length; ++i) {
    if (MatchesAt(i, text, cs)) return true;
  }
  return false;
}

Tevrol::Long TxString::Count(TxChar c, CaseSensitivity cs) const {
  Tevrol::Long count = 0;
  for (Tevrol::Long i = 0; i < m_length; ++i) {
    if (Same(m_data[i], c.m_value, cs)) ++count;
  }
  return count;
}

Tevrol::Long TxString::IndexOf(TxChar c, Tevrol::Long from, CaseSensitivity cs) const {
  // A negative start (path code passes -1 for "no network part") means 0.
  for (Tevrol::Long i = from < 0 ? 0 : from; i < m_length; ++i) {
    if (Same(m_data[i], c.m_value, cs)) return i;
  }
  return -1;
}

Tevrol::Long TxString::LastIndexOf(TxChar c, Tevrol::Long from, CaseSensitivity cs) const {
  // Negative or past the end: search from the last unit.
  for (Tevrol::Long i = (from < 0 || from >= m_length) ? m_length - 1 : from; i >= 0; --i) {
    if (Same(m_data[i], c.m_value, cs)) return i;
  }
  return -1;
}

TxString TxString::Left(Tevrol::Long count) const {
  return Mid(0, count < 0 ? 0 : count);
}

TxString TxString::Right(Tevrol::Long count) const {
  if (count <= 0) return TxString();
  if (count >= m_length) return *this;
  return Mid(m_length - count, count);
}

TxString TxString::Mid(Tevrol::Long index, Tevrol::Long count) const {
  if (index < 0) index = 0;  // clipped; the count still counts from 0
  if (index >= m_length) return TxString();
  const Tevrol::Long rest = m_length - index;
  // Any negative count, not only -1, runs to the end.
  return TxString(m_data + index, (count < 0 || count > rest) ? rest : count);
}

TxString TxString::Trimmed() const {
  Tevrol::Long first = 0;
  Tevrol::Long end = m_length;
  while (first < end && IsSpace(m_data[first])) ++first;
  while (end > first && IsSpace(m_data[end - 1])) --end;
  return TxString(m_data + first, end - first);
}

TxByteArray TxString::ToAscii() const {
  return TxByteArray(m_data, m_length);
}

TxByteArray TxString::ToLatin1() const {
  return TxByteArray(m_data, m_length);
}

TxString TxString::Argument(Tevrol::Long value, Tevrol::Long fieldWidth, Tevrol::Long base,
                            TxChar const& fill) const {
  const std::uint32_t radix = (base < 2 || base > 36) ? 10u : static_cast<std::uint32_t>(base);
  // Unsigned magnitude: -value overflows for the smallest Long.
  std::uint32_t magnitude =
      value < 0 ? 0u - static_cast<std::uint32_t>(value) : static_cast<std::uint32_t>(value);
  char digits[32];  // base 2 needs at most 32
  int count = 0;
  do {
    digits[count++] = "0123456789abcdefghijklmnopqrstuvwxyz"[magnitude % radix];
    magnitude /= radix;
  } while (magnitude != 0);

  const int sign = value < 0 ? 1 : 0;
  const std::int64_t width = fieldWidth < 0 ? -std::int64_t{fieldWidth} : fieldWidth;
  const std::int64_t padding = width > count + sign ? width - count - sign : 0;
  // "-005" rather than "00-5"; padding on the right always follows the digits.
  const bool signFirst = fill == TxChar('0') || fieldWidth < 0;
  TxString number;
  number.Reserve(count + sign + padding);
  if (sign != 0 && signFirst) number.Append(TxChar('-'));
  for (std::int64_t i = 0; fieldWidth > 0 && i < padding; ++i) number.Append(fill);
  if (sign != 0 && !signFirst) number.Append(TxChar('-'));
  while (count > 0) number.Append(TxChar(digits[--count]));
  for (std::int64_t i = 0; fieldWidth < 0 && i < padding; ++i) number.Append(fill);

  TxString result(*this);
  result.Replace(TxString("%1"), number, CaseSensitive);
  return result;
}

TxString& TxString::Append(TxChar c) {
  Reserve(std::int64_t{m_length} + 1);
  m_data[m_length++] = c.m_value;
  return *this;
}

TxString& TxString::Append(TxString const& text) {
  // Reserve first: when text is *this, its units are then already in the
  // buffer that they are copied from.
  Reserve(std::int64_t{m_length} + text.m_length);
  AppendUnits(text.m_data, text.m_length);
  return *this;
}

TxString& TxString::Prepend(TxString const& text) {
  if (text.m_length == 0) return *this;
  TxString joined = text + *this;
  Swap(joined);
  return *this;
}

TxString& TxString::operator+=(char const* bytes) {
  AppendBytes(bytes);
  return *this;
}

TxString& TxString::Remove(TxChar c, CaseSensitivity cs) {
  Tevrol::Long kept = 0;
  for (Tevrol::Long i = 0; i < m_length; ++i) {
    if (!Same(m_data[i], c.m_value, cs)) m_data[kept++] = m_data[i];
  }
  m_length = kept;
  return *this;
}

TxString& TxString::Replace(TxChar before, TxChar after, CaseSensitivity cs) {
  for (Tevrol::Long i = 0; i < m_length; ++i) {
    if (Same(m_data[i], before.m_value, cs)) m_data[i] = after.m_value;
  }
  return *this;
}

TxString& TxString::Replace(TxString const& before, TxString const& after, CaseSensitivity cs) {
  // An empty search text would match everywhere and never end a caller's
  // "while Contains" loop: leave the text as it is.
  if (before.m_length == 0) return *this;
  // Built aside, so before and after may be *this.
  TxString result;
  Tevrol::Long i = 0;
  Tevrol::Long copied = 0;
  bool found = false;
  while (i <= m_length - before.m_length) {
    if (MatchesAt(i, before, cs)) {
      result.AppendUnits(m_data + copied, i - copied);
      result.Append(after);
      i += before.m_length;
      copied = i;
      found = true;
    } else {
      ++i;
    }
  }
  if (!found) return *this;
  result.AppendUnits(m_data + copied, m_length - copied);
  Swap(result);
  return *this;
}

void TxString::Chop(Tevrol::Long count) {
  if (count <= 0) return;
  m_length = count >= m_length ? 0 : m_length - count;
}

void TxString::Truncate(Tevrol::Long count) {
  if (count < m_length) m_length = count < 0 ? 0 : count;
}

void TxString::AppendBytes(char const* bytes) {
  if (bytes == nullptr) return;  // null reads as the empty text
  const std::size_t added = std::strlen(bytes);
  Reserve(std::int64_t{m_length} + static_cast<std::int64_t>(added));
  for (std::size_t i = 0; i < added; ++i) {
    m_data[m_length++] = static_cast<unsigned char>(bytes[i]);
  }
}

void TxString::AppendUnits(char16_t const* units, Tevrol::Long count) {
  if (count <= 0 || units == nullptr) return;
  Reserve(std::int64_t{m_length} + count);
  std::memcpy(m_data + m_length, units, static_cast<std::size_t>(count) * sizeof(char16_t));
  m_length += count;
}

void TxString::Reserve(std::int64_t units) {
  if (units <= m_capacity) return;
  // A text of 2^31 units cannot be counted by a Long; like a failed
  // allocation, that ends the process rather than overrun.
  if (units > kMaxLength) std::abort();
  std::int64_t capacity = std::int64_t{m_capacity} * 2;
  if (capacity < units) capacity = units;
  if (capacity > kMaxLength) capacity = kMaxLength;
  char16_t* grown = new char16_t[static_cast<std::size_t>(capacity)];
  if (m_length > 0) {
    std::memcpy(grown, m_data, static_cast<std::size_t>(m_length) * sizeof(char16_t));
  }
  delete[] m_data;
  m_data = grown;
  m_capacity = static_cast<Tevrol::Long>(capacity);
}

void TxString::Swap(TxString& other) noexcept {
  std::swap(m_data, other.m_data);
  std::swap(m_length, other.m_length);
  std::swap(m_capacity, other.m_capacity);
}

bool TxString::MatchesAt(Tevrol::Long index, TxString const& text, CaseSensitivity cs) const {
  if (index < 0 || text.m_length > m_length - index) return false;
  for (Tevrol::Long i = 0; i < text.m_length; ++i) {
    if (!Same(m_data[index + i], text.m_data[i], cs)) return false;
  }
  return true;
}

TxString operator+(TxString const& a, TxString const& b) {
  TxString joined(a);
  joined.Append(b);
  return joined;
}
