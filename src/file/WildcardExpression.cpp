#include "file/WildcardExpression.h"

#include "frame/text/TxByteArray.h"

namespace Tevrol {
namespace File {
namespace detail {

void TranslateWildcard(TxString const& pattern, char (&expression)[kWildcardExpressionBytes]) {
  // Stopping at 1022 leaves room for the widest step (2 bytes), "$" and the
  // zero: at most 1024 bytes before the zero, so the buffer never overflows.
  constexpr std::size_t kStopAt = 1022;
  TxByteArray const bytes = pattern.ToAscii();
  std::size_t length = 0;
  expression[length++] = '^';
  for (char const* in = bytes.GetConstData(); *in != '\0'; ++in) {
    switch (*in) {
      case '.':
        expression[length++] = '\\';
        expression[length++] = '.';
        break;
      case '?':
        expression[length++] = '.';
        break;
      case '*':
        expression[length++] = '.';
        expression[length++] = '*';
        break;
      default:
        expression[length++] = *in;
        break;
    }
    if (length >= kStopAt) break;
  }
  expression[length++] = '$';
  expression[length] = '\0';
}

}  // namespace detail
}  // namespace File
}  // namespace Tevrol
