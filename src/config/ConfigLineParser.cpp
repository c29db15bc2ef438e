#include "config/ConfigLineParser.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace {

// White space as sscanf skips it, without a locale.
bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

constexpr std::array<signed char, 256> MakeHexValues() {
  std::array<signed char, 256> values{};
  for (int c = 0; c < 256; ++c) {
    const int value = c >= '0' && c <= '9'   ? c - '0'
                      : c >= 'a' && c <= 'f' ? c - 'a' + 10
                      : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                             : -1;
    values[static_cast<std::size_t>(c)] = static_cast<signed char>(value);
  }
  return values;
}

constexpr std::array<signed char, 256> kHexValues = MakeHexValues();

// The value of a hexadecimal digit, -1 for any other byte.
int HexValue(char c) {
  return kHexValues[static_cast<unsigned char>(c)];
}

bool IsHex(char c) {
  return HexValue(c) >= 0;
}

// What sscanf(text, "%<width>x%n") does in the C locale, at a fraction of its
// cost: blanks skipped, then a sign, a "0x" and the digits, which all count
// towards the width; a negative number wraps as strtoul's does. False where
// sscanf converts nothing; else the value and the bytes consumed, blanks
// and an "x" without digits behind it included.
inline bool ScanHex(char const* text, int width, std::uint32_t& value, int& consumed) {
  char const* p = text;
  while (IsBlank(*p)) ++p;
  bool negative = false;
  if (*p == '-' || *p == '+') {
    negative = *p++ == '-';
    --width;
  }
  bool digits = false;
  std::uint32_t number = 0;
  if (width != 0 && *p == '0') {
    digits = true;
    ++p;
    if (--width != 0 && (*p == 'x' || *p == 'X')) {
      ++p;
      --width;
    }
  }
  for (int digit = 0; width != 0 && (digit = HexValue(*p)) >= 0; --width, ++p) {
    number = number * 16u + static_cast<std::uint32_t>(digit);
    digits = true;
  }
  if (!digits) return false;
  value = negative ? 0u - number : number;
  consumed = static_cast<int>(p - text);
  return true;
}

char* FindByte(char* from, char const* end, char c) {
  return from < end ? static_cast<char*>(std::memchr(from, c, static_cast<std::size_t>(end - from)))
                    : nullptr;
}

// The end of [from, end) without its trailing blanks, line end included.
char const* ContentEnd(char const* from, char const* end) {
  while (end > from && IsBlank(end[-1])) --end;
  return end;
}

bool HasContent(char const* from, char const* end) {
  return ContentEnd(from, end) > from;
}

// Decimal digits only, fewer than the eight of the padded hexadecimal form,
// so a reader takes them for decimal, but "%8x" gives another value.
bool LooksDecimal(char const* from, char const* to, std::uint32_t value) {
  while (from < to && IsBlank(*from)) ++from;
  bool negative = false;
  if (from < to && (*from == '-' || *from == '+')) negative = *from++ == '-';
  if (from == to || to - from >= 8) return false;
  std::uint32_t decimal = 0;
  for (; from < to; ++from) {
    if (*from < '0' || *from > '9') return false;
    decimal = decimal * 10u + static_cast<std::uint32_t>(*from - '0');
  }
  return (negative ? 0u - decimal : decimal) != value;
}

ConfigLineNote ParseNumber(char* digits, char const* end, ConfigLine& result) {
  // "%8lx" read as 32 bits: ffffffff is -1 on every host. The variable
  // starts at 0 and the conversion's result is not looked at.
  std::uint32_t value = 0;
  int consumed = -1;
  ScanHex(digits, 8, value, consumed);
  result.kind = ConfigLineKind::Number;
  result.number = static_cast<Tevrol::Long>(value);
  if (consumed < 0) return ConfigLineNote::NumberNoDigits;
  char const* const after = digits + consumed;
  if (after < end && IsHex(*after)) return ConfigLineNote::NumberTooLong;
  if (HasContent(after, end)) return ConfigLineNote::TrailingBytes;
  if (LooksDecimal(digits, after, value)) return ConfigLineNote::NumberLooksDecimal;
  return ConfigLineNote::None;
}

// One byte from every third place: two digits and a separator of any kind,
// whatever the text holds there.
ConfigLineNote ParseBytes(char* list, char const* end, unsigned char* bytes, ConfigLine& result) {
  const std::size_t length = static_cast<std::size_t>(end - list);
  const std::size_t content = static_cast<std::size_t>(ContentEnd(list, end) - list);
  Tevrol::ULong count = 0;
  bool aligned = true;
  std::size_t i = 0;
  for (; i < length && count < kConfigLineBufferSize; i += 3) {
    int const high = HexValue(list[i]);
    int const low = i + 1 < length ? HexValue(list[i + 1]) : -1;
    const bool twoDigits = high >= 0 && low >= 0;
    std::uint32_t value = 0;
    int consumed = 0;
    if (twoDigits) {
      value = static_cast<std::uint32_t>(high * 16 + low);  // "%2x" of two digits, "0" first too
    } else if (!ScanHex(list + i, 2, value, consumed)) {
      break;
    }
    bytes[count++] = static_cast<unsigned char>(value);
    const bool separated = i + 2 >= content || (!IsHex(list[i + 2]) && !IsBlank(list[i + 2]));
    aligned = aligned && twoDigits && separated;
  }
  result.kind = ConfigLineKind::Bytes;
  result.byteCount = count;
  return aligned && i >= content ? ConfigLineNote::None : ConfigLineNote::BytesMisaligned;
}

// The key line behind its opening double quote; gives the note.
ConfigLineNote ParseKey(char* line, char const* end, unsigned char* bytes, ConfigLine& result) {
  char* const close = FindByte(line + 1, end, '"');
  if (close == nullptr) return ConfigLineNote::KeyNameUnclosed;
  char* const equals = close + 1;
  if (equals >= end || *equals != '=') {
    return equals < end && (*equals == ' ' || *equals == '\t') ? ConfigLineNote::BlankBeforeEquals
                                                               : ConfigLineNote::NoEquals;
  }
  char* const value = equals + 1;
  const char kind = value < end ? *value : '\0';
  ConfigLineNote note = ConfigLineNote::None;
  if (kind == '"') {
    char* const textEnd = FindByte(value + 1, end, '"');
    if (textEnd == nullptr) return ConfigLineNote::TextUnclosed;
    *textEnd = '\0';
    result.kind = ConfigLineKind::Text;
    result.text = value + 1;
    if (HasContent(textEnd + 1, end)) note = ConfigLineNote::TrailingBytes;
  } else if (kind == 'd' || kind == 'D' || kind == 'h' || kind == 'H') {
    char* const colon = FindByte(value + 1, end, ':');
    if (colon == nullptr) return ConfigLineNote::NoColon;
    note = kind == 'd' || kind == 'D' ? ParseNumber(colon + 1, end, result)
                                      : ParseBytes(colon + 1, end, bytes, result);
  } else {
    return ConfigLineNote::UnknownValueKind;
  }
  *close = '\0';
  result.name = line + 1;
  return note;
}

}  // namespace

void ParseConfigLine(char* line, Tevrol::ULong length, bool inGroup, bool restOfCutLine,
                     unsigned char* bytes, ConfigLine& result) {
  result = ConfigLine();
  // A zero byte ends the text for every scan.
  char* const end = line + strnlen(line, length);
  ConfigLineNote read = ConfigLineNote::None;  // how a line that is read differs from its look
  if (restOfCutLine) {
    read = ConfigLineNote::CutLineRest;
  } else if (length > 0 && line[length - 1] != '\n') {
    read = ConfigLineNote::LineCut;
  } else if (end < line + length) {
    read = ConfigLineNote::ZeroByte;
  }

  ConfigLineNote note = ConfigLineNote::None;
  if (end > line && line[0] == '[') {
    char* const close = FindByte(line + 1, end, ']');
    result.kind = ConfigLineKind::Group;
    result.name = line + 1;
    if (close == nullptr) {
      note = ConfigLineNote::HeaderUnclosed;  // the name keeps the line end
    } else {
      *close = '\0';
      if (HasContent(close + 1, end)) note = ConfigLineNote::TrailingBytes;
    }
  } else if (end > line && line[0] == '"') {
    note = inGroup ? ParseKey(line, end, bytes, result) : ConfigLineNote::KeyBeforeGroup;
  } else {
    char const* first = line;
    while (first < end && IsBlank(*first)) ++first;
    note = first == end                     ? ConfigLineNote::Blank
           : *first == '[' || *first == '"' ? ConfigLineNote::LeadingBlank
                                            : ConfigLineNote::Comment;
  }
  if (result.kind == ConfigLineKind::Ignored) {
    result.note = restOfCutLine ? ConfigLineNote::CutLineRest
                  : note == ConfigLineNote::Blank && end < line + length ? ConfigLineNote::ZeroByte
                                                                         : note;
  } else {
    result.note = read != ConfigLineNote::None ? read : note;
  }
}

char const* DescribeConfigLineNote(ConfigLineNote note) {
  switch (note) {
    case ConfigLineNote::None:
      return "";
    case ConfigLineNote::Blank:
      return "A blank line.";
    case ConfigLineNote::Comment:
      return "A comment: the line starts with neither \"[\" nor a double quote.";
    case ConfigLineNote::LeadingBlank:
      return "The line starts with blanks, so it is taken for a comment and dropped. A header or "
             "key line must start in the first column: [Group] or \"Key\"=\"text\".";
    case ConfigLineNote::KeyBeforeGroup:
      return "The key line comes before the first group header, so it is dropped. Put a header "
             "such as [Group] above it.";
    case ConfigLineNote::KeyNameUnclosed:
      return "No double quote closes the key name, so the line is dropped. Write it as "
             "\"Key\"=\"text\".";
    case ConfigLineNote::BlankBeforeEquals:
      return "There is a blank between the key name and \"=\", so the line is dropped. Write it "
             "with nothing around the \"=\": \"Key\"=\"text\".";
    case ConfigLineNote::NoEquals:
      return "The key name is not followed by \"=\", so the line is dropped. Write it as "
             "\"Key\"=\"text\".";
    case ConfigLineNote::TextUnclosed:
      return "No double quote closes the text, so the line is dropped. Write it as "
             "\"Key\"=\"text\".";
    case ConfigLineNote::NoColon:
      return "The value has no \":\" behind its type, so the line is dropped. Write a number as "
             "\"Key\"=dword:0000001f and bytes as \"Key\"=hex:01,02.";
    case ConfigLineNote::UnknownValueKind:
      return "The value is neither a text in double quotes, nor a number, nor a byte list, so the "
             "line is dropped. Write \"Key\"=\"text\", \"Key\"=dword:0000001f or "
             "\"Key\"=hex:01,02.";
    case ConfigLineNote::CutLineRest:
      return "The rest of a line over 1023 bytes, read as a line of its own.";
    case ConfigLineNote::LineCut:
      return "The line is over 1023 bytes: only its first 1023 bytes are read as this line, and "
             "the rest is read as a new line.";
    case ConfigLineNote::ZeroByte:
      return "A zero byte ends the line, so nothing behind it is read.";
    case ConfigLineNote::HeaderUnclosed:
      return "No \"]\" closes the header, so the group name runs to the end of the line, line "
             "end included. Write it as [Group].";
    case ConfigLineNote::TrailingBytes:
      return "The bytes behind the value or behind the header's \"]\" are not read. Remove them; "
             "a comment needs a line of its own.";
    case ConfigLineNote::NumberNoDigits:
      return "There are no hexadecimal digits behind the \":\", so the number is read as 0. Write "
             "it as \"Key\"=dword:0000001f.";
    case ConfigLineNote::NumberTooLong:
      return "The number has more than 8 digits, so only the first 8 are read. Write at most 8 "
             "hexadecimal digits: \"Key\"=dword:0000001f.";
    case ConfigLineNote::NumberLooksDecimal:
      return "Numbers are read as hexadecimal, so this decimal-looking number is read as another "
             "value. Write 31 as \"Key\"=dword:0000001f.";
    case ConfigLineNote::BytesMisaligned:
      return "Each byte of a list needs two hexadecimal digits and a comma, because one byte is "
             "read at every third place; these bytes are read otherwise than written. Write it "
             "as \"Key\"=hex:01,02,ff.";
  }
  return "";
}
