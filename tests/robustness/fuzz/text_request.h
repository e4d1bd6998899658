// Makes requests out of .proto texts, the way protoc does.

#ifndef QARN_RPC_TESTS_ROBUSTNESS_FUZZ_TEXT_REQUEST_H_
#define QARN_RPC_TESTS_ROBUSTNESS_FUZZ_TEXT_REQUEST_H_

#include <google/protobuf/compiler/plugin.pb.h>

#include <optional>
#include <string>

namespace qarn {
namespace rpc {
namespace fuzz {

// The request that protoc would send for `text`, less the standard files;
// nothing if protoc would refuse a file. A plain .proto file is a text, named
// input.proto. These lines, comments to the parser, say more:
//
//   // parameter: services_namespace=api   the parameter of the plugin
//   // file: a/b.proto                     the name of the file that begins
//   here
//
// All files of the text are to be generated. They may import each other, the
// options schema, and what this program has of protobuf's own files.
std::optional<google::protobuf::compiler::CodeGeneratorRequest> ParseText(
    const std::string& text);

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_ROBUSTNESS_FUZZ_TEXT_REQUEST_H_
