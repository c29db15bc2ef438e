#ifndef TEVROL_FILE_WILDCARDEXPRESSION_H
#define TEVROL_FILE_WILDCARDEXPRESSION_H

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
// pattern is cut without a sign. Shared by the search and the browser,
// which compile it with FolderScanPD::SetFilter.
void TranslateWildcard(TxString const& pattern, char (&expression)[kWildcardExpressionBytes]);

}  // namespace detail
}  // namespace File
}  // namespace Tevrol

#endif
