// Checks of one generated text, and the rules that they need, written without
// the generator's own functions.

#ifndef QARN_RPC_TESTS_ROBUSTNESS_FUZZ_TEXT_CHECKS_H_
#define QARN_RPC_TESTS_ROBUSTNESS_FUZZ_TEXT_CHECKS_H_

#include <cstddef>
#include <string>

namespace qarn {
namespace rpc {
namespace fuzz {

// How often `word` occurs in `text`; occurrences do not overlap.
std::size_t Count(const std::string& text, const std::string& word);

// The base name of the two files for `file_name`: "a/x.proto" -> "a/x".
std::string BaseName(const std::string& file_name);

// What is said of a parameter string that is refused; "" for any other.
std::string ParameterError(const std::string& parameter);

// The value of services_namespace in a parameter string without errors.
std::string ServicesNamespace(const std::string& parameter);

// True if `path` or `name` holds nothing but what can stand in a C++ name,
// "." and "/" in a path beside. Other names are copied as they are and can
// spoil the text; that is no fault of the generator.
bool IsPlainPath(const std::string& path);
bool IsPlainNamespace(const std::string& name);

// Both return what is wrong with `text`, or "". They expect plain names.

// No "$" is left of a template, and no brace is closed before it was opened, or
// left open.
std::string CheckTemplatesAndBraces(const std::string& text, bool is_header);

// Each namespace that is opened has a closing line with its name: in reverse
// order in a header, in the order of opening in a source.
std::string CheckNamespaces(const std::string& text, bool is_header);

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_ROBUSTNESS_FUZZ_TEXT_CHECKS_H_
