#ifndef TEVROL_FILE_STREAMCONTROLLER_H
#define TEVROL_FILE_STREAMCONTROLLER_H

#include "file/InputStream.h"
#include "file/OutputStream.h"
#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

class StreamControllerCallback;  // opaque: stored and returned, never called

// Opening, closing and device control of a stream; result codes as for
// InputStream.
class TEVROL_EXPORT StreamController {
 public:
  StreamController();
  virtual ~StreamController();

  virtual Tevrol::ULong Open() = 0;
  virtual void Close() = 0;
  virtual bool IsOpen() = 0;
  virtual Tevrol::ULong DeviceIoControl(Tevrol::ULong code, void* in, Tevrol::ULong inSize,
                                        void* out, Tevrol::ULong outSize,
                                        Tevrol::ULong* returned) = 0;
  virtual InputStream* GetInputStream() = 0;
  virtual OutputStream* GetOutputStream() = 0;
  virtual char const* GetFriendlyName() const = 0;
  virtual StreamControllerCallback* GetStreamControllerCallback();
  virtual void SetStreamControllerCallback(StreamControllerCallback* callback);

 private:
  StreamControllerCallback* m_callback;  // the caller's object
};

#endif
