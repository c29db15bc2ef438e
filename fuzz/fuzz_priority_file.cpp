// The thread priority file, read by a fresh reader per input and compared
// with a plain model of the format: fgets pieces of at most 511 bytes, lines
// with "//" dropped, nothing before the first "[THREAD_PRIO]" line, rows
// "key:v0,...,v7" (atoi values, saturating at 32 bits), four rows needed.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "FuzzCheck.h"
#include "threads/TevrolCfgFileReaderImpl.h"

namespace {

// A unique name, in memory where the machine offers it (a disk file costs
// milliseconds an input). The file exists only while one input is read:
// libFuzzer leaves by _exit, which runs no clean-up.
std::string const& ScratchFile() {
  static std::string const path = [] {
    char shm[] = "/dev/shm/tevrol-fuzz-priority-XXXXXX";
    char tmp[] = "/tmp/tevrol-fuzz-priority-XXXXXX";
    char* name = shm;
    int fd = mkstemp(shm);
    if (fd < 0) {
      name = tmp;
      fd = mkstemp(tmp);
    }
    if (fd < 0) {
      std::perror("mkstemp");
      std::abort();
    }
    close(fd);
    return std::string(name);
  }();
  return path;
}

std::vector<std::string> Split(std::string const& text, char separator) {
  std::vector<std::string> tokens;
  std::size_t start = 0;
  for (;;) {
    std::size_t const end = text.find(separator, start);
    tokens.push_back(
        text.substr(start, end == std::string::npos ? std::string::npos : end - start));
    if (end == std::string::npos) return tokens;
    start = end + 1;
  }
}

std::int32_t Value(std::string const& token) {
  if (token.empty()) return 0;
  long long const value = std::strtoll(token.c_str(), nullptr, 10);
  if (value > INT32_MAX) return INT32_MAX;
  if (value < INT32_MIN) return INT32_MIN;
  return static_cast<std::int32_t>(value);
}

struct Expected {
  bool valid = false;
  std::int32_t table[4][8] = {};
};

Expected Model(std::uint8_t const* data, std::size_t size) {
  Expected expected;
  bool inSection = false;
  int rows = 0;
  std::size_t at = 0;
  while (at < size && rows < 4) {
    // One fgets piece: up to and including a newline, at most 511 bytes.
    std::size_t end = at;
    while (end < size && end - at < 511) {
      if (data[end++] == '\n') break;
    }
    std::string piece(reinterpret_cast<char const*>(data + at), end - at);
    at = end;
    piece = piece.c_str();  // the reader sees the piece as a C string
    if (piece.find("//") != std::string::npos) continue;
    if (piece.find("[THREAD_PRIO]") != std::string::npos) {
      inSection = true;
      continue;
    }
    if (!inSection) continue;
    std::vector<std::string> const fields = Split(piece, ':');
    if (fields.size() < 2) continue;
    std::vector<std::string> const values = Split(fields[1], ',');
    if (values.size() < 8) continue;
    for (int column = 0; column < 8; ++column) {
      expected.table[rows][column] = Value(values[column]);
    }
    ++rows;
  }
  expected.valid = rows == 4;
  return expected;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const& path = ScratchFile();
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  FUZZ_CHECK(file != nullptr);
  FUZZ_CHECK(size == 0 || std::fwrite(data, 1, size, file) == size);
  FUZZ_CHECK(std::fclose(file) == 0);

  TevrolCfgFileReaderImpl reader;
  bool const valid = reader.parseConfigFile(path.c_str());
  std::remove(path.c_str());
  Expected const expected = Model(data, size);
  FUZZ_CHECK(valid == expected.valid);

  Tevrol::Long table[4][8];
  for (auto& row : table) {
    for (auto& entry : row) entry = 12345;
  }
  FUZZ_CHECK(reader.getThreadPrioTable(table) == valid);
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 8; ++column) {
      FUZZ_CHECK(table[row][column] == (valid ? expected.table[row][column] : 12345));
      FUZZ_CHECK(reader.getThreadPrioValue(static_cast<Tevrol::ULong>(row),
                                           static_cast<Tevrol::ULong>(column)) ==
                 (valid ? expected.table[row][column] : -1));
    }
  }
  return 0;
}
