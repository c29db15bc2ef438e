#ifndef TEVROL_TOOLS_CONFIGREPORT_H
#define TEVROL_TOOLS_CONFIGREPORT_H

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "ConfigFindings.h"

class ConfigSystemImpl;

// One value of the store as the checker shows it.
struct ConfigStoreValue {
  enum class Type { None, Number, Text, Bytes } type = Type::None;
  long number = 0;
  std::string text;  // the text's bytes as stored
  std::vector<unsigned char> bytes;
};

// Group name -> key name -> value, both in byte order. A group without keys
// has an empty map.
using ConfigStoreSnapshot = std::map<std::string, std::map<std::string, ConfigStoreValue>>;

ConfigStoreSnapshot SnapshotStore(ConfigSystemImpl& system);

// What one run of the checker gives.
struct ConfigCheckResult {
  std::string folder;
  ConfigFindingCollector const* findings = nullptr;
  ConfigStoreSnapshot store;
  int exitStatus = 0;
};

std::size_t CountFailing(ConfigFindingCollector const& findings);

// The store and the findings for a reader; --lines adds the lines that never
// fail (blank lines, comments).
void PrintTextReport(std::FILE* out, ConfigCheckResult const& result, bool allLines);
// The same as one JSON object; every finding is listed.
void PrintJsonReport(std::FILE* out, ConfigCheckResult const& result);

#endif
