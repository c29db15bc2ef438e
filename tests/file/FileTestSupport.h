#ifndef TEVROL_TESTS_FILE_FILETESTSUPPORT_H
#define TEVROL_TESTS_FILE_FILETESTSUPPORT_H

#include <sstream>
#include <string>
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

#endif
