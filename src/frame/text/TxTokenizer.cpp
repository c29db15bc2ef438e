#include "frame/text/TxTokenizer.h"

void TxTokenizer::TokenizeString(TxString const& text, TxString::SplitBehavior, bool) {
  m_tokens = TxStringArray();
  Tevrol::Long start = 0;
  for (;;) {
    const Tevrol::Long end = text.IndexOf(m_separator, start, TxString::CaseSensitive);
    // start never exceeds the length, so Mid gives the empty last field of
    // "a," and of "".
    m_tokens.Add(text.Mid(start, end < 0 ? -1 : end - start));
    if (end < 0) break;
    start = end + 1;
  }
  m_tokenCount = m_tokens.GetSize();
}

TxString TxTokenizer::ReturnToken(Tevrol::Long index) const {
  // Checked against the tokens held, not m_tokenCount, which callers can write.
  if (index < 0 || index >= m_tokens.GetSize()) return TxString();
  return m_tokens[index];
}

void TxTokenizer::InitializeTokenizer() {
  m_tokens = TxStringArray();
  m_tokenCount = 0;
}
