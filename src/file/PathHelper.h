#ifndef TEVROL_FILE_PATHHELPER_H
#define TEVROL_FILE_PATHHELPER_H

#include "file/Path.h"
#include "frame/TevrolExport.h"

namespace Tevrol {
namespace File {

// Path services on Path, all static; any thread may call them. A relative
// path is relative to the folder of the running executable.
class TEVROL_EXPORT PathHelper {
 public:
  // The leaf is "." or "..": true for "/x/..", "." and "a/.", not "/x/..a".
  static bool IsDotDirectory(Path const& path);
  // file = Path(path.GetLeaf()), folder = path.GetParent(): "/a" gives "/"
  // and "a", "a" gives "" and "a". folder or file may be path itself. Always true.
  static bool CutFileName(Path const& path, Path& folder, Path& file);
  // The executable's folder, without a trailing '/'; empty when the
  // executable's path cannot be read.
  static Path GetExecutableFolder();
  // path itself when it IsAbsolute ("C:/x" included), else the executable
  // folder /= path; a relative path that holds ':' or ends with '/' cannot
  // be appended and gives the folder alone.
  static Path CreateAbsolutePath(Path const& path);
  static Path CreateAbsolutePath(char const* path);
  // Builds the shared "." and ".." texts, so that they exist from then on.
  static void StartUp();
};

}  // namespace File
}  // namespace Tevrol

#endif
