#ifndef TEVROL_FRAME_TEXT_TXSTRING_H
#define TEVROL_FRAME_TEXT_TXSTRING_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "frame/text/TxByteArray.h"
#include "frame/text/TxChar.h"

// A text of 16-bit code units. Positions and lengths count code units.
//
// Value type: every copy owns its own buffer, so concurrent reads and copies
// of one object are safe without any lock, and there is no shared or lazily
// computed state. No member points into the object itself, so an object may
// be moved to another address with memcpy (containers do) and used there.
// A default-built text holds no buffer, which lets NULLString and other
// statics be constant-initialised.
//
// Bytes and code units map one to one for 0..255, both ways: every byte
// string, UTF-8 included, comes back unchanged from TxString(char const*)
// through ToAscii or ToLatin1. A null char const* reads as the empty text.
//
// No operation fails: positions and counts outside the text are clipped as
// documented at each operation.
class TEVROL_EXPORT TxString {
 public:
  // Values other than 0 compare exactly. CaseInsensitive folds A-Z and the
  // Latin-1 letters U+00C0..U+00DE (but U+00D7) to lower case, nothing else.
  enum CaseSensitivity : int { CaseInsensitive = 0, CaseSensitive = 1 };
  // Empty tokens are always kept; this is the only behaviour.
  enum SplitBehavior : int { KeepEmptyTokens = 0 };

  constexpr TxString() noexcept : m_data(nullptr), m_length(0), m_capacity(0) {}
  TxString(char const* bytes);
  TxString(TxString const& other);
  TxString& operator=(TxString const& other);
  TxString& operator=(char const* bytes);
  ~TxString();

  bool IsEmpty() const { return m_length == 0; }
  Tevrol::Long GetLength() const { return m_length; }
  Tevrol::Long GetSize() const { return m_length; }
  // TxChar() (value 0) for an index outside the text.
  TxChar GetAt(Tevrol::Long index) const;
  TxChar operator[](Tevrol::Long index) const { return GetAt(index); }

  // 0 when equal; otherwise negative or positive as in a code-unit-wise
  // lexicographic order.
  Tevrol::Long Compare(TxString const& other) const;
  bool operator==(TxString const& other) const { return Compare(other) == 0; }
  bool operator==(char const* bytes) const;
  bool operator!=(TxString const& other) const { return !(*this == other); }
  bool operator!=(char const* bytes) const { return !(*this == bytes); }

  bool StartsWith(TxString const& prefix, CaseSensitivity cs = CaseSensitive) const;
  bool StartsWith(TxChar const& c, CaseSensitivity cs = CaseSensitive) const;
  bool EndsWith(TxChar const& c, CaseSensitivity cs = CaseSensitive) const;
  bool Contains(TxChar c, CaseSensitivity cs = CaseSensitive) const;
  // The empty text is contained in every text.
  bool Contains(TxString const& text, CaseSensitivity cs = CaseSensitive) const;
  Tevrol::Long Count(TxChar c, CaseSensitivity cs = CaseSensitive) const;
  // First index >= from, or -1. A negative from searches from 0; a from at
  // or beyond the length gives -1.
  Tevrol::Long IndexOf(TxChar c, Tevrol::Long from, CaseSensitivity cs = CaseSensitive) const;
  // Last index <= from, or -1. A negative from (callers pass -1) or one
  // beyond the text searches from the end.
  Tevrol::Long LastIndexOf(TxChar c, Tevrol::Long from, CaseSensitivity cs = CaseSensitive) const;

  // Counts beyond the text give the whole text, counts <= 0 the empty text.
  TxString Left(Tevrol::Long count) const;
  TxString Right(Tevrol::Long count) const;
  // A negative index counts as 0, a negative count (callers pass -1) runs to
  // the end, and a count past the end is clipped.
  TxString Mid(Tevrol::Long index, Tevrol::Long count) const;
  // Without code units 9..13 and 32 at either end.
  TxString Trimmed() const;

  // Both give the same bytes: units 0..255 as themselves, any other unit as
  // '?'. A unit 0 inside the text ends the C string early.
  TxByteArray ToAscii() const;
  TxByteArray ToLatin1() const;

  // A copy with every "%1" replaced by value in base (2..36, any other base
  // counts as 10; digits above 9 in lower case), padded with fill to
  // |fieldWidth| units: on the left for a positive width, on the right for a
  // negative one. A '0' fill goes between a minus sign and the digits.
  // Without "%1" the copy is unchanged.
  TxString Argument(Tevrol::Long value, Tevrol::Long fieldWidth, Tevrol::Long base,
                    TxChar const& fill) const;

  // Each of these is safe with an argument that is, or is part of, *this.
  TxString& Append(TxChar c);
  TxString& Append(TxString const& text);
  TxString& Prepend(TxString const& text);
  TxString& operator+=(TxString const& text) { return Append(text); }
  TxString& operator+=(char const* bytes);
  TxString& Remove(TxChar c, CaseSensitivity cs = CaseSensitive);
  TxString& Replace(TxChar before, TxChar after, CaseSensitivity cs = CaseSensitive);
  // Left to right, without overlaps; the inserted text is not searched again,
  // and an empty search text changes nothing.
  TxString& Replace(TxString const& before, TxString const& after,
                    CaseSensitivity cs = CaseSensitive);
  // Removes the last count units: all of them when count exceeds the length,
  // none when count <= 0.
  void Chop(Tevrol::Long count);
  // Keeps the first count units: all when count exceeds the length, none
  // when count < 0.
  void Truncate(Tevrol::Long count);
  void Clear() { m_length = 0; }

 private:
  friend class TxStringBuffer;  // the library's own unit-by-unit loops

  TxString(char16_t const* units, Tevrol::Long count);
  void AppendBytes(char const* bytes);
  // units must not point into this text's own buffer (Reserve may free it).
  void AppendUnits(char16_t const* units, Tevrol::Long count);
  void Reserve(std::int64_t units);
  void Swap(TxString& other) noexcept;
  bool MatchesAt(Tevrol::Long index, TxString const& text, CaseSensitivity cs) const;

  char16_t* m_data;         // owned; null until a unit is stored
  Tevrol::Long m_length;    // units in use
  Tevrol::Long m_capacity;  // units allocated
};

TEVROL_EXPORT TxString operator+(TxString const& a, TxString const& b);

// The shared empty text. Constant-initialised, so static initialisers of any
// translation unit may read it.
extern TEVROL_EXPORT const TxString NULLString;

#endif
