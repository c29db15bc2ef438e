#include "ConfigReport.h"

#include <cstring>

#include "config/ConfigKeyDataContainer.h"
#include "config/ConfigSystemImpl.h"
#include "frame/text/JsonText.h"

namespace {

std::string Json(std::string const& bytes) {
  std::string out;
  AppendJsonString(out, bytes.data(), bytes.size());
  return out;
}

std::string Hex(std::vector<unsigned char> const& bytes, char const* separator) {
  std::string out;
  char hex[4];
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::snprintf(hex, sizeof hex, "%02x", bytes[i]);
    if (i > 0) out += separator;
    out += hex;
  }
  return out;
}

std::string Escaped(std::string const& bytes) {
  return EscapedBytes(bytes.data(), bytes.size());
}

std::string Shown(ConfigStoreValue const& value) {
  char buffer[64];
  switch (value.type) {
    case ConfigStoreValue::Type::Number:
      std::snprintf(buffer, sizeof buffer, "number %ld (0x%08lx)", value.number,
                    static_cast<unsigned long>(value.number) & 0xFFFFFFFFul);
      return buffer;
    case ConfigStoreValue::Type::Text:
      return "text \"" + Escaped(value.text) + "\"";
    case ConfigStoreValue::Type::Bytes:
      std::snprintf(buffer, sizeof buffer, "bytes (%zu):", value.bytes.size());
      return buffer + (value.bytes.empty() ? "" : " " + Hex(value.bytes, " "));
    case ConfigStoreValue::Type::None:
      break;
  }
  return "no value";
}

}  // namespace

ConfigStoreSnapshot SnapshotStore(ConfigSystemImpl& system) {
  ConfigStoreSnapshot store;
  system.WalkStore([&](char const* group, ConfigKeyDataContainer* key) {
    auto& keys = store[group];
    if (key == nullptr) return;
    ConfigStoreValue& value = keys[key->GetKeyName()];
    Tevrol::Long number = 0;
    TxString text;
    unsigned char* data = nullptr;
    Tevrol::ULong size = 0;
    if (key->GetNumericalValue(number)) {
      value.type = ConfigStoreValue::Type::Number;
      value.number = static_cast<long>(number);
    } else if (key->GetStringValue(text)) {
      value.type = ConfigStoreValue::Type::Text;
      value.text = text.ToLatin1();
    } else if (key->GetDataChunk(data, size)) {
      value.type = ConfigStoreValue::Type::Bytes;
      value.bytes.assign(data, data + size);
    }
  });
  return store;
}

std::size_t CountFailing(ConfigFindingCollector const& findings) {
  std::size_t failing = 0;
  for (ConfigFinding const& finding : findings.Findings()) failing += finding.fails ? 1 : 0;
  return failing;
}

void PrintTextReport(std::FILE* out, ConfigCheckResult const& result, bool allLines) {
  ConfigFindingCollector const& findings = *result.findings;
  if (findings.File().empty()) return;
  std::fprintf(out, "Read %s\n\n", findings.File().c_str());
  if (result.store.empty()) std::fprintf(out, "(the store is empty)\n");
  for (auto const& group : result.store) {
    std::fprintf(out, "[%s]\n", Escaped(group.first).c_str());
    for (auto const& key : group.second) {
      std::fprintf(out, "  \"%s\" = %s\n", Escaped(key.first).c_str(), Shown(key.second).c_str());
    }
  }

  const std::size_t failing = CountFailing(findings);
  const std::size_t others = findings.Findings().size() - failing;
  if (failing > 0 || (allLines && others > 0)) std::fprintf(out, "\n");
  for (ConfigFinding const& finding : findings.Findings()) {
    if (!finding.fails && !allLines) continue;
    std::fprintf(out, "%s line %lu: %s\n      %s\n", finding.fails ? "FAIL" : "    ", finding.line,
                 finding.message.c_str(), finding.excerpt.c_str());
  }
  std::fprintf(out, "\n%zu line(s) dropped or misread, %zu blank or comment line(s)%s\n", failing,
               others, allLines || others == 0 ? "" : " (--lines lists them)");
}

void PrintJsonReport(std::FILE* out, ConfigCheckResult const& result) {
  ConfigFindingCollector const& findings = *result.findings;
  std::string json = "{\n  \"folder\": " + Json(result.folder) + ",\n  \"file\": ";
  json += findings.File().empty() ? "null" : Json(findings.File());
  json += ",\n  \"open_errors\": [";
  char const* separator = "";
  for (ConfigOpenError const& error : findings.OpenErrors()) {
    json += separator;
    json += "\n    {\"file\": " + Json(error.path) +
            ", \"missing\": " + (error.missing ? "true" : "false") +
            ", \"error\": " + Json(std::strerror(error.error)) + "}";
    separator = ",";
  }
  json += findings.OpenErrors().empty() ? "]" : "\n  ]";
  json += ",\n  \"read_error\": ";
  json += findings.ReadError() != 0 ? Json(std::strerror(findings.ReadError())) : "null";

  json += ",\n  \"store\": [";
  separator = "";
  for (auto const& group : result.store) {
    json += separator;
    json += "\n    {\"group\": " + Json(group.first) + ", \"keys\": [";
    char const* keySeparator = "";
    for (auto const& key : group.second) {
      ConfigStoreValue const& value = key.second;
      json += keySeparator;
      json += "\n      {\"key\": " + Json(key.first) + ", ";
      char number[32];
      switch (value.type) {
        case ConfigStoreValue::Type::Number:
          std::snprintf(number, sizeof number, "%ld", value.number);
          json += "\"type\": \"number\", \"value\": " + std::string(number);
          break;
        case ConfigStoreValue::Type::Text:
          json += "\"type\": \"text\", \"value\": " + Json(value.text);
          break;
        case ConfigStoreValue::Type::Bytes:
          json += "\"type\": \"bytes\", \"value\": \"" + Hex(value.bytes, ",") + "\"";
          break;
        case ConfigStoreValue::Type::None:
          json += "\"type\": \"none\", \"value\": null";
          break;
      }
      json += "}";
      keySeparator = ",";
    }
    json += group.second.empty() ? "]}" : "\n    ]}";
    separator = ",";
  }
  json += result.store.empty() ? "]" : "\n  ]";

  json += ",\n  \"findings\": [";
  separator = "";
  for (ConfigFinding const& finding : findings.Findings()) {
    char line[32];
    std::snprintf(line, sizeof line, "%lu", finding.line);
    json += separator;
    json += "\n    {\"line\": " + std::string(line) +
            ", \"fails\": " + (finding.fails ? "true" : "false") + ", \"id\": " + Json(finding.id) +
            ", \"message\": " + Json(finding.message) + ", \"excerpt\": " + Json(finding.excerpt) +
            "}";
    separator = ",";
  }
  json += findings.Findings().empty() ? "]" : "\n  ]";
  char tail[96];
  std::snprintf(tail, sizeof tail, ",\n  \"failing\": %zu,\n  \"exit_status\": %d\n}\n",
                CountFailing(findings), result.exitStatus);
  json += tail;
  std::fputs(json.c_str(), out);
}
