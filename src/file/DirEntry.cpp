#include "file/DirEntry.h"

DirEntry::DirEntry() : m_type(kNoType), m_size(0) {}

DirEntry::DirEntry(DirEntry const& other)
    : m_name(other.m_name),
      m_type(other.m_type),
      m_size(other.m_size),
      m_text2(other.m_text2),
      m_text3(other.m_text3) {}

DirEntry& DirEntry::operator=(DirEntry const& other) {
  if (this == &other) return *this;
  // Field by field in declaration order.
  m_name = other.m_name;
  m_type = other.m_type;
  m_size = other.m_size;
  m_text2 = other.m_text2;
  m_text3 = other.m_text3;
  return *this;
}

DirEntry::~DirEntry() = default;
