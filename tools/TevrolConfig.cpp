// tevrol_config: checks a configuration folder and shows what it gives the
// store.
//
// The file format drops, without a word, every line it does not take: an
// indented header, a blank before "=", a missing closing double quote, a
// last line without a line end. And some lines are taken otherwise than they
// look: a number written in decimal is read as hexadecimal. This tool reads a
// folder exactly as ConfigSystem::Import does (it is Import, with an
// observer), prints the store that results, and says which lines were
// dropped or misread and why. docs/config-format.md describes the format.
//
//   tevrol_config [--lines] [--json] FOLDER
//
// Exit status: 0 when every line was read as written or is a blank line or a
// comment; 1 when a line was dropped or misread; 2 for a wrong call; 3 when
// FOLDER/config.ini exists but cannot be opened or read, or when neither
// FOLDER/config.ini nor FOLDER/config2.ini opens (3 wins over 1). Results go
// to standard output, errors and the warning about a fallback to
// config2.ini to standard error.

#include <cstdio>
#include <cstring>
#include <string>

#include "ConfigFindings.h"
#include "ConfigReport.h"
#include "config/ConfigSystemImpl.h"
#include "config/ConfigSystemManager.h"
#include "frame/Accessors.h"

namespace {

constexpr char kUsage[] =
    "usage: tevrol_config [--lines] [--json] FOLDER\n"
    "\n"
    "Reads FOLDER/config.ini, or FOLDER/config2.ini when config.ini cannot be opened,\n"
    "exactly as the configuration store does, prints the store it gives and names\n"
    "every line that was dropped or read otherwise than written, with the reason.\n"
    "\n"
    "  --lines  also list blank lines and comments, which never fail\n"
    "  --json   print the same as one JSON object (fields: docs/config-format.md)\n"
    "  --help   print this text\n"
    "\n"
    "Exit status: 0 clean; 1 a line was dropped or misread; 2 wrong call;\n"
    "3 config.ini exists but cannot be opened or read, or neither file opens.\n"
    "The file format and its limits: docs/config-format.md in the source tree\n"
    "(share/doc/tevrol-tools/config-format.md when installed).\n";

// Errors and the fallback warning on standard error; the exit status for
// opening and reading: 3, or 0 when both went well.
int ReportFileProblems(ConfigFindingCollector const& findings, char const* folder) {
  int status = 0;
  auto const& errors = findings.OpenErrors();
  for (ConfigOpenError const& error : errors) {
    // A missing config.ini is normal when config2.ini is used.
    if (error.missing && !findings.File().empty()) continue;
    std::fprintf(stderr, "tevrol_config: cannot open %s: %s\n", error.path.c_str(),
                 std::strerror(error.error));
  }
  if (findings.File().empty()) {
    std::fprintf(stderr,
                 "tevrol_config: neither %s/config.ini nor %s/config2.ini opens: "
                 "nothing is read\n",
                 folder, folder);
    return 3;
  }
  if (!errors.empty()) {
    // config.ini did not open; config2.ini was read in its place.
    std::fprintf(stderr, "tevrol_config: warning: %s is read, because %s %s\n",
                 findings.File().c_str(), errors.front().path.c_str(),
                 errors.front().missing ? "does not exist" : "cannot be opened");
    if (!errors.front().missing) status = 3;
  }
  if (findings.ReadError() != 0) {
    std::fprintf(stderr,
                 "tevrol_config: cannot read %s: %s; the store holds only what was read before, "
                 "and %s is not tried\n",
                 findings.File().c_str(), std::strerror(findings.ReadError()),
                 errors.empty() ? "config2.ini" : "no other file");
    status = 3;
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  bool allLines = false;
  bool json = false;
  char const* folder = nullptr;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (std::strcmp(argv[i], "--lines") == 0) {
      allLines = true;
    } else if (std::strcmp(argv[i], "--json") == 0) {
      json = true;
    } else if (argv[i][0] == '-' || folder != nullptr) {
      std::fprintf(stderr, "tevrol_config: unexpected argument \"%s\"\n\n%s", argv[i], kUsage);
      return 2;
    } else {
      folder = argv[i];
    }
  }
  if (folder == nullptr) {
    std::fprintf(stderr, "tevrol_config: no folder given\n\n%s", kUsage);
    return 2;
  }

  // Built by the manager, as every client's store is.
  auto* const system = static_cast<ConfigSystemImpl*>(
      ConfigSystemManager_GetInstance()->GetConfigSystem("tevrol_config"));
  system->SetPersistentStorageFolder(folder);
  ConfigFindingCollector findings;
  system->ImportFile(&findings);

  ConfigCheckResult result;
  result.folder = folder;
  result.findings = &findings;
  result.store = SnapshotStore(*system);
  const int fileStatus = ReportFileProblems(findings, folder);
  result.exitStatus = fileStatus != 0 ? fileStatus : CountFailing(findings) > 0 ? 1 : 0;
  if (json) {
    PrintJsonReport(stdout, result);
  } else {
    PrintTextReport(stdout, result, allLines);
  }
  return result.exitStatus;
}
