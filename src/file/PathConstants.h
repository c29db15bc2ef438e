#ifndef TEVROL_FILE_PATHCONSTANTS_H
#define TEVROL_FILE_PATHCONSTANTS_H

#include "frame/TevrolExport.h"
#include "frame/text/TxChar.h"
#include "frame/text/TxString.h"

// The separators and names shared by all path code. Each accessor returns a
// function-local static, built at its first use (safe during static
// initialisation and from any thread) and destroyed at process exit; after
// that the object is only read, so any thread may use it without a lock.
namespace Tevrol {
namespace File {

TEVROL_EXPORT TxString const& Get_fileURI();      // "file://"
TEVROL_EXPORT TxString const& Get_singleSlash();  // "/"
TEVROL_EXPORT TxString const& Get_doubleSlash();  // "//"
TEVROL_EXPORT TxChar const& Get_pathSep();        // '/'
TEVROL_EXPORT TxChar const& Get_win32pathSep();   // '\\'
TEVROL_EXPORT TxChar const& Get_drvSep();         // ':'

// Defined here so that the library and every client share one exported
// object of each name.
TEVROL_EXPORT inline TxString const& Get_dotLeaf() {
  static const TxString dotLeaf(".");
  return dotLeaf;
}
TEVROL_EXPORT inline TxString const& Get_dotdotLeaf() {
  static const TxString dotdotLeaf("..");
  return dotdotLeaf;
}
TEVROL_EXPORT inline TxString const& Get_starLeaf() {
  static const TxString starLeaf("*");
  return starLeaf;
}
TEVROL_EXPORT inline TxString const& Get_questionmarkLeaf() {
  static const TxString qm("?");
  return qm;
}

// '<', '>', '|' and '"', then 18 entries of value 0. Constant-initialised:
// the table is complete before any code of the process runs, and is never
// written afterwards.
extern TEVROL_EXPORT const TxChar illegalSpecialChars[22];

}  // namespace File
}  // namespace Tevrol

#endif
