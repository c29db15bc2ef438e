#ifndef TEVROL_TESTS_FRAME_TEXT_TEXTTESTSUPPORT_H
#define TEVROL_TESTS_FRAME_TEXT_TEXTTESTSUPPORT_H

#include <cstdint>
#include <cstring>
#include <new>
#include <ostream>
#include <type_traits>

#include "frame/text/TxChar.h"
#include "frame/text/TxString.h"

// TxChar has no accessor for its value; it is a plain 16-bit value, so read
// its bytes.
inline std::uint16_t UnitOf(TxChar c) {
  static_assert(sizeof(TxChar) == 2 && std::is_trivially_copyable<TxChar>::value, "plain unit");
  std::uint16_t unit;
  std::memcpy(&unit, &c, sizeof unit);
  return unit;
}

inline void PrintTo(TxChar c, std::ostream* os) {
  *os << "U+" << std::hex << UnitOf(c) << std::dec;
}

// Units above 255 print as '?'.
inline void PrintTo(TxString const& s, std::ostream* os) {
  *os << '"' << s.ToLatin1().GetConstData() << '"';
}

// Moves an object's bytes one at a time into raw storage, scribbles over the
// old bytes so that any pointer into the old object would show, and returns
// the moved object. The caller destroys it, once.
template <class T>
T* RelocateBytewise(T* object, unsigned char* storage) {
  auto* old = reinterpret_cast<unsigned char*>(object);
  for (std::size_t i = 0; i < sizeof(T); ++i) storage[i] = old[i];
  std::memset(old, 0xA5, sizeof(T));
  return std::launder(reinterpret_cast<T*>(storage));
}

#endif
