// The number and text conversions of StrFunctionsPI against plain reference
// versions of their rules. Output buffers are heap blocks of exactly the
// room the rules promise, so that AddressSanitizer sees a byte too many.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "FuzzCheck.h"
#include "timetext/StrFunctionsPI.h"

namespace {

using Tevrol::Long;

unsigned char Lower(unsigned char c) {
  return (c >= 0x41 && c <= 0x5A) || (c >= 0xC0 && c <= 0xD6) || (c >= 0xD8 && c <= 0xDE)
             ? static_cast<unsigned char>(c + 0x20)
             : c;
}

unsigned char Upper(unsigned char c) {
  return (c >= 0x61 && c <= 0x7A) || (c >= 0xE0 && c <= 0xF6) || (c >= 0xF8 && c <= 0xFE)
             ? static_cast<unsigned char>(c - 0x20)
             : c;
}

unsigned char Fold(unsigned char c) {
  static char const kTarget[] = "AAAAAAACEEEEIIIIDNOOOOOOUUUUYZZaaaaaaaceeeeiiiidnoooooouuuuyzz";
  static unsigned char const kSource[] = {
      0xC0, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xCB, 0xCC,
      0xCD, 0xCE, 0xCF, 0xD0, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD8, 0xD9, 0xDA,
      0xDB, 0xDC, 0xDD, 0xDE, 0x8C, 0xE0, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7,
      0xE8, 0xE9, 0xEA, 0xEB, 0xEC, 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF2, 0xF3, 0xF4,
      0xF5, 0xF6, 0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0x9C};
  static_assert(sizeof kSource == 62 && sizeof kTarget == 63, "62 folded bytes");
  for (std::size_t i = 0; i < sizeof kSource; ++i) {
    if (kSource[i] == c) return static_cast<unsigned char>(kTarget[i]);
  }
  return c;
}

int Sign(long long v) {
  return (v > 0) - (v < 0);
}

Long RefICmp(std::string const& a, std::string const& b, bool fold) {
  for (std::size_t i = 0;; ++i) {
    Long const position = static_cast<Long>(i + 1);
    if (i == a.size()) return i == b.size() ? 0 : -position;
    if (i == b.size()) return position;
    unsigned char x = static_cast<unsigned char>(a[i]);
    unsigned char y = static_cast<unsigned char>(b[i]);
    if (fold) {
      x = Fold(x);
      y = Fold(y);
    }
    signed char const sx = static_cast<signed char>(Lower(x));
    signed char const sy = static_cast<signed char>(Lower(y));
    if (sx != sy) return sx < sy ? -position : position;
  }
}

Long RefNCmpIgnoringCase(std::string const& a, std::string const& b, Long n) {
  for (Long i = 0; i < n; ++i) {
    std::size_t const k = static_cast<std::size_t>(i);
    signed char const x = static_cast<signed char>(Lower(k < a.size() ? a[k] : 0));
    signed char const y = static_cast<signed char>(Lower(k < b.size() ? b[k] : 0));
    if (x != y) return x < y ? -1 : 1;
    if (x == 0) return 0;
  }
  return 0;
}

std::string RefIToA(Long value, Long radix) {
  if (value == 0) return "0";
  long long magnitude = value < 0 ? -static_cast<long long>(value) : value;
  std::string digits;
  while (magnitude > 0) {
    digits.insert(digits.begin(), "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[magnitude % radix]);
    magnitude /= radix;
  }
  return (value < 0 ? "-" : "") + digits;
}

std::uint32_t RefAxtoi(std::string const& s) {
  std::uint32_t value = 0;
  for (unsigned char const c : s) {
    if (c >= 0x2A && c <= 0x3F) {
      value = value << 4 | (c & 0x0Fu);
    } else if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) {
      value = value << 4 | ((c & 0x0Fu) + 9);
    } else if (c != ' ') {
      break;
    }
  }
  return value;
}

bool SameAt(std::string const& s, std::size_t at, std::string const& pattern, bool ignoreCase) {
  if (at + pattern.size() > s.size()) return false;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    unsigned char x = static_cast<unsigned char>(s[at + i]);
    unsigned char y = static_cast<unsigned char>(pattern[i]);
    if (ignoreCase) {
      x = Lower(x);
      y = Lower(y);
    }
    if (x != y) return false;
  }
  return true;
}

Long RefFind(std::string const& s, std::string const& pattern, bool ignoreCase, std::size_t start) {
  if (pattern.empty()) return -1;
  for (std::size_t at = start; at < s.size(); ++at) {
    if (SameAt(s, at, pattern, ignoreCase)) return static_cast<Long>(at);
  }
  return -1;
}

std::string RefReplaceAll(std::string const& source, std::string const& search,
                          std::string const& replacement, bool ignoreCase) {
  if (search.empty()) return source;
  std::string out;
  std::size_t at = 0;
  while (at < source.size()) {
    Long const hit = RefFind(source, search, ignoreCase, at);
    if (hit < 0) {
      out += source.substr(at);
      break;
    }
    out += source.substr(at, static_cast<std::size_t>(hit) - at) + replacement;
    at = static_cast<std::size_t>(hit) + search.size();
  }
  return out;
}

// A zero-terminated copy in a block of exactly its size.
std::unique_ptr<char[]> Exact(std::string const& s) {
  std::unique_ptr<char[]> block(new char[s.size() + 1]);
  std::memcpy(block.get(), s.c_str(), s.size() + 1);
  return block;
}

std::string Text(FuzzedDataProvider& input) {
  std::string const raw = input.ConsumeRandomLengthString(64);
  return raw.c_str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  std::string const a = Text(input);
  std::string const b = Text(input);
  bool const ignoreCase = input.ConsumeBool();
  auto const pa = Exact(a);
  auto const pb = Exact(b);

  FUZZ_CHECK(StrFunctionsPI::strEqual(pa.get(), pb.get()) == (a == b));
  FUZZ_CHECK(Sign(StrFunctionsPI::StrCmp(pa.get(), pb.get())) ==
             Sign(std::strcmp(a.c_str(), b.c_str())));
  FUZZ_CHECK(StrFunctionsPI::StrICmp(pa.get(), pb.get()) == RefICmp(a, b, false));
  FUZZ_CHECK(StrFunctionsPI::StrIColl(pa.get(), pb.get()) == RefICmp(a, b, true));
  FUZZ_CHECK(StrFunctionsPI::StrICmp(pa.get(), nullptr) == 1);
  FUZZ_CHECK(StrFunctionsPI::StrIColl(nullptr, pb.get()) == -1);

  Long const n = input.ConsumeIntegralInRange<Long>(-2, 70);
  Long const ncmp = StrFunctionsPI::StrNCmp(pa.get(), pb.get(), n, ignoreCase);
  if (ignoreCase) {
    FUZZ_CHECK(ncmp == RefNCmpIgnoringCase(a, b, n));
  } else {
    FUZZ_CHECK(Sign(ncmp) ==
               (n < 1 ? 0 : Sign(std::strncmp(a.c_str(), b.c_str(), static_cast<std::size_t>(n)))));
  }

  // 16-bit comparison: the bytes of a in pairs, the bytes of b in pairs.
  auto Units = [](std::string const& s) {
    std::vector<unsigned short> units;
    for (std::size_t i = 0; i + 1 < s.size(); i += 2) {
      units.push_back(static_cast<unsigned short>(static_cast<unsigned char>(s[i]) << 8 |
                                                  static_cast<unsigned char>(s[i + 1])));
    }
    units.push_back(0);
    return units;
  };
  std::vector<unsigned short> const ua = Units(a), ub = Units(b);
  Long expected16 = 0;
  for (std::size_t i = 0; ua[i] != 0 && ub[i] != 0; ++i) {
    if (ua[i] != ub[i]) {
      expected16 = static_cast<Long>(ua[i]) - static_cast<Long>(ub[i]);
      break;
    }
  }
  FUZZ_CHECK(StrFunctionsPI::StrCmp(ua.data(), ub.data()) == expected16);

  // Case rules in place.
  {
    auto lowered = Exact(a);
    auto raised = Exact(a);
    StrFunctionsPI::StrLwr(lowered.get());
    StrFunctionsPI::StrUpr(raised.get());
    for (std::size_t i = 0; i < a.size(); ++i) {
      unsigned char const c = static_cast<unsigned char>(a[i]);
      FUZZ_CHECK(static_cast<unsigned char>(lowered[i]) == Lower(c));
      FUZZ_CHECK(static_cast<unsigned char>(raised[i]) == Upper(c));
    }
  }

  // IToA into the promised room: a sign, 32 digits, the terminator.
  {
    Long const value = input.ConsumeIntegral<Long>();
    Long const radix = input.ConsumeIntegralInRange<Long>(2, 36);
    std::unique_ptr<char[]> buffer(new char[34]);
    FUZZ_CHECK(StrFunctionsPI::IToA(value, buffer.get(), radix) == buffer.get());
    FUZZ_CHECK(std::string(buffer.get()) == RefIToA(value, radix));
  }

  FUZZ_CHECK(StrFunctionsPI::axtoi(pa.get()) == RefAxtoi(a));

  // Searches from any start within the text, the terminator included.
  {
    std::size_t const start = input.ConsumeIntegralInRange<std::size_t>(0, a.size());
    char const c = input.ConsumeIntegral<char>();
    Long expectedChar = -1;
    if (c != 0) expectedChar = RefFind(a, std::string(1, c), ignoreCase, start);
    FUZZ_CHECK(StrFunctionsPI::FindChar(pa.get(), c, ignoreCase, static_cast<Long>(start)) ==
               expectedChar);
    FUZZ_CHECK(StrFunctionsPI::Find(pa.get(), pb.get(), ignoreCase, static_cast<Long>(start)) ==
               RefFind(a, b, ignoreCase, start));
  }

  // What the header promises beyond the rules: a start outside the text, and
  // null texts, give -1 or read as "".
  {
    Long const outside = input.ConsumeBool() ? input.ConsumeIntegralInRange<Long>(-40, -1)
                                             : static_cast<Long>(a.size()) +
                                                   input.ConsumeIntegralInRange<Long>(1, 40);
    FUZZ_CHECK(StrFunctionsPI::FindChar(pa.get(), 'a', ignoreCase, outside) == -1);
    FUZZ_CHECK(StrFunctionsPI::Find(pa.get(), pb.get(), ignoreCase, outside) == -1);
    FUZZ_CHECK(StrFunctionsPI::Find(pa.get(), nullptr, ignoreCase, 0) == -1);
    FUZZ_CHECK(StrFunctionsPI::Find(nullptr, pb.get(), ignoreCase, 0) == -1);
    std::unique_ptr<char[]> copy(new char[a.size() + 1]);
    FUZZ_CHECK(StrFunctionsPI::ReplaceAll(pa.get(), copy.get(), 0, nullptr, nullptr, ignoreCase) ==
               1);
    FUZZ_CHECK(a == copy.get());
    char empty[1] = {'x'};
    FUZZ_CHECK(StrFunctionsPI::ReplaceAll(nullptr, empty, 0, pb.get(), nullptr, ignoreCase) == 1);
    FUZZ_CHECK(empty[0] == '\0');
    char zero[2] = {'x', 'x'};
    StrFunctionsPI::IToA(0, zero, input.ConsumeIntegralInRange<Long>(2, 36));
    FUZZ_CHECK(zero[0] == '0' && zero[1] == '\0');
  }

  // ReplaceAll into a block of exactly the result's size.
  {
    std::string const replacement = Text(input);
    std::string const expected = RefReplaceAll(a, b, replacement, ignoreCase);
    auto replacementBlock = Exact(replacement);
    std::unique_ptr<char[]> output(new char[expected.size() + 1]);
    FUZZ_CHECK(StrFunctionsPI::ReplaceAll(pa.get(), output.get(), 0, pb.get(),
                                          replacementBlock.get(), ignoreCase) == 1);
    FUZZ_CHECK(std::string(output.get()) == expected);
  }

  // Heap copies.
  {
    char* copy = nullptr;
    StrFunctionsPI::SetStringData(copy, pa.get());
    StrFunctionsPI::SetStringData(copy, pb.get());
    FUZZ_CHECK(copy != nullptr && b == copy);
    StrFunctionsPI::SetStringData(copy, copy + b.size() / 2);
    FUZZ_CHECK(copy != nullptr && b.substr(b.size() / 2) == copy);
    StrFunctionsPI::StrFree(copy);
    unsigned short* units = nullptr;
    StrFunctionsPI::SetStringData(units, ua.data());
    FUZZ_CHECK(units != nullptr && StrFunctionsPI::StrCmp(units, ua.data()) == 0);
    FUZZ_CHECK(std::memcmp(units, ua.data(), ua.size() * sizeof(unsigned short)) == 0);
    StrFunctionsPI::StrFree(units);
  }

  // Mixed case: in place, never longer, cut at the first ';' and nowhere else.
  {
    auto name = Exact(a);
    StrFunctionsPI::IntelligentDownCase(name.get());
    std::size_t const semicolon = a.find(';');
    FUZZ_CHECK(std::strlen(name.get()) == (semicolon == std::string::npos ? a.size() : semicolon));
  }
  return 0;
}
