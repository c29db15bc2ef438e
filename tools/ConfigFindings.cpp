#include "ConfigFindings.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

constexpr unsigned long kLinePiece = kConfigLineBufferSize - 1;  // 1023 bytes

char const* NoteId(ConfigLineNote note) {
  switch (note) {
    case ConfigLineNote::None:
      return "";
    case ConfigLineNote::Blank:
      return "blank-line";
    case ConfigLineNote::Comment:
      return "comment";
    case ConfigLineNote::LeadingBlank:
      return "indented-line";
    case ConfigLineNote::KeyBeforeGroup:
      return "key-before-group";
    case ConfigLineNote::KeyNameUnclosed:
      return "key-name-unclosed";
    case ConfigLineNote::BlankBeforeEquals:
      return "blank-before-equals";
    case ConfigLineNote::NoEquals:
      return "no-equals";
    case ConfigLineNote::TextUnclosed:
      return "text-unclosed";
    case ConfigLineNote::NoColon:
      return "no-colon";
    case ConfigLineNote::UnknownValueKind:
      return "unknown-value-type";
    case ConfigLineNote::CutLineRest:
    case ConfigLineNote::LineCut:
      return "line-too-long";
    case ConfigLineNote::ZeroByte:
      return "zero-byte";
    case ConfigLineNote::HeaderUnclosed:
      return "header-unclosed";
    case ConfigLineNote::TrailingBytes:
      return "trailing-bytes";
    case ConfigLineNote::NumberNoDigits:
      return "number-no-digits";
    case ConfigLineNote::NumberTooLong:
      return "number-too-long";
    case ConfigLineNote::NumberLooksDecimal:
      return "number-looks-decimal";
    case ConfigLineNote::BytesMisaligned:
      return "bytes-misaligned";
  }
  return "";
}

bool IsCommentOrBlank(ConfigLineNote note) {
  return note == ConfigLineNote::Comment || note == ConfigLineNote::Blank;
}

std::string Quoted(std::string const& name) {
  return LineExcerpt(name.data(), name.size());
}

}  // namespace

std::string EscapedBytes(char const* bytes, std::size_t length) {
  std::string out;
  for (std::size_t i = 0; i < length; ++i) {
    const auto c = static_cast<unsigned char>(bytes[i]);
    if (c == '\r') {
      out += "\\r";
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c >= 0x20 && c < 0x7F && c != '\\') {
      out += static_cast<char>(c);
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      out += hex;
    }
  }
  return out;
}

std::string LineExcerpt(char const* raw, std::size_t length) {
  constexpr std::size_t kShown = 60;
  std::string text = EscapedBytes(raw, length < kShown ? length : kShown);
  if (length > kShown) text += "...";
  return text;
}

void ConfigFindingCollector::FileRead(char const* path) {
  if (path != nullptr) m_file = path;
}

void ConfigFindingCollector::OpenFailed(char const* path, int error) {
  m_openErrors.push_back({path != nullptr ? path : "", error, error == ENOENT});
}

void ConfigFindingCollector::Line(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length,
                                  ConfigLine const& parsed) {
  if (lineNumber != m_pendingLine) Flush();
  m_pendingLine = lineNumber;
  Piece piece;
  piece.length = length;
  piece.kind = parsed.kind;
  piece.note = parsed.note;
  piece.startsLikeLine = length > 0 && (raw[0] == '[' || raw[0] == '"');
  piece.endsLine = length > 0 && raw[length - 1] == '\n';
  piece.byteOrderMark = length >= 3 && std::memcmp(raw, "\xEF\xBB\xBF", 3) == 0;
  if (piece.byteOrderMark && length > 3) piece.afterMark = raw[3];
  piece.number = static_cast<long>(parsed.number);
  if (parsed.name != nullptr) piece.name = parsed.name;
  if (parsed.kind == ConfigLineKind::Group) m_group = piece.name;
  piece.group = m_group;
  piece.excerpt = LineExcerpt(raw, length);
  m_pending.push_back(piece);
}

void ConfigFindingCollector::End(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length) {
  if (length > 0 && lineNumber == m_pendingLine && !m_pending.empty() &&
      !m_pending.back().endsLine) {
    // The rest of a cut line, with no line end behind it.
    Piece rest;
    rest.length = length;
    rest.dropped = true;
    m_pending.push_back(rest);
    Flush();
    return;
  }
  Flush();
  if (length == 0) return;
  bool blank = true;
  for (Tevrol::ULong i = 0; i < length; ++i) {
    blank = blank && raw[i] != '\0' && std::strchr(" \t\r\v\f", raw[i]) != nullptr;
  }
  // Blanks alone behind the last line end lose nothing.
  m_findings.push_back({lineNumber, !blank, "no-line-end",
                        "The last line has no line end, so it is not read. End the file with a "
                        "line break.",
                        LineExcerpt(raw, length)});
}

void ConfigFindingCollector::ReadFailed(int error) {
  Flush();
  m_readError = error != 0 ? error : EIO;
}

void ConfigFindingCollector::Flush() {
  if (m_pending.empty()) return;
  Piece const& first = m_pending.front();
  const bool cut = m_pending.size() > 1 || (!first.endsLine && first.length >= kLinePiece);
  const bool mark = m_pendingLine == 1 && first.byteOrderMark;
  if (mark) AddByteOrderMark(first);
  if (cut) {
    AddCut();
  } else if (!mark) {
    AddSingle(first);
  }
  m_pending.clear();
}

void ConfigFindingCollector::AddSingle(Piece const& piece) {
  if (piece.note == ConfigLineNote::None) return;
  std::string message;
  if (piece.kind == ConfigLineKind::Number) {
    char value[64];
    std::snprintf(value, sizeof value, "It is read as %ld (0x%08lx). ", piece.number,
                  static_cast<unsigned long>(piece.number) & 0xFFFFFFFFul);
    message = value;
  }
  message += DescribeConfigLineNote(piece.note);
  m_findings.push_back(
      {m_pendingLine, !IsCommentOrBlank(piece.note), NoteId(piece.note), message, piece.excerpt});
}

void ConfigFindingCollector::AddByteOrderMark(Piece const& first) {
  std::string message =
      "The file starts with a UTF-8 byte order mark (bytes EF BB BF), which the format does "
      "not know, so line 1 is taken for a comment.";
  if (first.afterMark == '[') {
    message +=
        " Its group header is dropped, and so are the key lines behind it up to the next "
        "header.";
  } else if (first.afterMark == '"') {
    message += " Its key line is dropped.";
  }
  message += " Save the file without the mark.";
  m_findings.push_back({1, true, "byte-order-mark", message, first.excerpt});
}

std::string ConfigFindingCollector::Became(Piece const& piece, bool first) {
  if (piece.dropped) return "never read, since no line end follows them";
  switch (piece.kind) {
    case ConfigLineKind::Group:
      return std::string(first ? "the header" : "a header of its own") + " of group [" +
             Quoted(piece.name) + "]";
    case ConfigLineKind::Text:
    case ConfigLineKind::Number:
    case ConfigLineKind::Bytes:
      return first ? "key \"" + Quoted(piece.name) + "\" in group [" + Quoted(piece.group) +
                         "], with its value cut at the limit"
                   : "a key \"" + Quoted(piece.name) + "\" of its own in group [" +
                         Quoted(piece.group) + "]";
    case ConfigLineKind::Ignored:
      break;
  }
  if (!first) return piece.startsLikeLine ? "a broken header or key line, dropped" : "a comment";
  if (piece.note == ConfigLineNote::Comment) return "a comment";
  if (piece.note == ConfigLineNote::Blank) return "blank";
  return "a broken header or key line, dropped";
}

void ConfigFindingCollector::AddCut() {
  Piece const& first = m_pending.front();
  unsigned long total = 0;
  bool restRead = false;
  for (Piece const& piece : m_pending) {
    total += piece.length;
    restRead = restRead || (&piece != &first && piece.kind != ConfigLineKind::Ignored);
  }
  const bool headerOrKey = first.kind != ConfigLineKind::Ignored || !IsCommentOrBlank(first.note);

  char buffer[256];
  std::snprintf(buffer, sizeof buffer,
                "The line is %lu bytes long, over the limit of %lu bytes a line (its line end "
                "included), so it is cut every %lu bytes and each piece is read as a line of its "
                "own.",
                total, kLinePiece, kLinePiece);
  std::string message = buffer;
  unsigned long from = 1;
  for (Piece const& piece : m_pending) {
    std::snprintf(buffer, sizeof buffer, " Bytes %lu to %lu %s ", from, from + piece.length - 1,
                  &piece == &first ? "are" : "become");
    message += buffer + Became(piece, &piece == &first) + ".";
    from += piece.length;
  }
  if (first.kind == ConfigLineKind::Ignored && !IsCommentOrBlank(first.note)) {
    message +=
        std::string(" Why the first piece is dropped: ") + DescribeConfigLineNote(first.note);
  }
  if (m_pending.size() == 1) {
    message += " The next byte would start a new line; the file ends here without a line end.";
  }
  if (headerOrKey || restRead) message += " Keep every line within 1023 bytes.";
  m_findings.push_back(
      {m_pendingLine, headerOrKey || restRead, "line-too-long", message, first.excerpt});
}
