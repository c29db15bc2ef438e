#ifndef TEVROL_FRAME_TEXT_JSONTEXT_H
#define TEVROL_FRAME_TEXT_JSONTEXT_H

#include <cstddef>
#include <cstdio>
#include <string>

// Internal: bytes as a JSON string, for the files the library and its tools
// write. The bytes are taken as Latin-1: each byte over 0x7F is the code
// point of the same value, so the output is valid UTF-8 whatever the input.
// Not installed.
inline void AppendJsonString(std::string& out, char const* bytes, std::size_t length) {
  out += '"';
  for (std::size_t i = 0; i < length; ++i) {
    const auto c = static_cast<unsigned char>(bytes[i]);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c >= 0x20 && c < 0x7F) {
      out += static_cast<char>(c);
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      out += escaped;
    }
  }
  out += '"';
}

#endif
