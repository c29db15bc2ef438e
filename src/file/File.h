#ifndef TEVROL_FILE_FILE_H
#define TEVROL_FILE_FILE_H

#include "file/DirEntry.h"
#include "file/InputStream.h"
#include "file/OutputStream.h"
#include "file/Path.h"
#include "file/StreamController.h"
#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "frame/text/TxString.h"

class DirEntryArray;

// A file on a POSIX descriptor with 64-bit offsets, usable as input stream,
// output stream and stream controller, and at the same time the entry the
// browser reports for a plain file: its name is m_name of the DirEntry part,
// and m_type is 0. Every constructor leaves it closed; Open is a step of its
// own. The waiting operations are stubs with fixed results. No lock: one
// thread at a time.
class TEVROL_EXPORT File : public InputStream,
                           public StreamController,
                           public OutputStream,
                           public DirEntry {
 public:
  enum MoveMethod : Tevrol::Long { Begin = 0, Current = 1, End = 2 };  // others count as Begin

  // No name. Once named, it opens with the target's default flags: read-only,
  // non-blocking, and a missing file is created with mode 0644.
  File();
  // access and creation are the platform's open flags, passed on untranslated;
  // share, attributes and the bool have no effect.
  File(TxString const& name, Tevrol::Long access, Tevrol::Long share, Tevrol::Long creation,
       Tevrol::Long attributes, bool unused);
  File(Tevrol::File::Path const& name, Tevrol::Long access, Tevrol::Long share,
       Tevrol::Long creation, Tevrol::Long attributes, bool unused);
  File(char const* name, Tevrol::Long access, Tevrol::Long share, Tevrol::Long creation,
       Tevrol::Long attributes, bool unused);
  // Closes the file first.
  ~File() override;

  File(File const&) = delete;
  File& operator=(File const&) = delete;

  // InputStream. Read: 0 with the count, 7 with 0 bytes at the end, 4 on
  // failure (also when closed, and with a null bytesRead).
  Tevrol::ULong Read(unsigned char* buffer, Tevrol::ULong length,
                     Tevrol::ULong* bytesRead) override;
  Tevrol::ULong Flush() override;        // 0
  Tevrol::ULong EnableWait() override;   // 0
  Tevrol::ULong WaitForData() override;  // 0
  Tevrol::ULong DisableWait() override;  // 0
  void Cancel() override;
  void SetReadTimeout(Tevrol::Long milliseconds) override;
  Tevrol::Long GetReadTimeout() override;  // 0

  // StreamController. Open: 0, 1 when the system refuses, 4 without a name,
  // 5 when open already. The name is cut to 254 bytes and its slashes are
  // normalised before open64.
  Tevrol::ULong Open() override;
  void Close() override;
  char const* GetFriendlyName() const override;  // "unknown"

  // OutputStream: 0 with the count, 4 on failure (also with a null
  // bytesWritten).
  Tevrol::ULong Write(unsigned char const* buffer, Tevrol::ULong length,
                      Tevrol::ULong* bytesWritten) override;

  bool IsOpen() override;
  // Does nothing and gives 0.
  Tevrol::ULong DeviceIoControl(Tevrol::ULong code, void* in, Tevrol::ULong inSize, void* out,
                                Tevrol::ULong outSize, Tevrol::ULong* returned) override;
  InputStream* GetInputStream() override;
  OutputStream* GetOutputStream() override;

  // The position is taken bit for bit as a signed 64-bit offset. 0 or 4.
  Tevrol::ULong SetPosition(unsigned long long position, MoveMethod method);
  // 0, or 4 with *position 0 (4 alone for a null position).
  Tevrol::ULong GetPosition(unsigned long long* position);
  // 0, or 4 with *size untouched.
  Tevrol::ULong GetSize(unsigned long long* size);
  // Cuts the file at the current position.
  Tevrol::ULong SetEndOfFile();
  // Seconds since 1970; false with time untouched when fstat64 fails.
  bool GetLastChangeTime(Tevrol::Long& time);
  bool GetLastAccessTime(Tevrol::Long& time);
  bool GetLastModificationTime(Tevrol::Long& time);
  // Always false; time stays untouched.
  bool GetCreationTime(Tevrol::Long& time);
  // Renames through FileOperations::Rename (both names absolute). An open
  // file stays open, under the new name at its old position when the rename
  // succeeded, under the old name otherwise; the reopening never creates nor
  // cuts the file.
  bool Rename(TxString const& newName, bool overwrite);
  // An open file stays open under its old name.
  void SetFileName(TxString const& name);
  void SetFileName(Tevrol::File::Path const& name);

  // Leaves drives untouched.
  static void GetRemovableDrives(DirEntryArray& drives);
  // In place: every '\\' becomes '/', and each run of '/' shrinks to one.
  // Null and "" are left alone.
  static void normalizeSlashes(char* path);
  // stat64 on the ToAscii bytes: true for every kind of entry but a socket.
  static bool FileExists(TxString const& path);

 private:
  int m_fileDescriptor;          // -1 while closed
  Tevrol::Long m_accessFlags;    // for open64
  Tevrol::Long m_creationFlags;  // ORed with m_accessFlags
};

#endif
