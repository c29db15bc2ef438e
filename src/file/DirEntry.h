#ifndef TEVROL_FILE_DIRENTRY_H
#define TEVROL_FILE_DIRENTRY_H

#include <cstdint>

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "frame/text/TxString.h"

// What the browser reports for one name of a directory: a plain record whose
// fields callers use directly. A plain file comes as the DirEntry part of a
// whole File (m_type 0), a directory as a DirEntry of its own (m_type 1).
// Arrays move entries byte by byte, so no field may point into the object.
class TEVROL_EXPORT DirEntry {
 public:
  static constexpr Tevrol::Long kFileEntry = 0;       // the DirEntry part of a File
  static constexpr Tevrol::Long kDirectoryEntry = 1;  // a DirEntry of its own
  static constexpr Tevrol::Long kNoType = 3;          // nothing stated yet

  DirEntry();
  // Copy and assignment take the five fields in order; the target stays a
  // plain DirEntry even when the source is part of a File.
  DirEntry(DirEntry const& other);
  DirEntry& operator=(DirEntry const& other);
  virtual ~DirEntry();

  TxString m_name;  // leaf name, or the whole name of a File
  Tevrol::Long m_type;
  std::uint64_t m_size;
  TxString m_text2;  // carried along, never set nor read by the library
  TxString m_text3;  // as m_text2
};

#endif
