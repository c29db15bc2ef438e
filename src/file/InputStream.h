#ifndef TEVROL_FILE_INPUTSTREAM_H
#define TEVROL_FILE_INPUTSTREAM_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// Result codes shared by every stream operation.
enum StreamResult : Tevrol::ULong {
  kStreamSuccess = 0,
  kStreamOpenRefused = 1,  // the system refused to open the file
  kStreamTimeout = 2,      // read time-out
  kStreamFailure = 4,      // general failure, or not supported
  kStreamAlreadyOpen = 5,
  kStreamEndOfData = 7
};

// Reading side of a stream. Most waiting operations mean something for
// device streams only; a File answers them with fixed results.
class TEVROL_EXPORT InputStream {
 public:
  InputStream();
  virtual ~InputStream();

  virtual Tevrol::ULong Read(unsigned char* buffer, Tevrol::ULong length,
                             Tevrol::ULong* bytesRead) = 0;
  virtual Tevrol::ULong Flush() = 0;
  virtual Tevrol::ULong EnableWait() = 0;
  virtual Tevrol::ULong WaitForData() = 0;
  virtual Tevrol::ULong DisableWait() = 0;
  virtual void Cancel() = 0;
  virtual void SetReadTimeout(Tevrol::Long milliseconds) = 0;
  virtual Tevrol::Long GetReadTimeout() = 0;
  // Does nothing here.
  virtual void CancelPending();

 protected:
  // Kept for derived streams outside the library; nothing here reads them.
  bool m_flagA;
  bool m_flagB;
  Tevrol::Word m_word;
};

#endif
