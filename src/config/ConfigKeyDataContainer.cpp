#include "config/ConfigKeyDataContainer.h"

#include <cstring>

#include "timetext/StrFunctionsPI.h"

ConfigKeyDataContainer::ConfigKeyDataContainer()
    : m_numericalValue(0),
      m_dataChunk(nullptr),
      m_dataChunkSize(0),
      m_valueKind(None),
      m_keyName(nullptr) {}

ConfigKeyDataContainer::~ConfigKeyDataContainer() {
  delete[] m_dataChunk;
  StrFunctionsPI::StrFree(m_keyName);
}

void ConfigKeyDataContainer::SetKeyName(char const* name) {
  StrFunctionsPI::SetStringData(m_keyName, name);
}

bool ConfigKeyDataContainer::GetNumericalValue(Tevrol::Long& value) {
  if (m_valueKind != Numerical) return false;
  value = m_numericalValue;
  return true;
}

bool ConfigKeyDataContainer::GetStringValue(TxString& value) {
  if (m_valueKind != String) return false;
  value = m_stringValue;
  return true;
}

bool ConfigKeyDataContainer::GetDataChunk(unsigned char*& data, Tevrol::ULong& size) {
  if (m_valueKind != ByteArray) return false;
  data = m_dataChunk;
  size = m_dataChunkSize;
  return true;
}

bool ConfigKeyDataContainer::SetNumericalValue(Tevrol::Long value) {
  const bool changed = m_valueKind != Numerical || m_numericalValue != value;
  m_numericalValue = value;
  m_valueKind = Numerical;
  return changed;
}

bool ConfigKeyDataContainer::SetStringValue(TxString const& value) {
  const bool unchanged =
      m_valueKind == String && !m_stringValue.IsEmpty() && m_stringValue.Compare(value) == 0;
  m_stringValue = value;
  m_valueKind = String;
  return !unchanged;
}

bool ConfigKeyDataContainer::SetDataChunk(unsigned char* data, Tevrol::ULong size) {
  // Copied before the old chunk is freed, not after: data may point into it
  // (a value stored again from GetDataChunk), and freeing first would read
  // freed memory.
  auto* const chunk = new unsigned char[size];
  // A null source with a length is taken as that many zero bytes, never read.
  if (data != nullptr) {
    std::memcpy(chunk, data, size);
  } else {
    std::memset(chunk, 0, size);
  }
  delete[] m_dataChunk;
  m_dataChunk = chunk;
  m_dataChunkSize = size;
  m_valueKind = ByteArray;
  return true;
}
