#ifndef TEVROL_TESTS_FILE_FILETESTSUPPORT_H
#define TEVROL_TESTS_FILE_FILETESTSUPPORT_H

#include <string>

#include "frame/text/TxString.h"

// The bytes of a text, so that failures print readable values.
inline std::string Str(TxString const& text) {
  return std::string(text.ToLatin1());
}

#endif
