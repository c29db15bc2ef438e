#ifndef TEVROL_FRAME_TEXT_TXSTRINGBUFFER_H
#define TEVROL_FRAME_TEXT_TXSTRINGBUFFER_H

#include "frame/TevrolTypes.h"
#include "frame/text/TxString.h"

// The code units of a TxString, for the library's own loops over a whole
// text (path normalisation), which through GetAt and Append would pay a call
// per unit. Internal: not installed, nothing exported.
class TxStringBuffer {
 public:
  // Null for a text that never held a unit.
  static char16_t const* Units(TxString const& text) { return text.m_data; }
  static char16_t* Units(TxString& text) { return text.m_data; }

  // Empties text and gives room for capacity units to write from index 0;
  // SetLength then says how many count. Null when capacity is 0 and the
  // text held no buffer.
  static char16_t* Prepare(TxString& text, Tevrol::Long capacity) {
    text.m_length = 0;
    text.Reserve(capacity);
    return text.m_data;
  }
  // length must not exceed the room: the text's length or what Prepare gave.
  static void SetLength(TxString& text, Tevrol::Long length) { text.m_length = length; }
};

#endif
