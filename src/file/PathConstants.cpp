#include "file/PathConstants.h"

namespace Tevrol {
namespace File {

TxString const& Get_fileURI() {
  static const TxString fileURI("file://");
  return fileURI;
}

TxString const& Get_singleSlash() {
  static const TxString singleSlash("/");
  return singleSlash;
}

TxString const& Get_doubleSlash() {
  static const TxString doubleSlash("//");
  return doubleSlash;
}

TxChar const& Get_pathSep() {
  static const TxChar pathSep('/');
  return pathSep;
}

TxChar const& Get_win32pathSep() {
  static const TxChar win32pathSep('\\');
  return win32pathSep;
}

TxChar const& Get_drvSep() {
  static const TxChar drvSep(':');
  return drvSep;
}

// constexpr constructors and a trivial destructor: no code runs at load or exit.
const TxChar illegalSpecialChars[22] = {TxChar('<'), TxChar('>'), TxChar('|'), TxChar('"')};

}  // namespace File
}  // namespace Tevrol
