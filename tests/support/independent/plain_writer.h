// A second writer of the generated files, kept as a check on the first.
//
// It states every line of both files by plain concatenation. It shares no code
// with the plugin: no printer, no variable map, no naming function. Where the
// two writers differ, one of them is wrong, and the difference shows which line
// to look at. Do not make one call the other, nor move a rule that both need to
// a common place: they would then agree on the same mistake.

#ifndef QARN_RPC_TESTS_SUPPORT_INDEPENDENT_PLAIN_WRITER_H_
#define QARN_RPC_TESTS_SUPPORT_INDEPENDENT_PLAIN_WRITER_H_

#include <google/protobuf/descriptor.h>

#include <string>

namespace qarn::rpc::independent {

// Both functions take `services_namespace` as it stands in the parameter
// string, empty for none. The method options must be known extensions: a
// descriptor that comes straight from protobuf's Importer keeps them as unknown
// fields, so it has to be serialized, parsed and built again in a pool, which
// is what the plugin protocol does.

// Returns the whole text of BASE.rpc.h for `file`.
std::string WriteHeader(const google::protobuf::FileDescriptor* file,
                        const std::string& services_namespace);

// Returns the whole text of BASE.rpc.cpp for `file`.
std::string WriteSource(const google::protobuf::FileDescriptor* file,
                        const std::string& services_namespace);

}  // namespace qarn::rpc::independent

#endif  // QARN_RPC_TESTS_SUPPORT_INDEPENDENT_PLAIN_WRITER_H_
