#ifndef TEVROL_FILE_PATH_H
#define TEVROL_FILE_PATH_H

#include "file/PathConstants.h"
#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "frame/text/TxString.h"

namespace Tevrol {
namespace File {

// A path name: a TxString in one normal form, whatever notation it was built
// from (POSIX, "C:\\dir\\f" or "\\\\srv\\share", "file://host/dir"). Pure text
// handling: it never touches the file system, never resolves "." or "..",
// and keeps the notation, so "C:/x" and "file://h/x" reach the OS unchanged.
//
// The text is a network part ("file://" in any case, up to and including the
// first '/' at or after index 7 when the text holds two or more ':', else
// up to it) followed by a local part that
// - has no "//", no '\\' and no blanks at either end,
// - holds ':' only as a drive separator at its index 1,
// - ends with '/' only when it is "/" or a drive root such as "C:/",
// - has at most 1024 characters (the network part does not count).
// A network text without a '/' at or after index 7 ("file://srv", "file://",
// "file://localhost", and "\\\\srv", which becomes "file://srv") names no
// share: it has no network part (-1) and is normalised whole as a local text,
// until that changes it no more: "file://srv" gives "file/srv", "file://"
// gives "file". Such a path is relative, so FileOperations refuses it rather
// than reach a "file:" folder below the working directory. Built again, the
// text stays as it is.
// Odd input can end outside this list, since construction works in fixed
// steps: a ':' goes after "//" is collapsed ("a/:/b" gives "a//b"), the cut
// to 1024 comes after the trailing '/' goes, and a blank before a final '/'
// stays ("a /" gives "a ").
// Examples (input, text, network part, parent, leaf):
//   "///a//b/"               "/a/b"                    -1  "/a"                "b"
//   "C:\\dir\\"              "C:/dir"                  -1  "C:/"               "dir"
//   "\\\\srv\\share\\f.txt"  "file://srv/share/f.txt"  10  "file://srv/share"  "f.txt"
//   "file://C:/dir"          "file://C:/dir"           10  none                the whole text
//   "a:b:c"                  "abc"                     -1  none                "abc"
//
// Two paths compare by their text alone (TxString's operators). No lock: an
// object belongs to one thread at a time.
class TEVROL_EXPORT Path : public TxString {
 public:
  Path();
  // Not explicit: any text becomes a path once normalised.
  Path(TxString const& text);  // NOLINT(google-explicit-constructor)
  // base, then Append(leaf).
  Path(Path const& base, Path const& leaf);

  // Normalises the whole text in place, without regard to a network part.
  // The constructors call it; callers need not.
  void Init();

  // Adds other as a component. An empty path takes other whole, network
  // part included. Ignored, without a sign, when other is empty, holds ':'
  // or ends with '/' (so "C:/x", "file://h/x" and "/" cannot be appended).
  // A leading '/' of other is not absolute: "a" + "/b" gives "a/b", but
  // "/" + "/b" gives "//b". The result is not normalised and may exceed
  // 1024 characters; the network part of a non-empty path stays.
  Path& Append(Path const& other);
  Path& Append(TxString const& text);  // Append(Path(text))
  Path& operator/=(Path const& other) { return Append(other); }

  // What follows the last '/' outside the network part: empty for "/",
  // "C:/" and "C:". A text with no such '/' is its own leaf ("a", "C:dir",
  // "file://C:/dir").
  TxString GetLeaf() const;
  // False for the empty text, for a text without '/' outside the network
  // part, and for one that ends with '/': "a", "/", "C:/", "file://srv/".
  bool HasParent() const;
  // Goes up one level, keeping a root ("/a" gives "/", "C:/a" gives "C:/");
  // a path without a parent becomes empty.
  Path& ToParent();
  Path GetParent() const;
  // A network part, a leading '/', or a ':' anywhere ("C:", "C:x").
  bool IsAbsolute() const;

  // Builds the shared separators, so that they exist from then on. Any
  // number of calls.
  static void StartUp();

  // Length of the network part, -1 when there is none.
  TEVROL_INTERNAL Tevrol::Long GetNetworkPartForTesting() const { return m_networkPart; }

 private:
  Tevrol::Long m_networkPart;  // leading characters that form the network part; -1: none
};

// Starts with "file://", in any letter case.
TEVROL_EXPORT bool isNetworkPath(TxString const& text);
// For a text that isNetworkPath accepts: the index of the first '/' at or
// after index 7, one more when the text holds two or more ':'. -1 when
// there is no such '/' ("file://srv"), whatever the ':'.
TEVROL_EXPORT Tevrol::Long findNetWorkPart(TxString const& text);
// True when every character is listed in illegalSpecialChars or has a value
// of 31 or more, and for the empty text; so it rejects only the control
// characters 1 to 30 and accepts '<', '>', '|' and '"'. Nothing in the
// library calls it. Does not change text.
TEVROL_EXPORT bool CheckIllegalChars(TxString& text);

}  // namespace File
}  // namespace Tevrol

#endif
