#ifndef TEVROL_FILE_OUTPUTSTREAM_H
#define TEVROL_FILE_OUTPUTSTREAM_H

#include "file/InputStream.h"
#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

class OutputStreamCallback;  // opaque: stored and returned, never called

// Writing side of a stream; result codes as for InputStream.
class TEVROL_EXPORT OutputStream {
 public:
  OutputStream();
  virtual ~OutputStream();

  virtual Tevrol::ULong Write(unsigned char const* buffer, Tevrol::ULong length,
                              Tevrol::ULong* bytesWritten) = 0;
  // Does nothing here.
  virtual void CancelPending();
  // Gives 0 and does nothing here.
  virtual Tevrol::ULong FlushWriteBuffer();
  virtual OutputStreamCallback* GetOutputStreamCallback();
  virtual void SetOutputStreamCallback(OutputStreamCallback* callback);

 private:
  OutputStreamCallback* m_callback;  // the caller's object
};

#endif
