// Changes .proto texts so that most of them still parse.

#ifndef QARN_RPC_TESTS_ROBUSTNESS_FUZZ_TEXT_MUTATOR_H_
#define QARN_RPC_TESTS_ROBUSTNESS_FUZZ_TEXT_MUTATOR_H_

#include <string>

namespace qarn {
namespace rpc {
namespace fuzz {

// `text` with one to three changes: a statement more, in a block that can hold
// it; one fewer, or the same again; another name in place of one. Any text will
// do, an empty one too. The same seed makes the same changes.
std::string MutateText(std::string text, unsigned seed);

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_ROBUSTNESS_FUZZ_TEXT_MUTATOR_H_
