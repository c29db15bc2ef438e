#include "TraceJson.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <system_error>

class JsonParser {
 public:
  JsonParser(std::string_view text, JsonLimits const& limits, JsonDocument& document)
      : m_text(text), m_limits(limits), m_document(document) {}

  bool Run(std::string& error) {
    m_document.m_values.clear();
    m_document.m_strings.clear();
    bool ok = m_text.size() <= m_limits.maxTextBytes && m_text.size() < UINT32_MAX;
    if (!ok) m_error = "the text is too large";
    if (ok && m_text.size() >= 3 && m_text.compare(0, 3, "\xEF\xBB\xBF") == 0) {
      ok = Fail("a byte order mark is not JSON");
    }
    JsonDocument::Index root = JsonDocument::kNone;
    if (ok) {
      SkipBlanks();
      ok = ParseValue(0, root);
    }
    if (ok) {
      SkipBlanks();
      if (m_at != m_text.size()) ok = Fail("unexpected text after the value");
    }
    if (!ok) {
      error = m_error;
      m_document.m_values.clear();
      m_document.m_strings.clear();
    }
    return ok;
  }

 private:
  using Index = JsonDocument::Index;

  bool Fail(char const* what) {
    // Line and column (in bytes, from 1) of where reading stopped.
    std::size_t line = 1, column = 1;
    for (std::size_t i = 0; i < m_at && i < m_text.size(); ++i) {
      if (m_text[i] == '\n') {
        ++line;
        column = 1;
      } else {
        ++column;
      }
    }
    char where[64];
    std::snprintf(where, sizeof where, "line %zu, column %zu: ", line, column);
    m_error = std::string(where) + what;
    return false;
  }

  bool AtEnd() const { return m_at >= m_text.size(); }
  char Peek() const { return AtEnd() ? '\0' : m_text[m_at]; }

  void SkipBlanks() {
    while (!AtEnd()) {
      const char c = m_text[m_at];
      if (c != ' ' && c != '\t' && c != '\n' && c != '\r') break;
      ++m_at;
    }
  }

  bool NewValue(JsonType type, Index& index) {
    if (m_document.m_values.size() >= m_limits.maxValues ||
        m_document.m_values.size() >= JsonDocument::kNone) {
      return Fail("too many values");
    }
    index = static_cast<Index>(m_document.m_values.size());
    m_document.m_values.emplace_back();
    m_document.m_values.back().type = type;
    return true;
  }

  bool ParseValue(std::size_t depth, Index& index) {
    switch (Peek()) {
      case '{':
        return ParseObject(depth, index);
      case '[':
        return ParseArray(depth, index);
      case '"': {
        std::uint32_t offset = 0, length = 0;
        if (!ParseString(offset, length) || !NewValue(JsonType::String, index)) return false;
        m_document.m_values[index].textOffset = offset;
        m_document.m_values[index].textLength = length;
        return true;
      }
      case 't':
        return ParseWord("true", JsonType::True, index);
      case 'f':
        return ParseWord("false", JsonType::False, index);
      case 'n':
        return ParseWord("null", JsonType::Null, index);
      default:
        if (Peek() == '-' || (Peek() >= '0' && Peek() <= '9')) return ParseNumber(index);
        return Fail(AtEnd() ? "a value is missing at the end" : "expected a value");
    }
  }

  bool ParseWord(std::string_view word, JsonType type, Index& index) {
    if (m_text.compare(m_at, word.size(), word) != 0) return Fail("expected a value");
    m_at += word.size();
    return NewValue(type, index);
  }

  bool Digits() {
    const std::size_t start = m_at;
    while (!AtEnd() && m_text[m_at] >= '0' && m_text[m_at] <= '9') ++m_at;
    return m_at > start;
  }

  bool ParseNumber(Index& index) {
    const std::size_t start = m_at;
    if (Peek() == '-') ++m_at;
    if (Peek() == '0') {
      ++m_at;
      if (Peek() >= '0' && Peek() <= '9') return Fail("a number does not start with 0");
    } else if (!Digits()) {
      return Fail("expected a digit");
    }
    if (Peek() == '.') {
      ++m_at;
      if (!Digits()) return Fail("expected a digit after the decimal point");
    }
    if (Peek() == 'e' || Peek() == 'E') {
      ++m_at;
      if (Peek() == '+' || Peek() == '-') ++m_at;
      if (!Digits()) return Fail("expected a digit in the exponent");
    }
    if (m_at - start > m_limits.maxNumberLength) {
      m_at = start;
      return Fail("the number is too long");
    }
    double value = 0;
    const char* const first = m_text.data() + start;
    const char* const last = m_text.data() + m_at;
    const auto result = std::from_chars(first, last, value);
    if (result.ec != std::errc() || result.ptr != last || !std::isfinite(value)) {
      m_at = start;
      return Fail("the number is out of range");
    }
    if (!NewValue(JsonType::Number, index)) return false;
    m_document.m_values[index].number = value;
    return true;
  }

  bool Hex4(std::uint32_t& value) {
    value = 0;
    for (int i = 0; i < 4; ++i, ++m_at) {
      const char c = Peek();
      int digit;
      if (c >= '0' && c <= '9') {
        digit = c - '0';
      } else if (c >= 'a' && c <= 'f') {
        digit = c - 'a' + 10;
      } else if (c >= 'A' && c <= 'F') {
        digit = c - 'A' + 10;
      } else {
        return Fail("expected four hexadecimal digits after \\u");
      }
      value = value * 16u + static_cast<std::uint32_t>(digit);
    }
    return true;
  }

  void AppendUtf8(std::uint32_t code) {
    std::string& out = m_document.m_strings;
    if (code < 0x80) {
      out += static_cast<char>(code);
    } else if (code < 0x800) {
      out += static_cast<char>(0xC0 | (code >> 6));
      out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
      out += static_cast<char>(0xE0 | (code >> 12));
      out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (code >> 18));
      out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (code & 0x3F));
    }
  }

  bool Escape() {
    ++m_at;  // the backslash
    const char c = Peek();
    char plain = 0;
    switch (c) {
      case '"':
      case '\\':
      case '/':
        plain = c;
        break;
      case 'b':
        plain = '\b';
        break;
      case 'f':
        plain = '\f';
        break;
      case 'n':
        plain = '\n';
        break;
      case 'r':
        plain = '\r';
        break;
      case 't':
        plain = '\t';
        break;
      case 'u':
        break;
      default:
        return Fail("unknown escape");
    }
    ++m_at;
    if (c != 'u') {
      m_document.m_strings += plain;
      return true;
    }
    std::uint32_t code = 0;
    if (!Hex4(code)) return false;
    if (code >= 0xDC00 && code <= 0xDFFF) return Fail("a low surrogate without a high one");
    if (code >= 0xD800 && code <= 0xDBFF) {
      std::uint32_t low = 0;
      if (Peek() != '\\' || m_at + 1 >= m_text.size() || m_text[m_at + 1] != 'u') {
        return Fail("a high surrogate without a low one");
      }
      m_at += 2;
      if (!Hex4(low)) return false;
      if (low < 0xDC00 || low > 0xDFFF) return Fail("a high surrogate without a low one");
      code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    }
    AppendUtf8(code);
    return true;
  }

  // One character of raw UTF-8 (not ASCII), checked: no overlong forms, no
  // surrogates, nothing above U+10FFFF.
  bool RawUtf8() {
    const auto byte = [&](std::size_t i) {
      return m_at + i < m_text.size() ? static_cast<unsigned char>(m_text[m_at + i]) : 0u;
    };
    const unsigned lead = byte(0);
    std::size_t length = 0;
    unsigned low = 0x80, high = 0xBF;  // the range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      if (lead == 0xE0) low = 0xA0;
      if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      if (lead == 0xF0) low = 0x90;
      if (lead == 0xF4) high = 0x8F;
    } else {
      return Fail("invalid UTF-8");
    }
    if (byte(1) < low || byte(1) > high) return Fail("invalid UTF-8");
    for (std::size_t i = 2; i < length; ++i) {
      if (byte(i) < 0x80 || byte(i) > 0xBF) return Fail("invalid UTF-8");
    }
    m_document.m_strings.append(m_text.data() + m_at, length);
    m_at += length;
    return true;
  }

  bool ParseString(std::uint32_t& offset, std::uint32_t& length) {
    ++m_at;  // the opening quote
    offset = static_cast<std::uint32_t>(m_document.m_strings.size());
    for (;;) {
      if (AtEnd()) return Fail("a string is not closed");
      const auto c = static_cast<unsigned char>(m_text[m_at]);
      if (c == '"') {
        ++m_at;
        break;
      }
      if (c < 0x20) return Fail("a control character in a string");
      if (c == '\\') {
        if (!Escape()) return false;
      } else if (c < 0x80) {
        m_document.m_strings += static_cast<char>(c);
        ++m_at;
      } else if (!RawUtf8()) {
        return false;
      }
    }
    length = static_cast<std::uint32_t>(m_document.m_strings.size() - offset);
    return true;
  }

  // Links `item` behind `last` (or as the first of `parent`).
  void Link(Index parent, Index& last, Index item) {
    if (last == JsonDocument::kNone) {
      m_document.m_values[parent].first = item;
    } else {
      m_document.m_values[last].next = item;
    }
    last = item;
  }

  bool Enter(std::size_t depth) {
    if (depth >= m_limits.maxDepth) return Fail("nested too deeply");
    ++m_at;
    SkipBlanks();
    return true;
  }

  bool ParseArray(std::size_t depth, Index& index) {
    if (!Enter(depth) || !NewValue(JsonType::Array, index)) return false;
    if (Peek() == ']') {
      ++m_at;
      return true;
    }
    Index last = JsonDocument::kNone;
    for (;;) {
      Index item = JsonDocument::kNone;
      if (!ParseValue(depth + 1, item)) return false;
      Link(index, last, item);
      SkipBlanks();
      if (Peek() == ']') {
        ++m_at;
        return true;
      }
      if (Peek() != ',') return Fail("expected ',' or ']'");
      ++m_at;
      SkipBlanks();
    }
  }

  bool ParseObject(std::size_t depth, Index& index) {
    if (!Enter(depth) || !NewValue(JsonType::Object, index)) return false;
    if (Peek() == '}') {
      ++m_at;
      return true;
    }
    Index last = JsonDocument::kNone;
    // Where each name lies in the buffer, and where it was read.
    struct Name {
      std::uint32_t offset, length;
      std::size_t at;
    };
    std::vector<Name> names;
    for (;;) {
      if (Peek() != '"') return Fail("expected a name in quotes");
      const std::size_t nameAt = m_at;
      std::uint32_t keyOffset = 0, keyLength = 0;
      if (!ParseString(keyOffset, keyLength)) return false;
      SkipBlanks();
      if (Peek() != ':') return Fail("expected ':'");
      ++m_at;
      SkipBlanks();
      Index item = JsonDocument::kNone;
      if (!ParseValue(depth + 1, item)) return false;
      m_document.m_values[item].keyOffset = keyOffset;
      m_document.m_values[item].keyLength = keyLength;
      Link(index, last, item);
      names.push_back({keyOffset, keyLength, nameAt});
      SkipBlanks();
      if (Peek() == '}') break;
      if (Peek() != ',') return Fail("expected ',' or '}'");
      ++m_at;
      SkipBlanks();
    }
    // Sorted, twins are neighbours; the later one is named in the error.
    std::string_view const strings = m_document.m_strings;
    auto const text = [&](Name const& name) { return strings.substr(name.offset, name.length); };
    std::sort(names.begin(), names.end(), [&](Name const& a, Name const& b) {
      return text(a) != text(b) ? text(a) < text(b) : a.at < b.at;
    });
    for (std::size_t i = 1; i < names.size(); ++i) {
      if (text(names[i]) == text(names[i - 1])) {
        m_at = names[i].at;
        return Fail("a name occurs twice in one object");
      }
    }
    ++m_at;
    return true;
  }

  std::string_view m_text;
  JsonLimits const& m_limits;
  JsonDocument& m_document;
  std::size_t m_at = 0;
  std::string m_error;
};

bool JsonDocument::Parse(std::string_view text, JsonLimits const& limits, std::string& error) {
  return JsonParser(text, limits, *this).Run(error);
}

JsonDocument::Index JsonDocument::Member(Index object, std::string_view key) const {
  if (!Is(object, JsonType::Object)) return kNone;
  for (Index member = First(object); member != kNone; member = Next(member)) {
    if (Key(member) == key) return member;
  }
  return kNone;
}
