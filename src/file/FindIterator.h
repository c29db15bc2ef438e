#ifndef TEVROL_FILE_FINDITERATOR_H
#define TEVROL_FILE_FINDITERATOR_H

#include <cstdint>

#include "file/Path.h"
#include "frame/TevrolExport.h"
#include "frame/text/TxStringArray.h"

namespace Tevrol {
namespace File {

// Walks the names one search found (FileOperations::FindFiles). It holds a
// snapshot and never touches the file system. There is no end accessor: the
// end is an iterator that dereferences to the empty path, such as
// FindIterator(), so a walk runs while it != FindIterator(). Equality compares
// the full paths the two iterators stand at, not their positions.
class TEVROL_EXPORT FindIterator {
 public:
  // No search behind it: m_index -999, always the empty path.
  FindIterator();
  // m_index 0 with at least one name, -1 without.
  FindIterator(Path const& base, TxStringArray const& names);
  // The copy stands where the original stands and moves on by itself.
  FindIterator(FindIterator const& other);
  FindIterator& operator=(FindIterator const& other);

  // Moves on while within the names; stops at the size.
  FindIterator& operator++();
  // base + name at the current index, or Path(NULLString) when out of range
  // or the name is empty. An entry name that Path cannot append (':' at index
  // 1, "/", or a name that normalises to nothing) yields the base itself.
  Path operator*() const;
  bool operator==(FindIterator const& other);
  bool operator!=(FindIterator const& other);

  TEVROL_INTERNAL std::int32_t GetIndexForTesting() const { return m_index; }

 private:
  // FindFiles reads the names straight into the iterator it returns, sparing
  // a copy of the whole array.
  friend class FileOperations;

  Path m_base;
  TxStringArray m_names;
  std::int32_t m_index;  // -999 default, -1 nothing found, 0..size
};

}  // namespace File
}  // namespace Tevrol

#endif
