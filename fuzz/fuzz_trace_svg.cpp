// The trace picture tool (tools/TraceJson, tools/TraceTimeline) on any
// bytes, as tevrol_trace_svg reads a file.
// Checks: a refused text names where; a document that is read, written back
// as JSON, reads again to the same text (nothing lost or invented by the
// reader); and every timeline read from it becomes well-formed XML made only
// of the writer's own elements, the trace's text escaped inside them, with
// valid UTF-8 and no character XML forbids.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzCheck.h"
#include "TraceJson.h"
#include "TraceTimeline.h"

namespace {

using Index = JsonDocument::Index;

void WriteString(std::string_view text, std::string& out) {
  out += '"';
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
      out += escaped;
    } else {
      out += c;
    }
  }
  out += '"';
}

// The document as compact JSON; numbers with all the digits a double has.
void Write(JsonDocument const& doc, Index value, std::string& out) {
  switch (doc.Type(value)) {
    case JsonType::Null:
      out += "null";
      break;
    case JsonType::False:
      out += "false";
      break;
    case JsonType::True:
      out += "true";
      break;
    case JsonType::Number: {
      char digits[40];
      std::snprintf(digits, sizeof digits, "%.17g", doc.Number(value));
      out += digits;
      break;
    }
    case JsonType::String:
      WriteString(doc.Text(value), out);
      break;
    case JsonType::Array:
    case JsonType::Object: {
      const bool object = doc.Type(value) == JsonType::Object;
      out += object ? '{' : '[';
      for (Index item = doc.First(value); item != JsonDocument::kNone; item = doc.Next(item)) {
        if (item != doc.First(value)) out += ',';
        if (object) {
          WriteString(doc.Key(item), out);
          out += ':';
        }
        Write(doc, item, out);
      }
      out += object ? '}' : ']';
      break;
    }
  }
}

// Valid UTF-8 of characters XML 1.0 allows (line ends and tabs included).
bool XmlCharacters(std::string const& text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead >= 0x80 && (lead < 0xC2 || lead > 0xF4)) return false;
    if (i + length > text.size()) return false;
    std::uint32_t code = length == 1 ? lead : lead & (0x3F >> (length - 1));
    for (std::size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      code = (code << 6) | (next & 0x3F);
    }
    const std::uint32_t minimum[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < minimum[length] || code > 0x10FFFF) return false;
    if (code >= 0xD800 && code <= 0xDFFF) return false;
    if (code < 0x20 && code != '\t' && code != '\n' && code != '\r') return false;
    if (code == 0xFFFE || code == 0xFFFF) return false;
    i += length;
  }
  return true;
}

bool Entity(std::string const& text, std::size_t at) {
  for (char const* entity : {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;"}) {
    if (text.compare(at, std::strlen(entity), entity) == 0) return true;
  }
  return false;
}

bool NameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == ':' || c == '_';
}

// Well-formed, as far as this writer's output goes: the declaration, one
// root, elements of the writer's own kinds properly closed, attribute
// values in double quotes, and no '<', '>' or bare '&' in text or values.
bool WellFormedSvg(std::string const& svg) {
  static char const* const kElements[] = {"svg", "style", "rect", "text", "title", "line", "path"};
  if (svg.compare(0, 5, "<?xml") != 0) return false;
  std::size_t at = svg.find("?>");
  if (at == std::string::npos) return false;
  at += 2;
  std::vector<std::string> open;
  bool rootDone = false;
  while (at < svg.size()) {
    const char c = svg[at];
    if (c != '<') {
      if (c == '>') return false;
      if (c == '&' && !Entity(svg, at)) return false;
      if ((open.empty()) && c != '\n') return false;  // text outside the root
      ++at;
      continue;
    }
    const bool closing = at + 1 < svg.size() && svg[at + 1] == '/';
    at += closing ? 2 : 1;
    std::string name;
    while (at < svg.size() && NameCharacter(svg[at])) name += svg[at++];
    bool known = false;
    for (char const* element : kElements) known = known || name == element;
    if (!known) return false;
    if (closing) {
      if (open.empty() || open.back() != name || at >= svg.size() || svg[at] != '>') return false;
      open.pop_back();
      ++at;
      rootDone = open.empty();
      continue;
    }
    if (rootDone || (open.empty() && name != "svg")) return false;
    for (;;) {
      while (at < svg.size() && svg[at] == ' ') ++at;
      if (at >= svg.size()) return false;
      if (svg[at] == '>') {
        open.push_back(name);
        ++at;
        break;
      }
      if (svg.compare(at, 2, "/>") == 0) {
        at += 2;
        rootDone = open.empty();
        break;
      }
      const std::size_t nameStart = at;
      while (at < svg.size() && NameCharacter(svg[at])) ++at;
      if (at == nameStart || svg.compare(at, 2, "=\"") != 0) return false;
      at += 2;
      for (; at < svg.size() && svg[at] != '"'; ++at) {
        if (svg[at] == '<' || svg[at] == '>') return false;
        if (svg[at] == '&' && !Entity(svg, at)) return false;
      }
      if (at >= svg.size()) return false;
      ++at;  // the closing quote
    }
  }
  return rootDone && open.empty();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<char const*>(data), size);
  JsonLimits limits;
  limits.maxValues = 100000;
  JsonDocument document;
  std::string error;
  if (!document.Parse(text, limits, error)) {
    FUZZ_CHECK(error.compare(0, 5, "line ") == 0);
    FUZZ_CHECK(document.Size() == 0);
    return 0;
  }
  FUZZ_CHECK(error.empty() && document.Size() > 0);

  std::string written;
  Write(document, JsonDocument::kRoot, written);
  JsonDocument again;
  FUZZ_CHECK(again.Parse(written, limits, error));
  FUZZ_CHECK(again.Size() == document.Size());
  std::string rewritten;
  Write(again, JsonDocument::kRoot, rewritten);
  FUZZ_CHECK(rewritten == written);

  Timeline timeline;
  if (!ReadTimeline(document, timeline, error)) {
    FUZZ_CHECK(error.compare(0, 6, "event ") == 0 || error.compare(0, 7, "neither") == 0);
    return 0;
  }
  for (TraceLane const& lane : timeline.lanes) {
    FUZZ_CHECK(lane.rows >= 1 && lane.rows <= kMaxRows);
    for (TraceSlice const& slice : lane.slices) {
      FUZZ_CHECK(slice.depth >= 0 && slice.depth < lane.rows);
      FUZZ_CHECK(slice.start >= timeline.begin && slice.start + slice.duration <= timeline.end);
    }
  }
  SvgOptions options;
  // The title comes from a file name: any bytes.
  options.title = std::string(text.substr(0, 24));
  options.longMicros = size % 2 == 0 ? 50000 : 0;
  const std::string svg = WriteSvg(timeline, options);
  FUZZ_CHECK(XmlCharacters(svg));
  FUZZ_CHECK(WellFormedSvg(svg));
  return 0;
}
