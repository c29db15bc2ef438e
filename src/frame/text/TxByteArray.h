#ifndef TEVROL_FRAME_TEXT_TXBYTEARRAY_H
#define TEVROL_FRAME_TEXT_TXBYTEARRAY_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// The 8-bit bytes of a TxString, as made by TxString::ToAscii and ToLatin1,
// followed by a zero byte. The pointer is never null (an empty text gives a
// lone zero byte) and stays valid until this object is destroyed. Received as
// a temporary and read: it cannot be copied or assigned.
class TEVROL_EXPORT TxByteArray {
 public:
  ~TxByteArray();
  TxByteArray(TxByteArray const&) = delete;
  TxByteArray& operator=(TxByteArray const&) = delete;

  char* GetData() { return m_data; }
  char const* GetConstData() const { return m_data; }
  operator char const*() const { return m_data; }

 private:
  friend class TxString;
  // Code units 0..255 become the byte of the same value, any other unit '?'.
  TxByteArray(char16_t const* units, Tevrol::Long count);

  char* m_data;  // owned, count + 1 bytes
};

#endif
