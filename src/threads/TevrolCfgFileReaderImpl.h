#ifndef TEVROL_THREADS_TEVROLCFGFILEREADERIMPL_H
#define TEVROL_THREADS_TEVROLCFGFILEREADERIMPL_H

#include "threads/CriticalSection.h"
#include "threads/TevrolCfgFileReader.h"

// Any thread may call it: the first read of the file is serialised, so two
// first Thread constructions on two threads read it once, and the second
// waits for the result.
class TevrolCfgFileReaderImpl : public TevrolCfgFileReader {
 public:
  TevrolCfgFileReaderImpl();

  bool setConfigFilename(char const* name) override;
  Tevrol::Long getThreadPrioValue(Tevrol::ULong row, Tevrol::ULong column) override;
  bool getThreadPrioTable(Tevrol::Long (*table)[8]) override;

  // Clears m_tableValid, reads the file and sets m_tableValid if it gave all
  // four rows. Returns m_tableValid.
  bool parseConfigFile(char const* name);

 private:
  CriticalSection m_lock;  // guards all fields
  Tevrol::Long m_table[4][8];
  bool m_tableValid;
  bool m_fileRead;
};

#endif
