#ifndef TEVROL_TESTS_FILE_PATHMODEL_H
#define TEVROL_TESTS_FILE_PATHMODEL_H

// Path's construction as the documented steps put it, literally: trimmed,
// "\\\\" turned into "file://", backslashes replaced, the network part split
// off, and the rest brought to the local normal form by repeated whole-text
// replacements. Slow and plain on purpose: Path must give exactly what this
// gives, text and network part alike, for every input. Used by the tests,
// the fuzz target and the benchmark's floor; never by the library.
#include "file/PathConstants.h"
#include "frame/TevrolTypes.h"
#include "frame/text/TxString.h"

class PathModel : public TxString {
 public:
  explicit PathModel(TxString const& text) : TxString(text.Trimmed()), m_networkPart(-1) {
    using namespace Tevrol::File;
    TxChar const& backslash = Get_win32pathSep();
    if (GetLength() >= 3 && GetAt(0) == backslash && GetAt(1) == backslash) {
      TxString::operator=(Get_fileURI() + Mid(2, -1));
    }
    Replace(backslash, Get_pathSep());
    if (!IsNetworkPath(*this)) {
      Init(*this);
      return;
    }
    const Tevrol::Long networkPart = FindNetworkPart(*this);
    if (networkPart < 0) {
      // Trimmed again and repeated until nothing changes.
      for (Tevrol::Long length = -1; length != GetLength();) {
        length = GetLength();
        Init(*this);
        TxString::operator=(Trimmed());
      }
      return;
    }
    const TxString prefix = Left(networkPart);
    TxString::operator=(Mid(networkPart, -1));
    Init(*this);
    Prepend(prefix);
    m_networkPart = networkPart;
  }

  // Path::Init: the local normal form of the whole text, in place.
  static void Init(TxString& text) {
    using namespace Tevrol::File;
    while (text.Contains(Get_doubleSlash())) {
      text.Replace(Get_doubleSlash(), Get_singleSlash());
    }
    bool chop = text.GetLength() > 1;
    TxChar const& drvSep = Get_drvSep();
    const Tevrol::Long colons = text.Count(drvSep);
    if (colons == 1 && text.IndexOf(drvSep, 0) == 1) {
      chop = text.GetLength() > 3;
    } else if (colons > 0) {
      text.Remove(drvSep);
    }
    if (chop && text.EndsWith(Get_pathSep())) {
      text.Chop(1);
    }
    if (text.GetSize() > 1024) {
      text.Truncate(1024);
    }
  }

  Tevrol::Long NetworkPart() const { return m_networkPart; }

 private:
  static bool IsNetworkPath(TxString const& text) {
    return text.StartsWith(Tevrol::File::Get_fileURI(), TxString::CaseInsensitive);
  }
  static Tevrol::Long FindNetworkPart(TxString const& text) {
    const Tevrol::Long slash = text.IndexOf(Tevrol::File::Get_pathSep(), 7);
    if (slash < 0 || text.Count(Tevrol::File::Get_drvSep()) < 2) {
      return slash;
    }
    return slash + 1;
  }

  Tevrol::Long m_networkPart;
};

#endif
