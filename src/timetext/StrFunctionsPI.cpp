#include "timetext/StrFunctionsPI.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

using Tevrol::Long;

namespace {

using Byte = unsigned char;

constexpr std::size_t kNotFound = SIZE_MAX;
constexpr Long kLongMax = INT32_MAX;

Byte Lower(Byte c) {
  const bool shifts =
      (c >= 0x41 && c <= 0x5A) || (c >= 0xC0 && c <= 0xD6) || (c >= 0xD8 && c <= 0xDE);
  return shifts ? static_cast<Byte>(c + 0x20) : c;
}

Byte Upper(Byte c) {
  const bool shifts =
      (c >= 0x61 && c <= 0x7A) || (c >= 0xE0 && c <= 0xF6) || (c >= 0xF8 && c <= 0xFE);
  return shifts ? static_cast<Byte>(c - 0x20) : c;
}

Byte Lower(char c) {
  return Lower(static_cast<Byte>(c));
}

// The signed 8-bit order, whatever the signedness of plain char.
int Signed(Byte c) {
  return c < 0x80 ? c : c - 0x100;
}

struct FoldTable {
  Byte map[256];
};

// Accented Latin-1 letters (and 0x8C/0x9C) to their base letters; other bytes map to themselves.
constexpr FoldTable MakeFoldTable() {
  constexpr Byte source[] = {0xC0, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA,
                             0xCB, 0xCC, 0xCD, 0xCE, 0xCF, 0xD0, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5,
                             0xD6, 0xD8, 0xD9, 0xDA, 0xDB, 0xDC, 0xDD, 0xDE, 0x8C, 0xE0, 0xE1,
                             0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0xEA, 0xEB, 0xEC,
                             0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF8,
                             0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0x9C};
  constexpr char target[] = "AAAAAAACEEEEIIIIDNOOOOOOUUUUYZZaaaaaaaceeeeiiiidnoooooouuuuyzz";
  static_assert(sizeof source == 62 && sizeof target == 63, "62 folded bytes");
  FoldTable table{};
  for (int i = 0; i < 256; ++i) {
    table.map[i] = static_cast<Byte>(i);
  }
  for (std::size_t i = 0; i < sizeof source; ++i) {
    table.map[source[i]] = static_cast<Byte>(target[i]);
  }
  return table;
}

constexpr FoldTable kFold = MakeFoldTable();

Byte FoldLower(Byte c) {
  return Lower(kFold.map[c]);
}

// The null rule of the comparisons; true when it decided `result`.
bool OrderNulls(void const* a, void const* b, Long& result) {
  if (a == b) {
    result = 0;
  } else if (a == nullptr) {
    result = -1;
  } else if (b == nullptr) {
    result = 1;
  } else {
    return false;
  }
  return true;
}

// Position plus 1 of a difference at `index`; past 2^31 - 2 it saturates, as a Long cannot hold it.
Long Position(std::size_t index) {
  return index < static_cast<std::size_t>(kLongMax) ? static_cast<Long>(index + 1) : kLongMax;
}

// An index that a Long cannot hold reads as not found.
Long ToLong(std::size_t index) {
  return index <= static_cast<std::size_t>(kLongMax) ? static_cast<Long>(index) : -1;
}

template <typename Map>
Long CompareByPosition(char const* a, char const* b, Map map) {
  for (std::size_t i = 0;; ++i) {
    const Byte ca = static_cast<Byte>(a[i]);
    const Byte cb = static_cast<Byte>(b[i]);
    if (ca == 0) {
      return cb == 0 ? 0 : -Position(i);
    }
    if (cb == 0) {
      return Position(i);
    }
    const int sa = Signed(map(ca));
    const int sb = Signed(map(cb));
    if (sa != sb) {
      return sa < sb ? -Position(i) : Position(i);
    }
  }
}

Long CompareN(char const* a, char const* b, std::size_t n, bool ignoreCase) {
  if (!ignoreCase) {
    return std::strncmp(a, b, n);
  }
  for (std::size_t i = 0; i < n; ++i) {
    const int sa = Signed(Lower(a[i]));
    const int sb = Signed(Lower(b[i]));
    if (sa != sb) {
      return sa < sb ? -1 : 1;
    }
    if (sa == 0) {
      return 0;
    }
  }
  return 0;
}

std::size_t FindCharAt(char const* s, char c, bool ignoreCase, std::size_t start) {
  if (c == 0) {
    return kNotFound;
  }
  const Byte wanted = ignoreCase ? Lower(c) : static_cast<Byte>(c);
  for (std::size_t i = start; s[i] != 0; ++i) {
    const Byte here = ignoreCase ? Lower(s[i]) : static_cast<Byte>(s[i]);
    if (here == wanted) {
      return i;
    }
  }
  return kNotFound;
}

std::size_t FindAt(char const* s, char const* pattern, bool ignoreCase, std::size_t start) {
  const std::size_t rest = std::strlen(pattern) - (pattern[0] != 0 ? 1 : 0);
  for (std::size_t from = start;;) {
    const std::size_t hit = FindCharAt(s, pattern[0], ignoreCase, from);
    if (hit == kNotFound || CompareN(s + hit + 1, pattern + 1, rest, ignoreCase) == 0) {
      return hit;
    }
    from = hit + 1;
  }
}

// A null text or a start outside it (negative, or behind the terminator) finds nothing.
bool ValidStart(char const* s, Long start) {
  if (s == nullptr || start < 0) {
    return false;
  }
  for (Long i = 0; i < start; ++i) {
    if (s[i] == 0) {
      return false;
    }
  }
  return true;
}

char* Append(char* out, char const* text, std::size_t length) {
  if (length != 0) {
    std::memcpy(out, text, length);
  }
  return out + length;
}

bool IsSeparator(Byte c) {
  return c == ' ' || c == '(' || c == '-' || c == '>' || c == '/' || c == '\\' || c == '+';
}

template <typename Unit>
void SetData(Unit*& target, Unit const* source) {
  Unit* copy = nullptr;
  if (source != nullptr) {
    std::size_t length = 0;
    while (source[length] != 0) {
      ++length;
    }
    const std::size_t size = (length + 1) * sizeof(Unit);
    copy = static_cast<Unit*>(::operator new(size, std::nothrow));
    if (copy != nullptr) {
      std::memcpy(copy, source, size);
    }
  }
  // Copied before the old string is released, so a source inside it stays valid.
  ::operator delete(target);
  target = copy;
}

}  // namespace

bool StrFunctionsPI::strEqual(char const* a, char const* b) {
  if (a == b) {
    return true;
  }
  return a != nullptr && b != nullptr && std::strcmp(a, b) == 0;
}

Long StrFunctionsPI::StrCmp(char const* a, char const* b) {
  Long result;
  return OrderNulls(a, b, result) ? result : std::strcmp(a, b);
}

Long StrFunctionsPI::StrCmp(unsigned short const* a, unsigned short const* b) {
  Long result;
  if (OrderNulls(a, b, result)) {
    return result;
  }
  for (std::size_t i = 0; a[i] != 0 && b[i] != 0; ++i) {
    if (a[i] != b[i]) {
      return static_cast<Long>(a[i]) - static_cast<Long>(b[i]);
    }
  }
  return 0;
}

Long StrFunctionsPI::StrICmp(char const* a, char const* b) {
  Long result;
  return OrderNulls(a, b, result) ? result
                                  : CompareByPosition(a, b, [](Byte c) { return Lower(c); });
}

Long StrFunctionsPI::StrIColl(char const* a, char const* b) {
  Long result;
  return OrderNulls(a, b, result) ? result : CompareByPosition(a, b, FoldLower);
}

Long StrFunctionsPI::StrNCmp(char const* a, char const* b, Long n, bool ignoreCase) {
  Long result;
  if (OrderNulls(a, b, result)) {
    return result;
  }
  // A count below 1 compares nothing in both modes (strncmp would read it as a huge size_t).
  return n < 1 ? 0 : CompareN(a, b, static_cast<std::size_t>(n), ignoreCase);
}

void StrFunctionsPI::StrLwr(char* s) {
  for (; s != nullptr && *s != 0; ++s) {  // null: nothing to change
    *s = static_cast<char>(Lower(*s));
  }
}

void StrFunctionsPI::StrUpr(char* s) {
  for (; s != nullptr && *s != 0; ++s) {  // null: nothing to change
    *s = static_cast<char>(Upper(static_cast<Byte>(*s)));
  }
}

char* StrFunctionsPI::IToA(Long value, char* buffer, Long radix) {
  if (buffer == nullptr) {
    return nullptr;  // nothing to write to, whatever the value
  }
  if (value == 0) {
    buffer[0] = '0';
    buffer[1] = 0;
    return buffer;
  }
  if (radix < 2 || radix > 36) {
    buffer[0] = 0;  // no digits rather than a division by 0 or an endless loop
    return buffer;
  }
  char* out = buffer;
  std::uint32_t magnitude = static_cast<std::uint32_t>(value);
  if (value < 0) {
    *out++ = '-';
    magnitude = 0u - magnitude;  // unsigned, so the most negative value has its magnitude too
  }
  const std::uint32_t base = static_cast<std::uint32_t>(radix);
  std::size_t digits = 0;
  for (std::uint32_t rest = magnitude; rest != 0; rest /= base) {
    ++digits;
  }
  out[digits] = 0;
  for (std::size_t i = digits; i > 0; --i, magnitude /= base) {
    const std::uint32_t digit = magnitude % base;
    out[i - 1] = static_cast<char>(digit < 10 ? '0' + digit : 'A' + (digit - 10));
  }
  return buffer;
}

Tevrol::ULong StrFunctionsPI::axtoi(char const* s) {
  Tevrol::ULong value = 0;
  for (; s != nullptr && *s != 0; ++s) {
    const Byte c = static_cast<Byte>(*s);
    Tevrol::ULong digit;
    if (c >= 0x2A && c <= 0x3F) {
      digit = c & 0x0Fu;
    } else if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) {
      digit = (c & 0x0Fu) + 9u;
    } else if (c == ' ') {
      continue;
    } else {
      break;
    }
    value = (value << 4) | digit;  // unsigned: older digits fall off the top
  }
  return value;
}

Long StrFunctionsPI::FindChar(char const* s, char c, bool ignoreCase, Long start) {
  if (!ValidStart(s, start)) {
    return -1;
  }
  return ToLong(FindCharAt(s, c, ignoreCase, static_cast<std::size_t>(start)));
}

Long StrFunctionsPI::Find(char const* s, char const* pattern, bool ignoreCase, Long start) {
  if (pattern == nullptr || !ValidStart(s, start)) {
    return -1;
  }
  return ToLong(FindAt(s, pattern, ignoreCase, static_cast<std::size_t>(start)));
}

Long StrFunctionsPI::ReplaceAll(char const* source, char* output, Long, char const* search,
                                char* replacement, bool ignoreCase) {
  if (output == nullptr) {
    return 1;  // nothing to write to
  }
  // A null source reads as empty, a null search as empty, a null replacement as empty.
  const std::size_t searchLength = search != nullptr ? std::strlen(search) : 0;
  const std::size_t replacementLength = replacement != nullptr ? std::strlen(replacement) : 0;
  char* out = output;
  for (char const* rest = source; rest != nullptr && *rest != 0;) {
    const std::size_t hit = searchLength == 0 ? kNotFound : FindAt(rest, search, ignoreCase, 0);
    if (hit == kNotFound) {
      out = Append(out, rest, std::strlen(rest));
      break;
    }
    out = Append(out, rest, hit);
    out = Append(out, replacement, replacementLength);
    rest += hit + searchLength;
  }
  *out = 0;
  return 1;
}

void StrFunctionsPI::SetStringData(char*& target, char const* source) {
  SetData(target, source);
}

void StrFunctionsPI::SetStringData(unsigned short*& target, unsigned short const* source) {
  SetData(target, source);
}

void StrFunctionsPI::StrFree(char* s) {
  ::operator delete(s);
}

void StrFunctionsPI::StrFree(unsigned short* s) {
  ::operator delete(s);
}

void StrFunctionsPI::IntelligentDownCase(char* s) {
  if (s == nullptr) {
    return;
  }
  // First pass: keep the first byte of each word, lower the rest.
  bool wordStart = true;
  for (char* p = s; *p != 0; ++p) {
    if (wordStart) {
      wordStart = IsSeparator(static_cast<Byte>(*p));
      continue;
    }
    Byte c = Lower(*p);
    if (c == 0x8C) {
      c = 0x9C;
    }
    *p = static_cast<char>(c);
    wordStart = IsSeparator(c);
  }
  if (char* cut = std::strchr(s, ';')) {
    *cut = 0;
  }
  static char const* const kParticles[] = {"-Der-", " Der ", " Den ", " Dem ", " De ",
                                           " Am ",  " An ",  "-Von-", "-Vom-", " Alten ",
                                           "-Van-", " In ",  " Bei "};
  for (char const* particle : kParticles) {
    // The next search starts on the lowered letter, so one closing blank can open the next word.
    std::size_t hit;
    for (std::size_t from = 0; (hit = FindAt(s, particle, false, from)) != kNotFound;
         from = hit + 1) {
      if (hit != 0) {
        s[hit + 1] = static_cast<char>(Lower(s[hit + 1]));
      }
    }
  }
}
