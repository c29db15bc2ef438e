#ifndef TEVROL_FRAME_TEXT_TXTOKENIZER_H
#define TEVROL_FRAME_TEXT_TXTOKENIZER_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "frame/text/TxChar.h"
#include "frame/text/TxString.h"
#include "frame/text/TxStringArray.h"

// Splits a text at one separator. Set m_separator, call TokenizeString, read
// m_tokenCount and ReturnToken(0 .. m_tokenCount-1). Every field between two
// separators is a token, empty ones included:
//
//   text     separator  tokens
//   "a:b"    ':'        "a", "b"
//   "1,,3"   ','        "1", "", "3"
//   "a,"     ','        "a", ""
//   ""       ','        ""            (one empty token)
class TEVROL_EXPORT TxTokenizer {
 public:
  TxTokenizer() = default;

  // Replaces the tokens of any earlier split. behavior has one value (empty
  // tokens kept); the bool is accepted and has no effect.
  void TokenizeString(TxString const& text, TxString::SplitBehavior behavior, bool unused);
  // The empty text for an index outside the tokens.
  TxString ReturnToken(Tevrol::Long index) const;
  // Forgets the tokens; m_separator stays as it is.
  void InitializeTokenizer();

  TxChar m_separator;             // assigned by the caller before a split
  Tevrol::Long m_tokenCount = 0;  // tokens of the last split

 private:
  TxStringArray m_tokens;
};

#endif
