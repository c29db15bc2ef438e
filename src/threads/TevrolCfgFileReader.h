#ifndef TEVROL_THREADS_TEVROLCFGFILEREADER_H
#define TEVROL_THREADS_TEVROLCFGFILEREADER_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// Stands between the thread priority table and ThreadPriorityMapper.cfg;
// reached through TevrolCfgFileReader_GetInstance(). The first name given is
// the only file ever read, good or not: there is no reload.
class TEVROL_EXPORT TevrolCfgFileReader {
 public:
  // False, doing nothing, once a file has been asked for; else reads the
  // file and returns true whether it was good or not.
  virtual bool setConfigFilename(char const* name) = 0;
  // -1 until a good file was read; the caller keeps to rows 0..3, columns 0..7.
  virtual Tevrol::Long getThreadPrioValue(Tevrol::ULong row, Tevrol::ULong column) = 0;
  // Copies the 4 rows of 8 and returns true if a good file was read; else
  // false, leaving `table` alone.
  virtual bool getThreadPrioTable(Tevrol::Long (*table)[8]) = 0;
  virtual ~TevrolCfgFileReader();
};

#endif
