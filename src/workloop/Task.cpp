#include "workloop/Task.h"

#include "frame/Accessors.h"
#include "names/TevrolIdProvider.h"

namespace {
// One constant pointer, so all unnamed tasks share one id.
char const kNoName[] = "no_name";
}  // namespace

Task::Task() : m_id(TevrolIdProvider_GetInstance()->AddName(kNoName)) {}

Task::Task(char const* name) : m_id(TevrolIdProvider_GetInstance()->AddName(name)) {}

Task::Task(Task const& other) : m_id(other.m_id) {}

Task& Task::operator=(Task const& other) {
  if (this != &other) m_id = other.m_id;
  return *this;
}

Task::~Task() = default;

char const* Task::GetFriendlyName() const {
  return reinterpret_cast<char const*>(m_id);
}

Tevrol::Word Task::GetId() const {
  return m_id;
}
