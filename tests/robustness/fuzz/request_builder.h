// Builds requests that protoc could send, out of any string of bytes.

#ifndef QARN_RPC_TESTS_ROBUSTNESS_FUZZ_REQUEST_BUILDER_H_
#define QARN_RPC_TESTS_ROBUSTNESS_FUZZ_REQUEST_BUILDER_H_

#include <google/protobuf/compiler/plugin.pb.h>

#include <cstddef>
#include <cstdint>

namespace qarn {
namespace rpc {
namespace fuzz {

// The request that `data` describes. Its descriptors always build: names are
// unique where they must be, types exist and are imported. Everything that the
// generator looks at varies: file names, packages, nested messages, services
// and methods, each of our options (absent, true, false, repeated, of a wrong
// wire type), the `stream` keyword, generic services and the parameter. The
// same bytes always give the same request. The standard files, which a file may
// import and which may be among those to generate, are not in it.
google::protobuf::compiler::CodeGeneratorRequest BuildRequest(
    const std::uint8_t* data, std::size_t size);

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_ROBUSTNESS_FUZZ_REQUEST_BUILDER_H_
