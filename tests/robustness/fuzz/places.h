// Where names of the input stand in the generated files.

#ifndef QARN_RPC_TESTS_ROBUSTNESS_FUZZ_PLACES_H_
#define QARN_RPC_TESTS_ROBUSTNESS_FUZZ_PLACES_H_

#include <google/protobuf/compiler/plugin.pb.h>

#include <optional>
#include <string>

namespace qarn {
namespace rpc {
namespace fuzz {

// The request with a marker of its kind in the place of each name: of files,
// package components, services, methods and messages, and of all else that has
// one (fields, enumerations and their values, oneofs, options with a text,
// comments) the marker of what must not come up in a generated file. Names that
// were equal stay equal, so what was valid stays valid. Nothing if a reference
// names no declaration of the request in full, or a method takes the entry of a
// map, which must keep its name.
std::optional<google::protobuf::compiler::CodeGeneratorRequest> MarkNames(
    google::protobuf::compiler::CodeGeneratorRequest request);

// "" if each line of `text`, a file that was generated for a marked request, is
// one of those that the templates give, with the kinds of names that they give
// it and in their places. Otherwise the first that is not, in which a kind
// stands for each name.
std::string LineOutOfPlace(const std::string& text, bool is_header);

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_ROBUSTNESS_FUZZ_PLACES_H_
