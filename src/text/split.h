// Splitting of a text at a separator. Package names and the parameter string
// are both taken apart with this one rule.

#ifndef QARN_RPC_TEXT_SPLIT_H_
#define QARN_RPC_TEXT_SPLIT_H_

#include <string>
#include <vector>

namespace qarn {
namespace rpc {

// Returns the pieces of `text` between the occurrences of `separator`, in
// order. Empty pieces are kept, so a text with k separators always gives k + 1
// pieces, and an empty text gives one empty piece.
//
//   Split("a,,b", ',') -> {"a", "", "b"}
//   Split("a,", ',')   -> {"a", ""}
std::vector<std::string> Split(const std::string& text, char separator);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TEXT_SPLIT_H_
