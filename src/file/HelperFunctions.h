#ifndef TEVROL_FILE_HELPERFUNCTIONS_H
#define TEVROL_FILE_HELPERFUNCTIONS_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "frame/text/TxString.h"

// Path services on plain texts, all static. A relative path is relative to
// the folder of the running executable, not to the working directory.
// ESCAPE and SEPARATOR are read anew at every call, so a caller may point
// them at other zero-terminated texts (of any length) before calling; an
// empty or null one never matches. Any thread may call, as long as no
// thread changes the two variables meanwhile.
class TEVROL_EXPORT HelperFunctions {
 public:
  static char const* ESCAPE;     // "\\", one backslash
  static char const* SEPARATOR;  // "/"

  // getcwd with 1024 bytes; when it fails, the strerror text of its errno,
  // with no other sign of the failure.
  static TxString GetCurrentWorkingDirectory();
  // The first argument of the process as it was started; not made absolute.
  static TxString GetExecutableNameWithFolder();
  // The executable's folder with its trailing '/' (a literal '/', not
  // SEPARATOR). A path without '/' is returned whole. Empty when the path of
  // the executable cannot be read.
  static TxString GetExecutableFolder();
  // Splits text behind its last unescaped SEPARATOR: folder gets the text up
  // to and with it, file the rest. The character behind an ESCAPE is never
  // a separator. Without such a separator, or with one only at index 0,
  // folder becomes empty and file the whole text:
  //   "a/b/c" -> "a/b/", "c"     "/file" -> "", "/file"
  //   "a/"    -> "a/", ""        "a/b\\/c" -> "a/", "b\\/c"
  static void CutFileName(TxString const& text, TxString& folder, TxString& file);
  // The first character equals SEPARATOR (so a SEPARATOR of more than one
  // character never matches); false for the empty text. Knows no drive or
  // "file://" notation: "C:/x" is relative here.
  static bool IsAbsolutePath(TxString const& text);
  // result = path when it is absolute, else the executable folder, SEPARATOR
  // unless the folder ends with it, and path. While the executable's folder
  // is unknown (empty), path is given back unchanged. Always true.
  static bool CreateAbsolutePath(TxString const& path, TxString& result);
};

#endif
