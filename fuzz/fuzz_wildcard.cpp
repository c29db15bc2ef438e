// The wildcard patterns of the file search: their translation into a basic
// regular expression, and the expression in regcomp/regexec. The input is a
// pattern and a name, split at the first zero byte.
#include <regex.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "FuzzCheck.h"
#include "file/WildcardExpression.h"

namespace {

// The translation as the search states it: "^", "." as "\\.", "?" as ".",
// "*" as ".*", other bytes as they are, stopping once 1022 bytes are
// written, then "$".
std::string Translation(std::string const& pattern) {
  std::string expression = "^";
  for (char const c : pattern) {
    if (c == '.') {
      expression += "\\.";
    } else if (c == '?') {
      expression += '.';
    } else if (c == '*') {
      expression += ".*";
    } else {
      expression += c;
    }
    if (expression.size() >= 1022) break;
  }
  return expression + "$";
}

// glibc's compiler takes seconds and gigabytes on nested intervals and
// groups: only expressions without "\\{", "\\(" and back-references go to it.
bool SafeForRegcomp(char const* expression) {
  for (char const* p = expression; *p != '\0'; ++p) {
    if (*p == '\\' && (p[1] == '{' || p[1] == '(' || (p[1] >= '0' && p[1] <= '9'))) return false;
  }
  return true;
}

char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

// A plain wildcard matcher for patterns of letters, digits and the three
// wildcard characters: what the expression must match. Backtracks only to
// the last '*', so it stays linear in practice and quadratic at worst.
bool Matches(char const* pattern, char const* name) {
  char const* star = nullptr;
  char const* resume = nullptr;
  while (*name != '\0') {
    if (*pattern == '*') {
      star = pattern++;
      resume = name;
    } else if (*pattern != '\0' && (*pattern == '?' || LowerAscii(*pattern) == LowerAscii(*name))) {
      ++pattern;
      ++name;
    } else if (star != nullptr) {
      pattern = star + 1;
      name = ++resume;
    } else {
      return false;
    }
  }
  while (*pattern == '*') ++pattern;
  return *pattern == '\0';
}

bool Plain(std::string const& pattern) {
  for (char const c : pattern) {
    bool const alnum = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (!alnum && c != '.' && c != '?' && c != '*' && c != '_' && c != '-') return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::size_t split = 0;
  while (split < size && data[split] != 0) ++split;
  std::string const pattern(reinterpret_cast<char const*>(data), split);
  std::string name;
  for (std::size_t i = split + 1; i < size; ++i) {
    if (data[i] != 0) name += static_cast<char>(data[i]);
  }

  char expression[Tevrol::File::detail::kWildcardExpressionBytes];
  std::memset(expression, 0x55, sizeof expression);
  Tevrol::File::detail::TranslateWildcard(TxString(pattern.c_str()), expression);
  std::size_t const length = std::strlen(expression);
  FUZZ_CHECK(length >= 2 && length <= 1024);
  FUZZ_CHECK(expression[0] == '^' && expression[length - 1] == '$');
  std::string const expected = Translation(pattern);
  FUZZ_CHECK(expected == expression);

  // Long patterns cost the regex engine time, not us: keep to names' sizes.
  if (!SafeForRegcomp(expression) || pattern.size() > 255) return 0;
  regex_t compiled;
  if (regcomp(&compiled, expression, REG_ICASE) != 0) {
    FUZZ_CHECK(!Plain(pattern));
    return 0;
  }
  bool const matched = regexec(&compiled, name.c_str(), 0, nullptr, 0) == 0;
  regfree(&compiled);
  if (Plain(pattern) && expected.size() < 1023) {
    FUZZ_CHECK(matched == Matches(pattern.c_str(), name.c_str()));
  }
  return 0;
}
