#ifndef TEVROL_FRAME_TEXT_TXCHAR_H
#define TEVROL_FRAME_TEXT_TXCHAR_H

#include <cstdint>

#include "frame/TevrolExport.h"

// One 16-bit code unit of a TxString, and nothing else: plain arrays of it
// may be copied and compared element by element. Every constructor is
// constexpr, so namespace-scope tables of TxChar are filled before any code
// of the process runs.
class TEVROL_EXPORT TxChar {
 public:
  // The value 0, which TxString(char const*) never produces.
  constexpr TxChar() noexcept : m_value(0) {}
  // The byte read as unsigned: '\xE9' is 0xE9, so every byte keeps its value.
  constexpr TxChar(char byte) noexcept : m_value(static_cast<unsigned char>(byte)) {}
  constexpr TxChar(std::uint16_t value) noexcept : m_value(value) {}
  constexpr TxChar(TxChar const&) noexcept = default;
  constexpr TxChar& operator=(TxChar const&) noexcept = default;
  ~TxChar() = default;

 private:
  friend class TxString;
  friend constexpr bool operator==(TxChar a, TxChar b) noexcept;
  friend constexpr bool operator>=(TxChar a, TxChar b) noexcept;

  char16_t m_value;
};

constexpr bool operator==(TxChar a, TxChar b) noexcept {
  return a.m_value == b.m_value;
}

// Compares the code values as numbers.
constexpr bool operator>=(TxChar a, TxChar b) noexcept {
  return a.m_value >= b.m_value;
}

#endif
