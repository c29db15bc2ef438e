#include "config/ConfigImportModel.h"

#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "file/File.h"
#include "file/InputStreamBuffer.h"

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

namespace ConfigImportModel {

void ParseLine(char* line, Tevrol::ULong length, bool inGroup, bool restOfCutLine,
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

bool ReadLine(InputStream& stream, unsigned char* buffer, Tevrol::ULong bufferSize,
              Tevrol::ULong& length) {
  length = 0;
  while (length + 1 < bufferSize) {
    Tevrol::ULong got = 0;
    if (stream.Read(buffer + length, 1, &got) != 0) {
      buffer[length] = 0;
      return false;
    }
    if (got == 0) break;
    if (buffer[length++] == '\n') break;
  }
  buffer[length] = 0;
  return true;
}

void ImportLines(ConfigSystemImpl& system, InputStream& stream, ConfigImportObserver* observer) {
  auto* const line = new unsigned char[kConfigLineBufferSize];
  auto* const bytes = new unsigned char[kConfigLineBufferSize];
  char* const raw = observer != nullptr ? new char[kConfigLineBufferSize] : nullptr;
  TxString group;
  bool inGroup = false;
  bool restOfCutLine = false;
  Tevrol::ULong lineNumber = 1;
  Tevrol::ULong length = 0;
  while (ReadLine(stream, line, kConfigLineBufferSize, length)) {
    if (length == 0) break;
    char* const text = reinterpret_cast<char*>(line);
    if (raw != nullptr) std::memcpy(raw, text, length + 1);
    ConfigLine parsed;
    ParseLine(text, length, inGroup, restOfCutLine, bytes, parsed);
    switch (parsed.kind) {
      case ConfigLineKind::Group:
        group = parsed.name;
        inGroup = true;
        break;
      case ConfigLineKind::Text:
        system.StoreStringValue(group, TxString(parsed.name), TxString(parsed.text));
        break;
      case ConfigLineKind::Number:
        system.StoreNumericalValue(group, TxString(parsed.name), parsed.number);
        break;
      case ConfigLineKind::Bytes:
        system.StoreByteArray(group, TxString(parsed.name), bytes, parsed.byteCount);
        break;
      case ConfigLineKind::Ignored:
        break;
    }
    if (observer != nullptr) observer->Line(lineNumber, raw, length, parsed);
    restOfCutLine = line[length - 1] != '\n';
    if (!restOfCutLine) ++lineNumber;
  }
  if (observer != nullptr) {
    observer->End(lineNumber, reinterpret_cast<char*>(line), length);
  }
  delete[] raw;
  delete[] bytes;
  delete[] line;
}

void ImportFile(ConfigSystemImpl& system, ConfigImportObserver* observer) {
  TxString const& folder = system.GetPersistentStorageFolder();
  TxString const first = folder + TxString("/config.ini");
  TxString const second = folder + TxString("/config2.ini");
  File file(first, 0, 0, 0, 0x80, false);  // attributes 0x80, as Import
  TxString const* opened = &first;
  if (file.Open() != 0) {
    if (observer != nullptr) observer->OpenFailed(first.ToLatin1(), errno);
    file.SetFileName(second);
    opened = &second;
    if (file.Open() != 0) {
      if (observer != nullptr) {
        observer->OpenFailed(second.ToLatin1(), errno);
        observer->FileRead(nullptr);
      }
      return;
    }
  }
  if (observer != nullptr) observer->FileRead(opened->ToLatin1());
  InputStreamBuffer stream(file.GetInputStream(), 8192);
  ImportLines(system, stream, observer);
  if (observer != nullptr) {
    unsigned char probe = 0;
    Tevrol::ULong got = 0;
    errno = 0;
    if (file.Read(&probe, 1, &got) == kStreamFailure) observer->ReadFailed(errno);
  }
  file.Close();
}

namespace {

// Printable bytes as they are, others as \xNN, so that a difference can be read.
void Append(std::string& out, char const* bytes, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i) {
    auto const c = static_cast<unsigned char>(bytes[i]);
    if (c >= 0x20 && c < 0x7F && c != '\\') {
      out += static_cast<char>(c);
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      out += hex;
    }
  }
}

void Append(std::string& out, char const* text) {
  if (text == nullptr) {
    out += "(null)";
  } else {
    Append(out, text, std::strlen(text));
  }
}

std::string Names(TxString const& group, TxString const& key) {
  std::string out;
  Append(out, group.ToLatin1());
  out += '/';
  Append(out, key.ToLatin1());
  return out;
}

}  // namespace

bool RecordingSystem::StoreNumericalValue(TxString const& group, TxString const& key,
                                          Tevrol::Long value) {
  calls += "n " + Names(group, key) + "=" + std::to_string(value) + "\n";
  return ConfigSystemImpl::StoreNumericalValue(group, key, value);
}

bool RecordingSystem::StoreStringValue(TxString const& group, TxString const& key,
                                       TxString const& value) {
  calls += "t " + Names(group, key) + "=";
  Append(calls, value.ToLatin1());
  calls += "\n";
  return ConfigSystemImpl::StoreStringValue(group, key, value);
}

bool RecordingSystem::StoreByteArray(TxString const& group, TxString const& key,
                                     unsigned char* data, Tevrol::ULong length) {
  calls += "h " + Names(group, key) + "=";
  Append(calls, reinterpret_cast<char const*>(data), length);
  calls += "\n";
  return ConfigSystemImpl::StoreByteArray(group, key, data, length);
}

void RecordingObserver::FileRead(char const* path) {
  calls += "file ";
  Append(calls, path);
  calls += "\n";
}

void RecordingObserver::OpenFailed(char const* path, int error) {
  calls += "open failed ";
  Append(calls, path);
  calls += " " + std::to_string(error) + "\n";
}

void RecordingObserver::Line(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length,
                             ConfigLine const& parsed) {
  calls += std::to_string(lineNumber) + ": ";
  Append(calls, raw, length + 1);  // with the zero byte behind it
  calls += " kind " + std::to_string(static_cast<int>(parsed.kind)) + " note " +
           std::to_string(static_cast<int>(parsed.note)) + " name ";
  Append(calls, parsed.name);
  calls += " text ";
  Append(calls, parsed.text);
  calls += " number " + std::to_string(parsed.number) + " bytes " +
           std::to_string(parsed.byteCount) + "\n";
}

void RecordingObserver::End(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length) {
  calls += "end " + std::to_string(lineNumber) + ": ";
  Append(calls, raw, length);
  calls += "\n";
}

void RecordingObserver::ReadFailed(int error) {
  calls += "read failed " + std::to_string(error) + "\n";
}

}  // namespace ConfigImportModel
