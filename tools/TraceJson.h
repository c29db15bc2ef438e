// A small, strict JSON reader for the trace tools (RFC 8259 and nothing
// more: no comments, no trailing commas, no NaN, no byte order mark, no
// duplicate names in an object, valid UTF-8 only). Anything else is an
// error with its line and column, never a crash: nesting, value count and
// number length are bounded, and the recursion is only as deep as the
// nesting limit.
//
// The document keeps its values in one array and its strings in one buffer
// (about 40 bytes a value), so that a trace of a few million values stays
// affordable.
#ifndef TEVROL_TOOLS_TRACEJSON_H
#define TEVROL_TOOLS_TRACEJSON_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

enum class JsonType : std::uint8_t { Null, False, True, Number, String, Array, Object };

struct JsonLimits {
  std::size_t maxDepth = 64;            // arrays and objects inside each other
  std::size_t maxValues = 16u << 20;    // values of all kinds
  std::size_t maxNumberLength = 64;     // characters of one number
  std::size_t maxTextBytes = 1u << 30;  // the whole text
};

class JsonDocument {
 public:
  using Index = std::uint32_t;
  static constexpr Index kNone = UINT32_MAX;
  static constexpr Index kRoot = 0;

  // Replaces what was read before. False with `error` set ("line L, column
  // C: ...") for anything that is not one JSON value within the limits.
  bool Parse(std::string_view text, JsonLimits const& limits, std::string& error);

  std::size_t Size() const { return m_values.size(); }
  JsonType Type(Index value) const { return m_values[value].type; }
  bool Is(Index value, JsonType type) const { return value != kNone && Type(value) == type; }
  double Number(Index value) const { return m_values[value].number; }
  std::string_view Text(Index value) const {
    return {m_strings.data() + m_values[value].textOffset, m_values[value].textLength};
  }
  // The items of an array or the members of an object, in their order:
  // First, then Next until kNone.
  Index First(Index value) const { return m_values[value].first; }
  Index Next(Index value) const { return m_values[value].next; }
  // The name of a member of an object.
  std::string_view Key(Index value) const {
    return {m_strings.data() + m_values[value].keyOffset, m_values[value].keyLength};
  }
  // The member called `key` of an object, kNone if there is none or `object`
  // is not an object.
  Index Member(Index object, std::string_view key) const;

 private:
  struct Value {
    JsonType type = JsonType::Null;
    Index first = kNone;
    Index next = kNone;
    std::uint32_t keyOffset = 0, keyLength = 0;
    std::uint32_t textOffset = 0, textLength = 0;
    double number = 0;
  };
  friend class JsonParser;

  std::vector<Value> m_values;
  std::string m_strings;
};

#endif
