#ifndef TEVROL_CONFIG_CONFIGLINEPARSER_H
#define TEVROL_CONFIG_CONFIGLINEPARSER_H

#include "frame/TevrolTypes.h"

// Internal: the one reader of configuration file lines, used by
// ConfigSystemImpl::Import and by the configuration tool, which reports what
// Import silently skips. Not installed.

// What a line is.
enum class ConfigLineKind { Ignored, Group, Text, Number, Bytes };

// Why a line is ignored, or how it is read differently than it looks. A
// line of another kind than Ignored with a note other than None is read, but
// not as written.
enum class ConfigLineNote {
  None,
  // Ignored.
  Blank,
  Comment,       // first byte neither "[" nor a double quote
  LeadingBlank,  // a header or key line behind blanks
  KeyBeforeGroup,
  KeyNameUnclosed,
  BlankBeforeEquals,
  NoEquals,
  TextUnclosed,
  NoColon,
  UnknownValueKind,
  CutLineRest,  // the rest of a line over 1023 bytes, which is read as a line of its own
  // Read, but not as it looks.
  LineCut,  // over 1023 bytes: this first piece is read alone
  ZeroByte,
  HeaderUnclosed,
  TrailingBytes,
  NumberNoDigits,
  NumberTooLong,
  NumberLooksDecimal,
  BytesMisaligned
};

// The bytes a line can hold, its line end included, and the collecting
// buffer of a byte array: a line of 1023 bytes holds at most 340 of them.
constexpr Tevrol::ULong kConfigLineBufferSize = 1024;

struct ConfigLine {
  ConfigLineKind kind = ConfigLineKind::Ignored;
  ConfigLineNote note = ConfigLineNote::None;
  char const* name = nullptr;   // group or key name, zero-terminated inside the line
  char const* text = nullptr;   // Text: the value, zero-terminated inside the line
  Tevrol::Long number = 0;      // Number
  Tevrol::ULong byteCount = 0;  // Bytes: how many were written to the caller's buffer
};

// Classifies one line of `length` bytes (the line end included, followed by
// a zero byte) and extracts its parts. The line is changed: names and the
// text are cut with zero bytes in place. `inGroup` says whether a header came
// before; `restOfCutLine` whether the line before was cut at 1023 bytes.
// `bytes` takes a byte array and has room for kConfigLineBufferSize bytes.
void ParseConfigLine(char* line, Tevrol::ULong length, bool inGroup, bool restOfCutLine,
                     unsigned char* bytes, ConfigLine& result);

// One plain sentence for a note, with the form expected where there is one;
// "" for None.
char const* DescribeConfigLineNote(ConfigLineNote note);

// What the configuration tool and tests see of an import: the file read and
// every line with how it was taken. Import itself uses none.
class ConfigImportObserver {
 public:
  virtual ~ConfigImportObserver() = default;
  // The path opened, or null when neither file could be opened.
  virtual void FileRead(char const* path) = 0;
  // A file that could not be opened, with the system's error number; comes
  // before FileRead, once for each file tried in vain.
  virtual void OpenFailed(char const* /*path*/, int /*error*/) {}
  // `raw` is the line as read (zero-terminated behind `length` bytes);
  // `lineNumber` counts line ends, so both pieces of a cut line share one.
  virtual void Line(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length,
                    ConfigLine const& parsed) = 0;
  // The reading ended with `length` bytes that no line end closed (0 when
  // the file ended with a line end); they are dropped.
  virtual void End(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length) = 0;
  // The file opened but a read failed (a folder opens and cannot be read):
  // the reading ended there, as at the end of the file. Comes after End.
  virtual void ReadFailed(int /*error*/) {}
};

#endif
