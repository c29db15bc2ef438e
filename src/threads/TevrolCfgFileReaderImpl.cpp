#include "threads/TevrolCfgFileReaderImpl.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "file/PathHelper.h"
#include "frame/Accessors.h"
#include "frame/text/TxTokenizer.h"

namespace {

constexpr int kLineBytes = 512;
constexpr Tevrol::ULong kRows = 4;
constexpr Tevrol::Long kColumns = 8;

// atoi, but a value beyond 32 bits saturates instead of being undefined.
Tevrol::Long ToPriority(char const* digits) {
  const long long value = std::strtoll(digits, nullptr, 10);
  if (value > INT32_MAX) return INT32_MAX;
  if (value < INT32_MIN) return INT32_MIN;
  return static_cast<Tevrol::Long>(value);
}

}  // namespace

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
  const Tevrol::File::Path path = Tevrol::File::PathHelper::CreateAbsolutePath(name);
  m_tableValid = startExtracting(path.ToLatin1());
  const bool valid = m_tableValid;
  m_lock.Unlock();
  return valid;
}

bool TevrolCfgFileReaderImpl::startExtracting(char const* path) {
  std::FILE* const file = fopen64(path, "r");
  if (file == nullptr) {
    return false;
  }
  char line[kLineBytes];
  bool inSection = false;
  Tevrol::ULong rows = 0;
  while (rows < kRows && !std::feof(file) && std::fgets(line, kLineBytes, file) != nullptr) {
    if (std::strstr(line, "//") != nullptr) {
      continue;  // a comment drops the whole line, data and headers included
    }
    if (std::strstr(line, "[THREAD_PRIO]") != nullptr) {
      inSection = true;  // a header line, the first or a later one, is never a row
    } else if (inSection && parseLine(line, rows)) {
      ++rows;
    }
  }
  std::fclose(file);
  return rows == kRows;
}

bool TevrolCfgFileReaderImpl::parseLine(char* line, Tevrol::ULong row) {
  if (row >= kRows) {
    return false;
  }
  TxTokenizer tokenizer;
  tokenizer.m_separator = TxChar(':');
  tokenizer.TokenizeString(TxString(line), TxString::KeepEmptyTokens, true);
  if (tokenizer.m_tokenCount < 2) {
    return false;
  }
  const TxString values = tokenizer.ReturnToken(1);
  tokenizer.InitializeTokenizer();
  tokenizer.m_separator = TxChar(',');
  tokenizer.TokenizeString(values, TxString::KeepEmptyTokens, true);
  if (tokenizer.m_tokenCount < kColumns) {
    return false;
  }
  m_lock.Lock();
  for (Tevrol::Long column = 0; column < kColumns; ++column) {
    const TxString token = tokenizer.ReturnToken(column);
    m_table[row][column] = token.IsEmpty() ? 0 : ToPriority(token.ToAscii());
  }
  m_lock.Unlock();
  return true;
}

TevrolCfgFileReader* TevrolCfgFileReader_GetInstance() {
  static TevrolCfgFileReaderImpl s_instance;
  return &s_instance;
}
