#ifndef TEVROL_TESTS_FILE_FILETESTSUPPORT_H
#define TEVROL_TESTS_FILE_FILETESTSUPPORT_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "file/Path.h"

// The bytes of a text, so that failures print readable values.
inline std::string Str(TxString const& text) {
  return std::string(text.ToLatin1());
}

inline Tevrol::File::Path P(std::string const& text) {
  return Tevrol::File::Path(TxString(text.c_str()));
}

// The fields of a table row written as "a|b|c"; empty fields are kept.
inline std::vector<std::string> Fields(std::string const& row) {
  std::vector<std::string> fields;
  std::istringstream in(row + "|");
  for (std::string field; std::getline(in, field, '|');) fields.push_back(field);
  return fields;
}

// Helpers of the tests that work on real files; in a namespace of their own
// so that they never clash with a test file's local ones.
namespace filetest {

inline TxString T(std::string const& text) {
  return TxString(text.c_str());
}

inline void Write(std::string const& path, std::string const& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

inline std::string Read(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// lstat: a dangling link exists too.
inline bool Exists(std::string const& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0;
}

// A Unix socket bound at path (a kind of entry that is neither file nor
// folder); the caller closes the descriptor, -1 if it could not be made.
inline int BindSocket(std::string const& path) {
  int const sock = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
  if (sock >= 0 && bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
    return sock;
  }
  if (sock >= 0) close(sock);
  return -1;
}

// A fresh folder (mode 0700, from mkdtemp) for each test, removed with all it
// holds afterwards; links in it are removed, never followed.
class TempDirTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/tevrol-file-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    m_dir = name;
  }
  void TearDown() override {
    std::error_code ignored;
    if (!m_dir.empty()) std::filesystem::remove_all(m_dir, ignored);
  }
  std::string At(std::string const& leaf) const { return m_dir + "/" + leaf; }

  std::string m_dir;
};

}  // namespace filetest

#endif
