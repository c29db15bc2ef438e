#include "threads/TevrolCfgFileReaderImpl.h"

#include "frame/Accessors.h"

TevrolCfgFileReader::~TevrolCfgFileReader() = default;

TevrolCfgFileReaderImpl::TevrolCfgFileReaderImpl() : m_tableValid(false), m_fileRead(false) {
  for (auto& row : m_table) {
    for (auto& entry : row) {
      entry = -1;
    }
  }
}

bool TevrolCfgFileReaderImpl::setConfigFilename(char const* name) {
  m_lock.Lock();
  if (m_fileRead) {
    m_lock.Unlock();
    return false;
  }
  parseConfigFile(name);
  m_fileRead = true;
  m_lock.Unlock();
  return true;
}

Tevrol::Long TevrolCfgFileReaderImpl::getThreadPrioValue(Tevrol::ULong row, Tevrol::ULong column) {
  m_lock.Lock();
  const Tevrol::Long value = m_tableValid ? m_table[row][column] : -1;
  m_lock.Unlock();
  return value;
}

bool TevrolCfgFileReaderImpl::getThreadPrioTable(Tevrol::Long (*table)[8]) {
  m_lock.Lock();
  const bool valid = m_tableValid;
  if (valid) {
    for (int row = 0; row < 4; ++row) {
      for (int column = 0; column < 8; ++column) {
        table[row][column] = m_table[row][column];
      }
    }
  }
  m_lock.Unlock();
  return valid;
}

bool TevrolCfgFileReaderImpl::parseConfigFile(char const* name) {
  m_lock.Lock();
  m_tableValid = false;
  // The file is looked for beside the executable; until paths resolve
  // against the executable's folder, no file is found and the built-in
  // table stands.
  static_cast<void>(name);
  const bool valid = m_tableValid;
  m_lock.Unlock();
  return valid;
}

TevrolCfgFileReader* TevrolCfgFileReader_GetInstance() {
  static TevrolCfgFileReaderImpl s_instance;
  return &s_instance;
}
