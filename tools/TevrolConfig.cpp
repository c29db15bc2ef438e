// tevrol_config: shows what a configuration folder gives the store.
//
// The file format ignores, without a word, every line it does not take: a
// blank before "=", a missing closing double quote, a last line without a
// line end. And some lines are taken otherwise than they look: a number
// written in decimal is read as hexadecimal. This tool reads a folder exactly
// as ConfigSystem::Import does (it is Import, with an observer), prints the
// store that results, and says which lines were dropped or misread and why.
//
//   tevrol_config [--lines] FOLDER
//
// Exit status: 0 when every header and key line was read as written; 1 when a
// line that starts with "[" or a double quote was dropped or misread, or the
// last line has no line end; 2 for a wrong call; 3 when neither
// FOLDER/config.ini nor FOLDER/config2.ini can be opened. Other ignored
// lines (blank lines, comments) never fail; --lines lists them too.

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "config/ConfigLineParser.h"
#include "config/ConfigSystemImpl.h"
#include "config/ConfigSystemManager.h"
#include "frame/Accessors.h"

namespace {

std::string Escaped(char const* bytes, std::size_t length) {
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

std::string Escaped(char const* text) {
  return Escaped(text, std::strlen(text));
}

// A line of a file as a short, printable excerpt.
std::string Excerpt(char const* raw, std::size_t length) {
  constexpr std::size_t kShown = 60;
  std::string text = Escaped(raw, length < kShown ? length : kShown);
  if (length > kShown) text += "...";
  return text;
}

struct Report {
  std::size_t line;
  bool fails;
  std::string what;
};

// Collects every line that was not taken as written.
class LineJournal : public ConfigImportObserver {
 public:
  void FileRead(char const* path) override {
    if (path != nullptr) m_file = path;
  }
  void Line(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length,
            ConfigLine const& parsed) override {
    if (parsed.note == ConfigLineNote::None) return;
    const bool ignored = parsed.kind == ConfigLineKind::Ignored;
    // Only header and key lines fail: other ignored lines are comments.
    const bool fails = length > 0 && (raw[0] == '[' || raw[0] == '"');
    m_reports.push_back({lineNumber, fails,
                         std::string(ignored ? "ignored: " : "read otherwise: ") +
                             DescribeConfigLineNote(parsed.note) + "\n      " +
                             Excerpt(raw, length)});
  }
  void End(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length) override {
    if (length == 0) return;
    bool blank = true;
    for (Tevrol::ULong i = 0; i < length; ++i) {
      blank = blank && std::strchr(" \t\r\v\f", raw[i]) != nullptr && raw[i] != '\0';
    }
    // Blanks alone behind the last line end lose nothing.
    m_reports.push_back({lineNumber, !blank,
                         "ignored: the last line has no line end, so it is no line\n      " +
                             Excerpt(raw, length)});
  }

  bool Opened() const { return !m_file.empty(); }
  std::string const& File() const { return m_file; }
  std::vector<Report> const& Reports() const { return m_reports; }

 private:
  std::string m_file;
  std::vector<Report> m_reports;
};

// The store, group by group and key by key in byte order.
void PrintStore(ConfigSystemImpl& system) {
  std::map<std::string, std::map<std::string, std::string>> groups;
  system.WalkStore([&](char const* group, ConfigKeyDataContainer* value) {
    auto& keys = groups[group];
    if (value == nullptr) return;
    Tevrol::Long number = 0;
    TxString text;
    unsigned char* data = nullptr;
    Tevrol::ULong size = 0;
    char buffer[64];
    std::string shown;
    if (value->GetNumericalValue(number)) {
      std::snprintf(buffer, sizeof buffer, "number %ld (0x%08lx)", static_cast<long>(number),
                    static_cast<unsigned long>(static_cast<Tevrol::ULong>(number)));
      shown = buffer;
    } else if (value->GetStringValue(text)) {
      shown = "text \"" + Escaped(text.ToLatin1()) + "\"";
    } else if (value->GetDataChunk(data, size)) {
      std::snprintf(buffer, sizeof buffer, "bytes (%lu):", static_cast<unsigned long>(size));
      shown = buffer;
      for (Tevrol::ULong i = 0; i < size; ++i) {
        std::snprintf(buffer, sizeof buffer, " %02x", data[i]);
        shown += buffer;
      }
    } else {
      shown = "no value";
    }
    keys[value->GetKeyName()] = shown;
  });
  if (groups.empty()) std::printf("(the store is empty)\n");
  for (auto const& group : groups) {
    std::printf("[%s]\n", Escaped(group.first.c_str()).c_str());
    for (auto const& key : group.second) {
      std::printf("  \"%s\" = %s\n", Escaped(key.first.c_str()).c_str(), key.second.c_str());
    }
  }
}

int Usage() {
  std::fprintf(stderr,
               "usage: tevrol_config [--lines] FOLDER\n"
               "  Reads FOLDER/config.ini, or else FOLDER/config2.ini, as the configuration\n"
               "  store does and prints the store. Exit 1 when a header or key line was\n"
               "  dropped or misread; --lines also lists blank lines and comments.\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  bool allLines = false;
  char const* folder = nullptr;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--lines") == 0) {
      allLines = true;
    } else if (argv[i][0] == '-' || folder != nullptr) {
      return Usage();
    } else {
      folder = argv[i];
    }
  }
  if (folder == nullptr) return Usage();

  // Built by the manager, as every client's store is.
  auto* const system = static_cast<ConfigSystemImpl*>(
      ConfigSystemManager_GetInstance()->GetConfigSystem("tevrol_config"));
  system->SetPersistentStorageFolder(folder);
  LineJournal journal;
  system->ImportFile(&journal);
  if (!journal.Opened()) {
    std::printf("Neither %s/config.ini nor %s/config2.ini can be opened: nothing is read.\n",
                folder, folder);
    return 3;
  }
  std::printf("Read %s\n\n", journal.File().c_str());
  PrintStore(*system);

  std::size_t failing = 0;
  for (Report const& report : journal.Reports()) failing += report.fails ? 1 : 0;
  const std::size_t others = journal.Reports().size() - failing;
  if (failing > 0 || (allLines && others > 0)) std::printf("\n");
  for (Report const& report : journal.Reports()) {
    if (!report.fails && !allLines) continue;
    std::printf("%s line %zu: %s\n", report.fails ? "FAIL" : "    ", report.line,
                report.what.c_str());
  }
  std::printf("\n%zu header or key line(s) dropped or misread, %zu other line(s) ignored%s\n",
              failing, others, allLines || others == 0 ? "" : " (--lines lists them)");
  return failing > 0 ? 1 : 0;
}
