#include "file/FolderScanPD.h"

#include <dirent.h>
#include <pthread.h>
#include <regex.h>

#include <cstddef>
#include <new>

struct FolderScanPD::State {
  DIR* folder = nullptr;
  regex_t filter;
  bool filterValid = false;
};

namespace {

// Up to here regcomp stays within a few KiB of stack (measured on glibc).
constexpr int kInlineStars = 16;
constexpr std::size_t kCompileStackBytes = std::size_t{8} << 20;

bool CompilesInline(char const* expression) {
  int stars = 0;
  for (char const* at = expression; *at != '\0'; ++at) {
    if (*at == '*' && ++stars > kInlineStars) return false;
    if (*at == '\\') {
      if (at[1] != '.') return false;
      ++at;
    }
  }
  return true;
}

struct CompileJob {
  regex_t* compiled;
  char const* expression;
  int result;
};

void* CompileOnThread(void* argument) {
  auto* const job = static_cast<CompileJob*>(argument);
  job->result = regcomp(job->compiled, job->expression, REG_ICASE);
  return nullptr;
}

// regcomp with REG_ICASE alone. glibc's regcomp needs stack in proportion to
// the nesting of groups and to runs of repetitions (about 170 KiB for 255
// nested groups), while a library thread has 64 KiB: an expression with a
// backslash other than "\\." or with more than 16 '*' is compiled on a
// helper thread with a stack of 8 MiB, what a main thread has. When that
// thread cannot start, the result is REG_ESPACE.
int CompileWildcard(regex_t& compiled, char const* expression) {
  if (CompilesInline(expression)) return regcomp(&compiled, expression, REG_ICASE);
  CompileJob job{&compiled, expression, REG_ESPACE};
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return job.result;
  pthread_t thread;
  if (pthread_attr_setstacksize(&attributes, kCompileStackBytes) == 0 &&
      pthread_create(&thread, &attributes, &CompileOnThread, &job) == 0) {
    pthread_join(thread, nullptr);
  }
  pthread_attr_destroy(&attributes);
  return job.result;
}

}  // namespace

FolderScanPD::FolderScanPD() : m_state(nullptr) {}

FolderScanPD::~FolderScanPD() {
  if (m_state == nullptr) return;
  Close();
  if (m_state->filterValid) regfree(&m_state->filter);
  delete m_state;
}

bool FolderScanPD::Made() {
  if (m_state == nullptr) m_state = new (std::nothrow) State();
  return m_state != nullptr;
}

bool FolderScanPD::SetFilter(char const* expression) {
  if (!Made()) return false;
  if (m_state->filterValid) {
    regfree(&m_state->filter);
    m_state->filterValid = false;
  }
  m_state->filterValid = CompileWildcard(m_state->filter, expression) == 0;
  return m_state->filterValid;
}

bool FolderScanPD::HasFilter() const {
  return m_state != nullptr && m_state->filterValid;
}

bool FolderScanPD::Matches(char const* name) const {
  return regexec(&m_state->filter, name, 0, nullptr, 0) == 0;
}

bool FolderScanPD::Open(char const* folder) {
  if (!Made()) return false;
  Close();
  m_state->folder = opendir(folder);
  return m_state->folder != nullptr;
}

bool FolderScanPD::IsOpen() const {
  return m_state != nullptr && m_state->folder != nullptr;
}

char const* FolderScanPD::Next() {
  if (!IsOpen()) return nullptr;
  struct dirent64 const* const record = readdir64(m_state->folder);
  return record != nullptr ? record->d_name : nullptr;
}

void FolderScanPD::Close() {
  if (!IsOpen()) return;
  closedir(m_state->folder);
  m_state->folder = nullptr;
}
