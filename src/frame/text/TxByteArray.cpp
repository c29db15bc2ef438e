#include "frame/text/TxByteArray.h"

#include <cstddef>

TxByteArray::TxByteArray(char16_t const* units, Tevrol::Long count)
    : m_data(new char[static_cast<std::size_t>(count) + 1]) {
  for (Tevrol::Long i = 0; i < count; ++i) {
    m_data[i] = units[i] <= 0xFF ? static_cast<char>(units[i]) : '?';
  }
  m_data[count] = '\0';
}

TxByteArray::~TxByteArray() {
  delete[] m_data;
}
