#ifndef TEVROL_THREADS_TEVROLCFGFILEREADERIMPL_H
#define TEVROL_THREADS_TEVROLCFGFILEREADERIMPL_H

#include "threads/CriticalSection.h"
#include "threads/TevrolCfgFileReader.h"

// Reads ThreadPriorityMapper.cfg, beside the executable, into a table of 4
// rows of 8 OS priorities, one row for each PriorityType:
//   [THREAD_PRIO]
//   row0:13,13,13,13,13,13,13,13
//   ...
//   row3:13,12,11,10,9,8,7,6
// The table counts only when four good rows were read.
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
  // four rows. Returns m_tableValid. A relative name is taken in the folder
  // of the executable, and nowhere else.
  bool parseConfigFile(char const* name);
  // Reads the file at path: lines (pieces of at most 511 bytes) holding "//"
  // are dropped, lines before the first one holding "[THREAD_PRIO]" are
  // ignored, and every later line goes to parseLine for the next row. True,
  // and the rest unread, once four rows are stored; false when the file
  // cannot be opened or ends first (rows stored so far stay, unused).
  bool startExtracting(char const* path);
  // One row "key:v0,v1,...,v7": the key is never looked at, text behind a
  // second ':' and values behind the eighth are ignored, an empty value is
  // 0, others are read as atoi does (a value beyond 32 bits saturates).
  // Stores the values in m_table[row] and
  // returns true; false, storing nothing, when row is above 3, or the line
  // has no ':' or fewer than 8 values.
  bool parseLine(char* line, Tevrol::ULong row);

 private:
  CriticalSection m_lock;      // guards all fields
  Tevrol::Long m_table[4][8];  // -1 until a file fills it
  bool m_tableValid;
  bool m_fileRead;
};

#endif
