#include "file/PathHelper.h"

#include "file/HelperFunctions.h"

namespace Tevrol {
namespace File {

bool PathHelper::IsDotDirectory(Path const& path) {
  const TxString leaf = path.GetLeaf();
  return leaf == Get_dotLeaf() || leaf == Get_dotdotLeaf();
}

bool PathHelper::CutFileName(Path const& path, Path& folder, Path& file) {
  // Both parts are taken before either is assigned: either may be path itself.
  Path leaf(path.GetLeaf());
  Path parent = path.GetParent();
  file = leaf;
  folder = parent;
  return true;
}

Path PathHelper::GetExecutableFolder() {
  return Path(HelperFunctions::GetExecutableFolder());
}

Path PathHelper::CreateAbsolutePath(Path const& path) {
  if (path.IsAbsolute()) {
    return path;
  }
  Path absolute = GetExecutableFolder();
  absolute /= path;
  return absolute;
}

Path PathHelper::CreateAbsolutePath(char const* path) {
  return CreateAbsolutePath(Path(TxString(path)));
}

void PathHelper::StartUp() {
  // Copies taken and dropped: only the construction of the statics matters.
  static_cast<void>(TxString(Get_dotLeaf()));
  static_cast<void>(TxString(Get_dotdotLeaf()));
}

}  // namespace File
}  // namespace Tevrol
