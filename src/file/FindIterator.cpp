#include "file/FindIterator.h"

namespace Tevrol {
namespace File {

namespace {
constexpr std::int32_t kNoSearch = -999;
constexpr std::int32_t kNothingFound = -1;
}  // namespace

FindIterator::FindIterator() : m_base(NULLString), m_names(), m_index(kNoSearch) {}

FindIterator::FindIterator(Path const& base, TxStringArray const& names)
    : m_base(base), m_names(names), m_index(names.GetSize() > 0 ? 0 : kNothingFound) {}

FindIterator::FindIterator(FindIterator const& other)
    : m_base(other.m_base), m_names(other.m_names), m_index(other.m_index) {}

FindIterator& FindIterator::operator=(FindIterator const& other) {
  if (this != &other) {
    m_base = other.m_base;
    m_names = other.m_names;
    m_index = other.m_index;
  }
  return *this;
}

FindIterator& FindIterator::operator++() {
  if (m_index >= 0 && m_index < m_names.GetSize()) ++m_index;
  return *this;
}

Path FindIterator::operator*() const {
  if (m_index < 0 || m_index >= m_names.GetSize() || m_names[m_index].IsEmpty()) {
    return Path(NULLString);
  }
  return Path(m_base, Path(m_names[m_index]));
}

bool FindIterator::operator==(FindIterator const& other) {
  return **this == *other;
}

bool FindIterator::operator!=(FindIterator const& other) {
  return !(*this == other);
}

}  // namespace File
}  // namespace Tevrol
