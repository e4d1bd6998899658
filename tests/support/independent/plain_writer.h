// A second writer of the generated files, kept as a check on the first.
//
// It states every line of both files by plain concatenation. It shares no code
// with the plugin: no printer, no variable map, no naming function. Where the
// two writers differ, one of them is wrong, and the difference shows which line
// to look at. Do not make one call the other, nor move a rule that both need to
// a common place: they would then agree on the same mistake.

#ifndef QARN_RPC_TESTS_SUPPORT_INDEPENDENT_PLAIN_WRITER_H_
#define QARN_RPC_TESTS_SUPPORT_INDEPENDENT_PLAIN_WRITER_H_

#include <google/protobuf/compiler/plugin.pb.h>
#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

namespace qarn::rpc::independent {

// What a request to generate `files`, in that order, is answered with: the two
// files of each, and the error of the first that is refused. What a plugin
// declares is left out. The method options must be known extensions: a
// descriptor that comes straight from protobuf's Importer keeps them as unknown
// fields, so it has to be serialized, parsed and built again in a pool, which
// is what the plugin protocol does.
google::protobuf::compiler::CodeGeneratorResponse WriteResponse(
    const std::vector<const google::protobuf::FileDescriptor*>& files,
    const std::string& parameter);

}  // namespace qarn::rpc::independent

#endif  // QARN_RPC_TESTS_SUPPORT_INDEPENDENT_PLAIN_WRITER_H_
