#ifndef TEVROL_TOOLS_CONFIGFINDINGS_H
#define TEVROL_TOOLS_CONFIGFINDINGS_H

#include <string>
#include <vector>

#include "config/ConfigLineParser.h"

// What the configuration checker finds in one import: the files that did not
// open, a failed read, and one finding per line that was not taken as
// written. A line over 1023 bytes, which the reader hands on in pieces, gives
// one finding for all its pieces.

struct ConfigFinding {
  unsigned long line = 0;
  bool fails = false;  // settings may be lost or misread; comments and blank lines never fail
  std::string id;      // stable name of the finding, e.g. "indented-line"
  std::string message;
  std::string excerpt;  // the start of the line, escaped
};

struct ConfigOpenError {
  std::string path;
  int error = 0;
  bool missing = false;  // the file does not exist; any other error means it exists
};

class ConfigFindingCollector : public ConfigImportObserver {
 public:
  void FileRead(char const* path) override;
  void OpenFailed(char const* path, int error) override;
  void Line(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length,
            ConfigLine const& parsed) override;
  void End(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length) override;
  void ReadFailed(int error) override;

  std::string const& File() const { return m_file; }  // "" when no file opened
  std::vector<ConfigOpenError> const& OpenErrors() const { return m_openErrors; }
  int ReadError() const { return m_readError; }  // 0 when every read succeeded
  std::vector<ConfigFinding> const& Findings() const { return m_findings; }

 private:
  // One piece of a line as the reader handed it on.
  struct Piece {
    unsigned long length = 0;
    ConfigLineKind kind = ConfigLineKind::Ignored;
    ConfigLineNote note = ConfigLineNote::None;
    bool startsLikeLine = false;  // "[" or a double quote first
    bool endsLine = false;        // holds the line end
    bool dropped = false;         // bytes behind the last line end, never read
    bool byteOrderMark = false;   // starts with EF BB BF
    char afterMark = '\0';        // the byte behind the mark
    long number = 0;
    std::string name;   // group or key name
    std::string group;  // the group a key piece went to
    std::string excerpt;
  };

  void Flush();
  void AddSingle(Piece const& piece);
  void AddCut();
  void AddByteOrderMark(Piece const& first);
  static std::string Became(Piece const& piece, bool first);

  std::string m_file;
  std::vector<ConfigOpenError> m_openErrors;
  int m_readError = 0;
  std::vector<ConfigFinding> m_findings;
  std::string m_group;  // the current group, as the reader sees it
  unsigned long m_pendingLine = 0;
  std::vector<Piece> m_pending;  // the pieces of line m_pendingLine
};

// Printable bytes as they are; line ends, tabs and other bytes escaped.
std::string EscapedBytes(char const* bytes, std::size_t length);
// The first 60 bytes of a line, escaped, with "..." when there are more.
std::string LineExcerpt(char const* raw, std::size_t length);

#endif
