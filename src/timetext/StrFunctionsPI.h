#ifndef TEVROL_TIMETEXT_STRFUNCTIONSPI_H
#define TEVROL_TIMETEXT_STRFUNCTIONSPI_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// Stateless functions on zero-terminated strings, safe on any thread at once.
// No locale is consulted: 8-bit text is Latin-1 under one fixed case rule.
// - lower: 0x41-0x5A, 0xC0-0xD6, 0xD8-0xDE get 0x20 added (0xD7, 0xDF stay);
// - upper: 0x61-0x7A, 0xE0-0xF6, 0xF8-0xFE get 0x20 taken off (0xF7, 0xFF stay);
// - where these functions order bytes themselves, they compare them as
//   signed 8-bit values: bytes from 0x80 up sort before 7-bit ASCII.
// Comparisons take null pointers: the same pointer (both null too) is 0,
// a null `a` is -1, a null `b` is 1.
class TEVROL_EXPORT StrFunctionsPI {
 public:
  // True for the same pointer (both null too); false when one is null.
  static bool strEqual(char const* a, char const* b);
  // strcmp after the null rule: bytes compare unsigned; only the sign counts.
  static Tevrol::Long StrCmp(char const* a, char const* b);
  // Stops with 0 at the first zero unit on either side, so a prefix compares
  // equal; otherwise the first differing units, a minus b.
  static Tevrol::Long StrCmp(unsigned short const* a, unsigned short const* b);
  // By the lower rule, signed bytes. The magnitude of a non-zero result is
  // the index of the first difference plus 1 ("ab" against "abc" is -3).
  static Tevrol::Long StrICmp(char const* a, char const* b);
  // As StrICmp after folding accented letters to their base letters
  // (0xC4 and 0xE4 equal "a"; 0x8C is "Z", 0x9C "z").
  static Tevrol::Long StrIColl(char const* a, char const* b);
  // Without ignoreCase: strncmp. With it: -1, 0 or 1 (not a position) by the
  // lower rule over at most n bytes. n below 1 gives 0 either way.
  static Tevrol::Long StrNCmp(char const* a, char const* b, Tevrol::Long n, bool ignoreCase);
  // In place, every byte up to the terminator; null is ignored.
  static void StrLwr(char* s);
  static void StrUpr(char* s);

  // Writes `value` in `radix` (2 to 36, digits "0-9A-Z") with a leading "-"
  // when negative; gives `buffer` back. The caller provides the room: a sign,
  // 32 digits and a terminator. 0 is "0" in any radix; another value in a
  // radix outside 2 to 36 is "". A null buffer is not written to.
  static char* IToA(Tevrol::Long value, char* buffer, Tevrol::Long radix);
  // Hexadecimal text to number, scanned from the left: 0x2A-0x3F count as
  // digits of value c & 0x0F ("*" is 10, "?" 15), a-f/A-F as 10-15, blanks
  // are skipped anywhere, any other byte ends the scan ("0x10" is 0). Only
  // the last 8 digits count. Null and "" give 0.
  static Tevrol::ULong axtoi(char const* s);

  // Index from the beginning of `s` of the first `c` at or after `start`,
  // or -1. The terminator is never found (c == 0 gives -1). A null `s` or a
  // `start` outside the text (negative, or behind its terminator) gives -1.
  static Tevrol::Long FindChar(char const* s, char c, bool ignoreCase, Tevrol::Long start);
  // Index of the first `pattern` at or after `start`, or -1; "" gives -1.
  // Arguments as for FindChar; a null pattern gives -1.
  static Tevrol::Long Find(char const* s, char const* pattern, bool ignoreCase, Tevrol::Long start);
  // Copies `source` to `output` with every `search` replaced by
  // `replacement`; inserted text is not searched again. Returns 1. The Long
  // argument is not looked at and no bound applies: the caller sizes
  // `output` for the whole result and its terminator. `source` and `output`
  // must not overlap. An empty `search` copies `source` unchanged. Null
  // `source`, `search` and `replacement` read as ""; a null `output` is not
  // written to.
  static Tevrol::Long ReplaceAll(char const* source, char* output, Tevrol::Long, char const* search,
                                 char* replacement, bool ignoreCase);

  // Releases what `target` holds (null, or a string made here) and makes it
  // a heap copy of `source`, or null for a null source or when memory runs
  // out. `source` may point into the old string. Release it with StrFree.
  static void SetStringData(char*& target, char const* source);
  static void SetStringData(unsigned short*& target, unsigned short const* source);
  // Releases a string made by SetStringData; null is ignored.
  static void StrFree(char* s);
  static void StrFree(unsigned short* s);

  // Mixed case for a name given in capitals, in place; never grows:
  // "FRANKFURT AM MAIN" -> "Frankfurt am Main", "KARL-VON-WEG" ->
  // "Karl-von-Weg", "ULM;DONAU" -> "Ulm" (cut at the first ";"). The first
  // byte of each word (after one of " (->/\+") is kept as it is, the rest
  // lowered, and German name particles between separators are lowered.
  // A null pointer is ignored.
  static void IntelligentDownCase(char* s);
};

#endif
