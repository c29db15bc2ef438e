#ifndef TEVROL_FILE_WILDCARDEXPRESSION_H
#define TEVROL_FILE_WILDCARDEXPRESSION_H

#include <regex.h>

#include <cstddef>

#include "frame/text/TxString.h"

namespace Tevrol {
namespace File {
namespace detail {

// "^", at most 1022 translated bytes, "$" and the terminating zero.
constexpr std::size_t kWildcardExpressionBytes = 1025;

// Translates a wildcard pattern (its ToAscii bytes) into an anchored basic
// regular expression for regcomp with REG_ICASE: "." becomes "\\.", "?" ".",
// "*" ".*", every other byte stays, so bracket expressions keep working. The
// translation stops once 1022 bytes are written ("^" counted); a longer
// pattern is cut without a sign. Shared by the search and the browser.
void TranslateWildcard(TxString const& pattern, char (&expression)[kWildcardExpressionBytes]);

// regcomp with REG_ICASE alone, its result as regcomp gives it. glibc's
// regcomp needs stack in proportion to the nesting of groups and to runs of
// repetitions (about 170 KiB for 255 nested groups), while a library thread
// has 64 KiB: an expression with a backslash other than "\\." or with more
// than 16 '*' is compiled on a helper thread with a stack of 8 MiB, what a
// main thread has. When that thread cannot start, the result is REG_ESPACE.
int CompileWildcard(regex_t& compiled, char const* expression);

}  // namespace detail
}  // namespace File
}  // namespace Tevrol

#endif
