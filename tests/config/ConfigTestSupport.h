#ifndef TEVROL_TESTS_CONFIG_CONFIGTESTSUPPORT_H
#define TEVROL_TESTS_CONFIG_CONFIGTESTSUPPORT_H

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <stdlib.h>
#include <unistd.h>

#include "config/ConfigSystemImpl.h"
#include "file/InputStream.h"

// An input stream over bytes in memory that ends like a file: code 7 with no
// byte. Gives at most `chunk` bytes a read.
class MemoryStream : public InputStream {
 public:
  explicit MemoryStream(std::string bytes, Tevrol::ULong chunk = 1)
      : m_bytes(std::move(bytes)), m_chunk(chunk) {}
  Tevrol::ULong Read(unsigned char* buffer, Tevrol::ULong length,
                     Tevrol::ULong* bytesRead) override {
    Tevrol::ULong n = std::min<Tevrol::ULong>({length, m_chunk, Remaining()});
    *bytesRead = n;
    if (n == 0) return kStreamEndOfData;
    std::memcpy(buffer, m_bytes.data() + m_position, n);
    m_position += n;
    return kStreamSuccess;
  }
  Tevrol::ULong Flush() override { return 0; }
  Tevrol::ULong EnableWait() override { return 0; }
  Tevrol::ULong WaitForData() override { return 0; }
  Tevrol::ULong DisableWait() override { return 0; }
  void Cancel() override {}
  void SetReadTimeout(Tevrol::Long) override {}
  Tevrol::Long GetReadTimeout() override { return 0; }

 private:
  Tevrol::ULong Remaining() const {
    return static_cast<Tevrol::ULong>(m_bytes.size() - m_position);
  }
  std::string m_bytes;
  std::size_t m_position = 0;
  Tevrol::ULong m_chunk;
};

// Printable bytes as they are, others as \xNN.
inline std::string Escaped(char const* bytes, std::size_t length) {
  std::string out;
  for (std::size_t i = 0; i < length; ++i) {
    const auto c = static_cast<unsigned char>(bytes[i]);
    if (c >= 0x20 && c < 0x7F && c != '\\') {
      out += static_cast<char>(c);
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      out += hex;
    }
  }
  return out;
}
inline std::string Escaped(char const* text) {
  return Escaped(text, std::strlen(text));
}

// The store as "group/key=value" entries in byte order, one blank between
// them: n:<number>, "<text>", h:<hex bytes>, and "group/" for an empty group.
inline std::string Dump(ConfigSystemImpl& system) {
  std::map<std::string, std::string> entries;
  system.WalkStore([&](char const* group, ConfigKeyDataContainer* value) {
    std::string name = Escaped(group) + "/";
    if (value == nullptr) {
      entries[name] = "";
      return;
    }
    name += Escaped(value->GetKeyName());
    Tevrol::Long number = 0;
    TxString text;
    unsigned char* data = nullptr;
    Tevrol::ULong size = 0;
    if (value->GetNumericalValue(number)) {
      entries[name] = "=n:" + std::to_string(number);
    } else if (value->GetStringValue(text)) {
      entries[name] = "=\"" + Escaped(text.ToLatin1()) + "\"";
    } else if (value->GetDataChunk(data, size)) {
      std::string hex;
      char byte[4];
      for (Tevrol::ULong i = 0; i < size; ++i) {
        std::snprintf(byte, sizeof byte, "%02x", data[i]);
        hex += byte;
      }
      entries[name] = "=h:" + hex;
    } else {
      entries[name] = "=none";
    }
  });
  std::string out;
  for (auto const& entry : entries) out += (out.empty() ? "" : " ") + entry.first + entry.second;
  return out;
}

// A private folder for configuration files, removed with its files.
class TempFolder {
 public:
  TempFolder() {
    char name[] = "/tmp/tevrol-config-XXXXXX";
    m_path = mkdtemp(name) != nullptr ? name : "";
  }
  ~TempFolder() {
    for (auto const& file : m_files) unlink((m_path + "/" + file).c_str());
    rmdir(m_path.c_str());
  }
  std::string const& Path() const { return m_path; }
  // Writes (or, for a null content, removes) one file.
  void Write(std::string const& name, char const* content, std::size_t length) {
    std::string const path = m_path + "/" + name;
    unlink(path.c_str());
    if (content == nullptr) return;
    std::ofstream(path, std::ios::binary).write(content, static_cast<std::streamsize>(length));
    m_files.push_back(name);
  }
  void Write(std::string const& name, std::string const& content) {
    Write(name, content.data(), content.size());
  }

 private:
  std::string m_path;
  std::vector<std::string> m_files;
};

#endif
