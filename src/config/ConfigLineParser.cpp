#include "config/ConfigLineParser.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

// White space as sscanf skips it, without a locale.
bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool IsHex(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
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
  std::sscanf(digits, "%8" SCNx32 "%n", &value, &consumed);
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
    std::uint32_t value = 0;
    if (std::sscanf(list + i, "%2" SCNx32, &value) != 1) break;
    bytes[count++] = static_cast<unsigned char>(value);
    const bool twoDigits = IsHex(list[i]) && i + 1 < length && IsHex(list[i + 1]);
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
      return "blank line";
    case ConfigLineNote::Comment:
      return "neither \"[\" nor a double quote first: a comment";
    case ConfigLineNote::LeadingBlank:
      return "blanks before the header or key: not read";
    case ConfigLineNote::KeyBeforeGroup:
      return "key line before the first group header: dropped";
    case ConfigLineNote::KeyNameUnclosed:
      return "no double quote closes the key name: dropped";
    case ConfigLineNote::BlankBeforeEquals:
      return "a blank between the key's closing double quote and \"=\": dropped";
    case ConfigLineNote::NoEquals:
      return "no \"=\" right behind the key's closing double quote: dropped";
    case ConfigLineNote::TextUnclosed:
      return "no double quote closes the text: dropped";
    case ConfigLineNote::NoColon:
      return "no \":\" behind the value's letter: dropped";
    case ConfigLineNote::UnknownValueKind:
      return "the value is no text, no d...: number and no h...: byte list: dropped";
    case ConfigLineNote::CutLineRest:
      return "rest of a line over 1023 bytes, taken as a line of its own";
    case ConfigLineNote::LineCut:
      return "line over 1023 bytes: only its first 1023 bytes are read as this line";
    case ConfigLineNote::ZeroByte:
      return "a zero byte ends the line: what follows it is not read";
    case ConfigLineNote::HeaderUnclosed:
      return "no \"]\": the group name runs to the end of the line, line end included";
    case ConfigLineNote::TrailingBytes:
      return "bytes behind the value or header are not read";
    case ConfigLineNote::NumberNoDigits:
      return "no hexadecimal digits behind \":\": read as 0";
    case ConfigLineNote::NumberTooLong:
      return "more than 8 digits: only the first 8 are read";
    case ConfigLineNote::NumberLooksDecimal:
      return "written as a decimal number, read as hexadecimal";
    case ConfigLineNote::BytesMisaligned:
      return "not two digits and one separator a byte: read at every third byte";
  }
  return "";
}
